#pragma once
// A small hashed table for the engine's tests: key `id` -> result `data`, in a table of Ways
// ways of 2^Bits buckets, mirrored to Copies hardware copies. A row is three words: word 0 the
// key, word 1 the result, word 2 bit 0 `valid`; the top half of word 2 holds the row's HwIndex
// and bit 15 is always set (both depend only on the location).
#include <tuple>

#include "Fen/Value.h"
#include "TarnSwitch/CrcHash.h"
#include "TarnSwitchTable/TarnTableHashBase.h"

namespace TarnTest {

using Fen::U32;
using Fen::U8;

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

template <U32 Ways, U32 Bits, unsigned Copies>
struct TestHash {
  static constexpr U32 ways = Ways, bits = Bits, buckets = 1u << Bits;
  static constexpr unsigned copies = Copies;
  static constexpr U32 staticMask = 0xFFFF8000u;

  // The bucket of a key in a way: the 13-bit hash of its four bytes, cut to the bucket count.
  static U32 bucketOf(U32 id, U8 way) {
    const U8 bytes[4] = {U8(id >> 24), U8(id >> 16), U8(id >> 8), U8(id)};
    return TarnSwitch::crc13Hash(bytes, way, 32) & (buckets - 1);
  }

  class Entry : public TarnSwitchTable::HashEntry<Entry, TestHashKey, TestHashResult> {
   public:
    static constexpr const char* fenTypeName = "TarnTest::TestHashEntry";
    U32 getHash(U8 way) const override { return bucketOf(this->key.id, way); }
  };

  class Table;
  class Convertor : public TarnSwitchTable::HashConvertor<Entry> {
   public:
    explicit Convertor(Table* t)
        : TarnSwitchTable::HashConvertor<Entry>(t, 3, buckets, Bits, Ways, 1) {}
    void doCreateHwTables(TarnSwitchApi::TableState state, bool resetHw) override {
      auto regs = Fen::makePtr<TarnSwitchApi::HwAddressColl>();
      regs->addressIs(0, "test_hash_key");
      regs->addressIs(1, "test_hash_data");
      regs->addressIs(2, "test_hash_ctl");
      for (unsigned c = 0; c < Copies; ++c) {
        const std::string name = this->swTable()->hwTableName("TestHash", Copies > 1 ? int(c) : -1);
        auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingConst>(name, regs);
        this->declareHwTable(c, name, state, 0, Ways * buckets - 1, mapping);
      }
      if (state == TarnSwitchApi::TableState::init) this->initHwEntries(resetHw);
    }
    void handleInitialized() override { this->hwStaticWordIs(2, staticMask); }
    void setStaticBuffer(const TarnSwitchTable::CuckooLocation& location, U32* buffer) override {
      buffer[2] = (buffer[2] & ~staticMask) | (this->hwIndex(location) << 16) | 0x8000u;
    }
    void encodeEntry(const Entry& e, U32* buffer) const override {
      buffer[0] = e.key.id;
      buffer[1] = e.result.data;
      buffer[2] = (buffer[2] & ~1u) | (e.valid ? 1u : 0u);
    }
    void decodeEntry(const U32* words, Entry& e) const override {
      e.key.id = words[0];
      e.result.data = words[1];
      e.valid = (words[2] & 1u) != 0;
    }
  };

  class Table : public TarnSwitchTable::HashTable<Entry> {
   public:
    using TarnSwitchTable::HashTable<Entry>::HashTable;
    Fen::Ptr<TarnSwitchTable::HashBaseConvertor> profileConvertorFactory() const override {
      return Fen::makePtr<Convertor>(const_cast<Table*>(this));
    }
  };
};

}  // namespace TarnTest
