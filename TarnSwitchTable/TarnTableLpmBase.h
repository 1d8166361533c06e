#pragma once
// LPM stride tables, what the seven share: a stride table holds the prefixes of one base length
// (12, 15, .., 30) of routing instances 0..3 in a two-way hashed table, one entry per base-length
// prefix carrying the four cells of the two address bits that follow it. A member supplies only
// its constants (TarnTableLpmTables.h):
//
//   struct LpmXX {
//     using Table = LpmXXTable; using Entry = LpmXXTableCuckooEntry; using Convertor =
//     LpmXXConvertor; static constexpr const char* tableName, *entryName, *convertorName,
//     *baseName; static constexpr U32 prefixBaseLen, keyWidth, crcLength, compareWidth, hashBits;
//     static constexpr U8 hashTableId;
//   };
//
// Rows are six words. Bits 0..m-1 (m = compareWidth) hold the compare field: the top m-2 bits of
// the address (address >> (34 - m)), then vrfId modulo 4; bit m the valid bit, then four 14-bit
// cells (the cell word without the /11 table's enabled bit), the trap bit at m+57 and the even
// parity of words 0..2 at m+58. Word 4 depends only on the location: bucket (bits 128..139),
// way (142..143), bit 145 set and the table's number in the hash block (146..149). Word 5 holds
// the whole address and has no register.
#include <functional>
#include <string>

#include "TarnSwitch/LpmKey.h"
#include "TarnSwitchTable/TarnLpmSharedTypes.h"
#include "TarnSwitchTable/TarnTableHashBase.h"
#include "TarnSwitchTable/TarnTableLpm11.h"

namespace TarnSwitchTable {

// The bucket of a stride key in a way: the routing instance placed directly above the
// base-length prefix (k = vrfId << (32 - shift) | address >> shift), widened to 64 bits as a
// signed 32-bit number, left-aligned to `keyWidth` bits; the CRC of width `crcLength` (10 or 12)
// over those bits. Another width traces "Unsupported crc length" and stops the process.
U32 lpmStrideHash(const TarnSwitch::LpmKey& key, U8 way, U32 ipv4DipShift, U32 keyWidth,
                  U32 crcLength);

// The row layout of one stride on a chip: everything but the hashing, which is static.
struct LpmStrideRows {
  U32 compareWidth;
  U32 resultShift;
  U8 hashTableId;
  U32 prefixBaseLen;
  U32 l3Processors;
  TarnSwitch::ProfileHwApi hwApi;
  const char* baseName;

  static constexpr U32 cellResultWidth = 14;
  static constexpr U8 hwEntryWords = 6;

  // Copy i per L3 processor: rows 0..rows-1, words 0..3 to "hash_data0".."hash_data3" and word 4
  // to "hash_ctl" behind "ingress/processor_l3[i]/".
  void declare(const HwTables& hw, U32 rows) const;
  void setStaticBuffer(const CuckooLocation& at, U32* b) const;
  void encode(bool valid, const TarnSwitch::LpmKey& key, const LpmResult& result, U32* b) const;
  // The entry a row holds; returns its valid bit. A routing instance comes from the compare
  // field, the address from word 5.
  bool decode(const U32* w, TarnSwitch::LpmKey& key, LpmResult& result) const;
};

template <class M>
class LpmBaseTable;

// The layout of stride member M for the hashed engine.
template <class M>
struct LpmBaseLayout : LpmStrideRows {
  using Key = TarnSwitch::LpmKey;
  using Result = LpmResult;
  using Entry = typename M::Entry;
  using Table = typename M::Table;
  using Convertor = typename M::Convertor;
  static constexpr const char* moduleName = "TarnTableLpmTables";
  static constexpr const char* tableName = M::tableName;
  static constexpr const char* entryName = M::entryName;
  static constexpr const char* convertorName = M::convertorName;
  static constexpr const char* hwTableWord = M::baseName;
  static constexpr const char* handlerName = "TarnSwitchTable::LpmBaseTable";
  static constexpr const char* decodedValidText = "Decoded valid entry is ";
  static constexpr U8 hwEntryWords = LpmStrideRows::hwEntryWords;
  // Each programmed entry is kept in the ring trace as well.
  static constexpr bool programmingInRing = true;
  static constexpr U32 hashBits = M::hashBits, hashBuckets = 1u << M::hashBits, hashWays = 2;
  static constexpr U32 hashEntries = 1;
  static constexpr StaticWord staticWords[] = {{4, 0xFFFFFFFFu}};
  static_assert(M::compareWidth + 58 < 96, "the row's fields fit words 0..2");

  static U32 bucket(const Key& k, U8 way) {
    return lpmStrideHash(k, way, 32 - M::prefixBaseLen, M::keyWidth, M::crcLength);
  }
  explicit LpmBaseLayout(const TarnSwitch::ChipProfile& p)
      : LpmStrideRows{M::compareWidth,      0,       M::hashTableId, M::prefixBaseLen,
                      p.pipelineCount / 2u, p.hwApi, M::baseName} {}
  void declare(const HwTables& hw) const { LpmStrideRows::declare(hw, hashBuckets * hashWays); }
  void encodeEntry(const RowItem<LpmBaseLayout>& e, U32* b) const {
    encode(e.valid, e.key, e.result, b);
  }
  bool decodeEntry(const U32* w, const CuckooLocation&, RowItem<LpmBaseLayout>& e) const {
    return decode(w, e.key, e.result);
  }
  static void refuseKey(const Table&, const Key& key) { lpmRefuseVrf(M::tableName, key); }
  static const char* keyFault(const Table& table, const Key& key) {
    return key.prefix.len() == table.prefixBaseLen() ? nullptr
                                                     : "key.prefix().len() == prefixBaseLen()";
  }
  static const char* resultFault(const Table&, const Result& r) {
    for (const auto& cell : r.cells)
      if (const char* fault = cell.nexthopFault()) return fault;
    return nullptr;
  }
};

// A stride member's cuckoo entry; its hashing constants are the member's.
template <class M>
class LpmBaseTableCuckooEntry : public HashEntry<LpmBaseLayout<M>> {
 public:
  static constexpr U32 ipv4DipShift = 32 - M::prefixBaseLen;
  static constexpr U32 keyWidth = M::keyWidth;
  static constexpr U32 crcLength = M::crcLength;
};

template <class M>
class LpmBaseConvertor : public HashConvertor<LpmBaseLayout<M>> {
 public:
  using HashConvertor<LpmBaseLayout<M>>::HashConvertor;
  static constexpr U8 hashTableId = M::hashTableId;
  static constexpr U32 compareWidth = M::compareWidth;
  static constexpr U32 cellResultWidth = LpmStrideRows::cellResultWidth;
};

// A stride member's table: the hashed engine's table with the one prefix length it accepts.
template <class M>
class LpmBaseTable : public HashTable<LpmBaseLayout<M>> {
 public:
  explicit LpmBaseTable(const std::string& name) : HashTable<LpmBaseLayout<M>>(name) {}

  U32 prefixBaseLen() const { return prefixBaseLen_; }
  // A different length notifies the observer; the same length does nothing.
  void prefixBaseLenIs(U32 len) {
    if (len == prefixBaseLen_) return;
    prefixBaseLen_ = len;
    if (prefixBaseLenObserver_) prefixBaseLenObserver_();
  }
  void prefixBaseLenObserverIs(std::function<void()> observer) {
    prefixBaseLenObserver_ = std::move(observer);
  }

 private:
  U32 prefixBaseLen_ = M::prefixBaseLen;
  std::function<void()> prefixBaseLenObserver_;
};

}  // namespace TarnSwitchTable
