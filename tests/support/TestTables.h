#pragma once
// Test-only tables for the engines' suites.
//
// TestPortTable: a direct table over the chip's ports whose copies are not mirrors. Ingress
// copy p (HwTableId p) holds only the rows of the ports of pipeline p, as two words (word 0 the
// group, word 1 the flag in bit 0 and the row in bits 16..31, a position field); two CPU copies
// (HwTableId K and K + 1) each hold every port as one narrower word of their own encoding, the
// group with the flag in bit 31. Ports from the port count up to 63 are keys without a row.
//
// TestGroupTable: a Layer-2 table over the chip's ports with the default group 0xFF. Ingress
// copy p holds the rows of its own ports as two words (the group, then a one-hot port selector
// with bit 31 set) compared on the group alone; a CPU copy (HwTableId K) holds every port as the
// group alone.
//
// TestHash<Ways, Bits, Copies>: a hashed table, key `id` -> result `data`, in Ways ways of
// 2^Bits buckets mirrored to Copies copies. A row is three words: word 0 the key, word 1 the
// result, word 2 bit 0 `valid`; the top half of word 2 holds the row's HwIndex and bit 15 is
// always set (both depend only on the location).
#include <tuple>

#include "Fen/Value.h"
#include "TarnSwitch/CrcHash.h"
#include "TarnSwitchTable/TarnTableDirectBase.h"
#include "TarnSwitchTable/TarnTableHashBase.h"
#include "TarnSwitchTable/TarnTableLayer2.h"

namespace TarnTest {

using Fen::U16;
using Fen::U32;
using Fen::U8;
using TarnSwitchTable::HwIndex;
using TarnSwitchTable::RowItem;

struct TestPortTag {
  static constexpr const char* name = "TarnTest::TestPortKey::port";
  static const std::string& message();
};

struct TestPortKey : Fen::Value<TestPortKey> {
  Fen::Ranged<TestPortTag, U16, 0, 63> port;
  TestPortKey() = default;
  explicit TestPortKey(U16 p) : port(p) {}
  static constexpr const char* fenTypeName = "TarnTest::TestPortKey";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("port", &TestPortKey::port));
  }
};

struct TestPortResult : Fen::Value<TestPortResult> {
  U32 group = 0;
  bool flag = false;
  TestPortResult() = default;
  TestPortResult(U32 g, bool f) : group(g), flag(f) {}
  static constexpr const char* fenTypeName = "TarnTest::TestPortResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("group", &TestPortResult::group),
                           Fen::field("flag", &TestPortResult::flag));
  }
};

// The ports of a chip as the test tables lay them out: ingress copy p (HwTableId p) holds the
// rows of pipeline p's ports as `ingressWords` words compared on `compared`, and `cpuCopies` CPU
// copies (HwTableId K and up) hold every port as its first word alone.
struct PortCopies {
  explicit PortCopies(const TarnSwitch::ChipProfile& p)
      : ports(p.portCount), perPipeline(p.portsPerPipeline), pipelines(p.pipelineCount) {}
  void declare(const TarnSwitchTable::HwTables& hw, U8 ingressWords, U8 compared,
               U32 cpuCopies) const {
    for (U32 p = 0; p < pipelines && p * perPipeline < ports; ++p) {
      const HwIndex last = std::min<U32>(ports, (p + 1) * perPipeline) - 1;
      hw.copyIs(p, hw.name(int(p)), p * perPipeline, last,
                TarnSwitchTable::rowRegisters("pipeline[" + std::to_string(p) + "]/", {"a", "b"}),
                TarnSwitchTable::CopyForm{ingressWords, compared, 0});
    }
    for (U32 c = pipelines; c < pipelines + cpuCopies; ++c) {
      hw.copyIs(c, hw.name(int(c)), 0, ports - 1, TarnSwitchTable::rowRegisters("cpu/", {"a"}),
                TarnSwitchTable::CopyForm{1, 1, 1});
    }
  }
  HwIndex hwIndexFromKey(const TestPortKey& k) const { return k.port.value(); }
  TestPortKey keyFromHwIndex(HwIndex row) const { return TestPortKey(U16(row)); }

  U32 ports, perPipeline, pipelines;
};

class TestPortEntry;
class TestPortTable;
class TestPortConvertor;

struct TestPortLayout : PortCopies {
  using Key = TestPortKey;
  using Result = TestPortResult;
  using Entry = TestPortEntry;
  using Table = TestPortTable;
  using Convertor = TestPortConvertor;
  static constexpr const char* moduleName = "TarnTestPort";
  static constexpr const char* tableName = "TarnTest::TestPortTable";
  static constexpr const char* entryName = "TarnTest::TestPortEntry";
  static constexpr const char* convertorName = "TarnTest::TestPortConvertor";
  static constexpr const char* hwTableWord = "TestPort";
  static constexpr U8 hwEntryWords = 2;
  static constexpr TarnSwitchTable::StaticWord staticWords[] = {{1, 0xFFFF0000u}};

  using PortCopies::PortCopies;
  void declare(const TarnSwitchTable::HwTables& hw) const { PortCopies::declare(hw, 2, 2, 2); }
  void setStaticBuffer(HwIndex row, U32* b) const { b[1] = (b[1] & 0xFFFFu) | (row << 16); }
  void encodeRow(const RowItem<TestPortLayout>& e, HwIndex row, U8 encoding, U32* b) const {
    b[0] = e.result.group;
    if (encoding == 1) {  // a CPU copy: the flag rides in bit 31
      b[0] |= e.result.flag ? 0x80000000u : 0u;
      return;
    }
    b[1] = e.result.flag ? 1u : 0u;
    setStaticBuffer(row, b);
  }
  bool decodeRow(HwIndex row, const U32* w, RowItem<TestPortLayout>& e) const {
    e.key = keyFromHwIndex(row);
    e.result = TestPortResult(w[0], (w[1] & 1u) != 0);
    return e.valid = !(e.result == TestPortResult());
  }
};

class TestPortEntry : public TarnSwitchTable::DirectEntry<TestPortLayout> {};
class TestPortConvertor : public TarnSwitchTable::DirectConvertor<TestPortLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class TestPortTable : public TarnSwitchTable::DirectTable<TestPortLayout> {
 public:
  using DirectTable::DirectTable;
};

struct TestGroupResult : Fen::Value<TestGroupResult> {
  U32 group = 0;
  TestGroupResult() = default;
  explicit TestGroupResult(U32 g) : group(g) {}
  static constexpr const char* fenTypeName = "TarnTest::TestGroupResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("group", &TestGroupResult::group));
  }
};

class TestGroupTable;
class TestGroupConvertor;

struct TestGroupLayout : PortCopies {
  using Key = TestPortKey;
  using Result = TestGroupResult;
  using Table = TestGroupTable;
  using Convertor = TestGroupConvertor;
  static constexpr const char* moduleName = "TarnTestGroup";
  static constexpr const char* tableName = "TarnTest::TestGroupTable";
  static constexpr const char* entryName = "TarnTest::TestGroupEntry";
  static constexpr const char* convertorName = "TarnTest::TestGroupConvertorLayer2All";
  static constexpr const char* hwTableWord = "TestGroup";
  static constexpr U8 hwEntryWords = 2;
  static TestGroupResult defaultResult(const TestPortKey&) { return TestGroupResult(0xFF); }

  using PortCopies::PortCopies;
  void declare(const TarnSwitchTable::HwTables& hw) const { PortCopies::declare(hw, 2, 1, 1); }
  void encodeRow(const TestPortKey& k, const TestGroupResult& r, U8 encoding, U32* b) const {
    b[0] = r.group;
    if (encoding == 0) b[1] = (1u << (k.port.value() % perPipeline)) | 0x80000000u;
  }
  TestGroupResult decodeRow(HwIndex, const U32* w) const { return TestGroupResult(w[0]); }
};

class TestGroupConvertor : public TarnSwitchTable::Layer2Convertor<TestGroupLayout> {
 public:
  using Layer2Convertor::Layer2Convertor;
};
class TestGroupTable : public TarnSwitchTable::Layer2Table<TestGroupLayout> {
 public:
  using Layer2Table::Layer2Table;
};

struct TestHashKey : Fen::Value<TestHashKey> {
  U32 id = 0;
  TestHashKey() = default;
  explicit TestHashKey(U32 i) : id(i) {}
  static constexpr const char* fenTypeName = "TarnTest::TestHashKey";
  static constexpr auto fenFields() { return std::make_tuple(Fen::field("id", &TestHashKey::id)); }
};

struct TestHashResult : Fen::Value<TestHashResult> {
  U32 data = 0;
  TestHashResult() = default;
  explicit TestHashResult(U32 d) : data(d) {}
  static constexpr const char* fenTypeName = "TarnTest::TestHashResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("data", &TestHashResult::data));
  }
};

template <U32 Ways, U32 Bits, unsigned Copies, U32 Entries = 1>
struct TestHash {
  class Entry;
  class Table;
  class Convertor;
  struct Layout {
    using Key = TestHashKey;
    using Result = TestHashResult;
    using Entry = TestHash::Entry;
    using Table = TestHash::Table;
    using Convertor = TestHash::Convertor;
    static constexpr const char* moduleName = "TarnTestHash";
    static constexpr const char* tableName = "TarnTest::TestHashTable";
    static constexpr const char* entryName = "TarnTest::TestHashEntry";
    static constexpr const char* convertorName = "TarnTest::TestHashConvertor";
    static constexpr const char* hwTableWord = "TestHash";
    static constexpr U8 hwEntryWords = 3;
    static constexpr U32 hashBuckets = 1u << Bits, hashBits = Bits, hashWays = Ways;
    static constexpr U32 hashEntries = Entries;
    static constexpr U32 staticMask = 0xFFFF8000u;
    static constexpr TarnSwitchTable::StaticWord staticWords[] = {{2, staticMask}};

    // The bucket of a key in a way: the 13-bit hash of its four bytes, cut to the bucket count.
    static U32 bucket(const TestHashKey& k, U8 way) {
      const U8 bytes[4] = {U8(k.id >> 24), U8(k.id >> 16), U8(k.id >> 8), U8(k.id)};
      return TarnSwitch::crc13Hash(bytes, way, 32) & (hashBuckets - 1);
    }
    explicit Layout(const TarnSwitch::ChipProfile&) {}
    void declare(const TarnSwitchTable::HwTables& hw) const {
      auto regs =
          TarnSwitchTable::rowRegisters("", {"test_hash_key", "test_hash_data", "test_hash_ctl"});
      for (unsigned c = 0; c < Copies; ++c)
        hw.copyIs(c, hw.name(Copies > 1 ? int(c) : -1), 0, Ways * hashBuckets - 1, regs);
    }
    void setStaticBuffer(const TarnSwitchTable::CuckooLocation& at, U32* b) const {
      const U32 row = (U32(at.tableId.value()) << Bits) | at.bucket;
      b[2] = (b[2] & ~staticMask) | (row << 16) | 0x8000u;
    }
    void encodeEntry(const RowItem<Layout>& e, U32* b) const {
      b[0] = e.key.id;
      b[1] = e.result.data;
      b[2] = (b[2] & ~1u) | (e.valid ? 1u : 0u);
    }
    bool decodeEntry(const U32* w, const TarnSwitchTable::CuckooLocation&,
                     RowItem<Layout>& e) const {
      e.key.id = w[0];
      e.result.data = w[1];
      return (w[2] & 1u) != 0;
    }
  };
  class Entry : public TarnSwitchTable::HashEntry<Layout> {};
  class Convertor : public TarnSwitchTable::HashConvertor<Layout> {
   public:
    using TarnSwitchTable::HashConvertor<Layout>::HashConvertor;
  };
  class Table : public TarnSwitchTable::HashTable<Layout> {
   public:
    using TarnSwitchTable::HashTable<Layout>::HashTable;
  };
};

}  // namespace TarnTest
