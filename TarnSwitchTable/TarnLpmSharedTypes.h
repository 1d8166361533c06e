#pragma once
// Value types shared by the longest-prefix-match tables: the index of a result cell, a mask
// length, the result of one cell and the four-cell result of an LPM entry, and the one hardware
// word every LPM table uses for a cell result.
#include <array>
#include <string>
#include <string_view>
#include <tuple>

#include "Fen/Ranged.h"
#include "Fen/Value.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitch/NexthopIndexes.h"

namespace TarnSwitchTable {

using Fen::U32;
using Fen::U8;

// One of the four result cells of an LPM entry: 0..3.
struct EntryCellIndexTag {
  static constexpr const char* name = "TarnSwitchTable::EntryCellIndex";
  static const std::string& message();
};
using EntryCellIndex = Fen::Ranged<EntryCellIndexTag, U8, 0, 3>;

// A prefix length 0..32; 33 is the null value ("none").
struct MaskLengthTag {
  static constexpr const char* name = "TarnSwitchTable::MaskLength";
  static const std::string& message();
};
using MaskLength = Fen::Ranged<MaskLengthTag, U8, 0, 33>;
constexpr U8 maskLengthNull = 33;

// The forwarding result of one cell. Only whether `aclInfo` is null reaches hardware.
struct EntryCellResult : Fen::Value<EntryCellResult> {
  TarnSwitch::NexthopIndexes nexthopIndexes;
  MaskLength aclInfo = maskLengthNull;

  EntryCellResult() = default;
  EntryCellResult(const TarnSwitch::NexthopIndexes& nexthop, MaskLength acl)
      : nexthopIndexes(nexthop), aclInfo(acl) {}

  // The cell's hardware word: next-hop code in bits 0..5, the rewrite index modulo 64 in bits
  // 6..11, the ACL bit in bit 12, or 13 where the entry keeps bit 12 for a valid bit of its own
  // (`hasEnabledBit`). The codes differ below and from hardware API level 4.1. A LAG index above
  // the level's largest, a rewrite type 1 with a LAG index, or another rewrite type stop the
  // process.
  U32 hwEncoding(bool hasEnabledBit, const TarnSwitch::ProfileHwApi& hwApi) const;
  // nullptr when every LPM table can encode this cell's next hop (LAG 56 whatever the rewrite
  // type, rewrite type 0 with any LAG index, rewrite type 1 without one); else the condition
  // whose breach stops hwEncoding.
  const char* nexthopFault() const;
  // The cell a hardware word reads back as; `aclInfo` is always null (the ACL bit is written,
  // never read). The second word and the flag are not used. Codes 58 and 59 on level 4.1 and
  // above raise the L3LagIndex range exception.
  static EntryCellResult fromHwEncoding(U32 encoding, U32, bool,
                                        const TarnSwitch::ProfileHwApi& hwApi);

  static constexpr const char* fenTypeName = "TarnSwitchTable::EntryCellResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("nexthopIndexes", &EntryCellResult::nexthopIndexes),
                           Fen::field("aclInfo", &EntryCellResult::aclInfo));
  }
};

// The result of an LPM entry: four cells, one for each value of the two address bits after the
// entry's prefix, and whether the route's packets are trapped to the processor. An empty cell is
// one equal to the default cell.
struct LpmResult : Fen::Value<LpmResult> {
  static constexpr unsigned cellCount = 4;
  using Cells = std::array<EntryCellResult, cellCount>;

  Cells cells{};
  bool cpuTrap = false;

  LpmResult() = default;

  const EntryCellResult& cellResult(EntryCellIndex index) const;
  void cellResultIs(EntryCellIndex index, const EntryCellResult& cell);
  // Resets the cell to the default and returns what it held.
  EntryCellResult cellResultDel(EntryCellIndex index);
  // Resets every cell, in index order.
  void cellResultDelAll();

  // A result holds a collection and has no parser: building one from text stops the process.
  [[noreturn]] static LpmResult fromText(std::string_view text);

  static constexpr const char* fenTypeName = "TarnSwitchTable::LpmResult";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("cellResult", &LpmResult::cells),
                           Fen::field("cpuTrap", &LpmResult::cpuTrap));
  }
};

}  // namespace TarnSwitchTable

namespace Fen {
// An LPM result nested in another value prints in its own form and, like its text constructor,
// cannot be parsed.
template <>
struct ValueTraits<TarnSwitchTable::LpmResult> {
  static const char* typeName() { return TarnSwitchTable::LpmResult::fenTypeName; }
  static void print(std::string& out, const TarnSwitchTable::LpmResult& v) { printValue(out, v); }
  [[noreturn]] static TarnSwitchTable::LpmResult parse(TextReader& in) {
    TarnSwitchTable::LpmResult::fromText(in.rest());
  }
  static U32 hash(U32 seed, const TarnSwitchTable::LpmResult& v) { return valueHash(v, seed); }
};
}  // namespace Fen
