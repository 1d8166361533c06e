#include "TarnSwitchTable/TarnLpmSharedTypes.h"

#include <cstdio>

#include "Fen/Assert.h"

// A fatal assertion whose printed text is given rather than spelled by the condition.
#define LPM_FAIL(text) ::Fen::assertionFailed(text, __FILE__, __LINE__, __PRETTY_FUNCTION__)
#define LPM_ASSERT(ok, text) ((ok) ? static_cast<void>(0) : LPM_FAIL(text))

namespace TarnSwitchTable {
namespace {

// The next-hop codes of a hardware API level: levels below 4.1 ("old") moved the rewrite and
// LAG 56 codes up when the LAG range grew to 59.
struct LagValues {
  U8 maxValidIndex;  // largest code that is a LAG index
  U8 lag56;          // code written for LAG index 56
  U8 rewriteLow;     // rewrite type 1, index 0..63
  U8 rewriteHigh;    // rewrite type 1, index 64 and up
};
constexpr U8 nullCode = 63;
constexpr LagValues oldLagValues{55, 63, 56, 60};
constexpr LagValues newLagValues{59, 62, 60, 61};

const LagValues& lagValuesOf(const TarnSwitch::ProfileHwApi& hwApi) {
  return hwApi < TarnSwitch::ProfileHwApi{4, 1} ? oldLagValues : newLagValues;
}

}  // namespace

const std::string& EntryCellIndexTag::message() {
  static const std::string m = Fen::rangeMessageMinMax(name);
  return m;
}

const std::string& MaskLengthTag::message() {
  static const std::string m = Fen::rangeMessageMinNull(name);
  return m;
}

// The cell word: the next-hop code in bits 0..5, the rewrite index modulo 64 in bits 6..11 and
// the ACL bit at 12, or at 13 where the row keeps bit 12 for a valid bit of its own. The code is
// the LAG index (0..55), or the level's code for LAG 56 (whatever the rewrite type), for no LAG
// (63) and for an ARP rewrite of a low (0..63) or high (64 and up) index. A next hop without a
// code stops the process with the expression that broke; tools ask nexthopFault() first.
U32 EntryCellResult::hwEncoding(bool hasEnabledBit, const TarnSwitch::ProfileHwApi& hwApi) const {
  const LagValues& lagValues = lagValuesOf(hwApi);
  const U8 l3LagIndex = nexthopIndexes.l3LagIndex.value();
  const U8 type = nexthopIndexes.rewriteType.value();
  U32 code = nullCode;
  if (l3LagIndex == 56) {
    code = lagValues.lag56;
  } else if (type == TarnSwitch::rewriteTypeLag) {
    if (l3LagIndex != TarnSwitch::l3LagIndexNull) {
      FEN_ASSERT(l3LagIndex <= lagValues.maxValidIndex);
      code = l3LagIndex;
    }
  } else if (type == TarnSwitch::rewriteTypeArp) {
    LPM_ASSERT(l3LagIndex == TarnSwitch::l3LagIndexNull,
               "l3LagIndex == TarnSwitch::L3LagIndex::null()");
    // Bit 6 of the index travels in the choice of code; bits 6..11 carry it modulo 64.
    code = nexthopIndexes.rewriteIndex < 64 ? lagValues.rewriteLow : lagValues.rewriteHigh;
  } else {
    // Rewrite types other than 0 (LAG) and 1 (ARP) have no code: a programming error.
    std::fprintf(stderr, "Unhandled rewriteIndex value %u\n", unsigned(type));
    LPM_FAIL("false");
  }
  const U32 acl = aclInfo.value() != maskLengthNull ? 1u : 0u;
  return code | (U32(nexthopIndexes.rewriteIndex % 64u) << 6) | (acl << (hasEnabledBit ? 13 : 12));
}

EntryCellResult EntryCellResult::fromHwEncoding(U32 encoding, U32, bool,
                                                const TarnSwitch::ProfileHwApi& hwApi) {
  const LagValues& lagValues = lagValuesOf(hwApi);
  const U32 code = encoding & 0x3Fu;
  const U8 index = U8((encoding >> 6) & 0x3Fu);
  EntryCellResult cell;
  TarnSwitch::NexthopIndexes& n = cell.nexthopIndexes;
  if (code == lagValues.rewriteLow || code == lagValues.rewriteHigh) {
    n = TarnSwitch::NexthopIndexes(TarnSwitch::l3LagIndexNull, TarnSwitch::rewriteTypeArp,
                                   U8(code == lagValues.rewriteHigh ? index + 64 : index));
  } else if (code > lagValues.maxValidIndex) {
    n = TarnSwitch::NexthopIndexes(TarnSwitch::l3LagIndexNull, TarnSwitch::rewriteTypeLag, index);
  } else {
    n = TarnSwitch::NexthopIndexes(TarnSwitch::L3LagIndex(code), TarnSwitch::rewriteTypeLag, index);
  }
  return cell;
}

const char* EntryCellResult::nexthopFault() const {
  const U8 type = nexthopIndexes.rewriteType.value();
  const U8 lag = nexthopIndexes.l3LagIndex.value();
  if (lag == 56 || type == TarnSwitch::rewriteTypeLag) return nullptr;
  if (type != TarnSwitch::rewriteTypeArp) return "rewriteType == 0 || rewriteType == 1";
  return lag == TarnSwitch::l3LagIndexNull ? nullptr
                                           : "l3LagIndex == TarnSwitch::L3LagIndex::null()";
}

const EntryCellResult& LpmResult::cellResult(EntryCellIndex index) const {
  FEN_ASSERT(index.value() < cellCount);
  return cells[index.value()];
}

void LpmResult::cellResultIs(EntryCellIndex index, const EntryCellResult& cell) {
  FEN_ASSERT(index.value() < cellCount);
  cells[index.value()] = cell;
}

EntryCellResult LpmResult::cellResultDel(EntryCellIndex index) {
  FEN_ASSERT(index.value() < cellCount);
  const EntryCellResult held = cells[index.value()];
  cells[index.value()] = EntryCellResult();
  return held;
}

void LpmResult::cellResultDelAll() {
  for (U8 i = 0; i < cellCount; ++i) cellResultDel(EntryCellIndex(i));
}

LpmResult LpmResult::fromText(std::string_view) {
  LPM_FAIL("No String constructor for LpmResult - has collection");
}

}  // namespace TarnSwitchTable
