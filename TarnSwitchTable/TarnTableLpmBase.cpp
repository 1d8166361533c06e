#include "TarnSwitchTable/TarnTableLpmBase.h"

#include "Fen/Assert.h"
#include "TarnSwitch/CrcHash.h"
#include "TarnSwitch/Parity.h"

namespace TarnSwitchTable {
namespace {

Fen::TraceHandle lpmBaseTrace("TarnTableLpmBase");

// A field of at most 32 bits at bit `low` of a row's words 0..3, numbered as the bit-stream
// helpers number them (bit n is bit n % 32 of word n / 32), read and written a word pair at a
// time: these run for every row of a stride table at each start.
U64 wordPair(const U32* w, U32 low) {
  return U64(w[low / 32]) | (U64(w[low / 32 + 1]) << 32);
}

void putField(U32* w, U32 low, U32 len, U32 value) {
  const U64 mask = ((U64(1) << len) - 1) << (low % 32);
  const U64 pair = (wordPair(w, low) & ~mask) | ((U64(value) << (low % 32)) & mask);
  w[low / 32] = U32(pair);
  w[low / 32 + 1] = U32(pair >> 32);
}

U32 getField(const U32* w, U32 low, U32 len) {
  return U32((wordPair(w, low) >> (low % 32)) & ((U64(1) << len) - 1));
}

}  // namespace

U32 lpmStrideHash(const TarnSwitch::LpmKey& key, U8 way, U32 ipv4DipShift, U32 keyWidth,
                  U32 crcLength) {
  const U32 k =
      (U32(key.vrfId) << (32 - ipv4DipShift)) | (key.prefix.address().value() >> ipv4DipShift);
  const U64 widened = (k & 0x80000000u) ? (U64(0xFFFFFFFFu) << 32) | k : U64(k);
  const U64 aligned = widened << (64 - keyWidth);
  if (crcLength == 12) return TarnSwitch::crc12Hash64(aligned, way, keyWidth);
  if (crcLength == 10) return TarnSwitch::crc10Hash64(aligned, way, keyWidth);
  FEN_TRACE(lpmBaseTrace, 0, "Unsupported crc length " << crcLength);
  FEN_ASSERT(crcLength == 10 || crcLength == 12);
  return 0;
}

void LpmStrideRows::declare(const HwTables& hw, U32 rows) const {
  for (U32 i = 0; i < l3Processors; ++i) {
    const std::string prefix = "ingress/processor_l3[" + std::to_string(i) + "]/";
    hw.copyIs(
        i, hw.name(int(i)), 0, rows - 1,
        rowRegisters(prefix, {"hash_data0", "hash_data1", "hash_data2", "hash_data3", "hash_ctl"}));
  }
}

void LpmStrideRows::setStaticBuffer(const CuckooLocation& at, U32* b) const {
  const U32 keep = 0x00C13000u;  // bits 140..141, 144 and 150..151 are not the location's
  b[4] = (b[4] & keep) | (at.bucket & 0xFFFu) | (U32(at.tableId.value() & 3u) << 14) | (1u << 17) |
         (U32(hashTableId & 0xFu) << 18);
}

void LpmStrideRows::encode(bool valid, const TarnSwitch::LpmKey& key, const LpmResult& result,
                           U32* b) const {
  const U32 m = compareWidth, at = compareWidth + resultShift;
  const U32 address = key.prefix.address().value();
  putField(b, 0, m - 2, address >> (34 - m));
  putField(b, m - 2, 2, key.vrfId % 4u);
  putField(b, at, 1, valid ? 1 : 0);
  for (U32 c = 0; c < LpmResult::cellCount; ++c) {
    const U32 cell = result.cells[c].hwEncoding(false, hwApi);
    putField(b, at + 1 + cellResultWidth * c, cellResultWidth, cell);
  }
  putField(b, at + 57, 1, result.cpuTrap ? 1 : 0);
  putField(b, at + 58, 1, 0);
  putField(b, at + 58, 1, TarnSwitch::parityU32Array(b, 3));
  b[5] = address;
}

bool LpmStrideRows::decode(const U32* w, TarnSwitch::LpmKey& key, LpmResult& result) const {
  const U32 m = compareWidth, at = compareWidth + resultShift;
  key.vrfId = U8(getField(w, m - 2, 2));
  key.prefix = Lanx::Prefix(Lanx::Ip4Addr(w[5]), U8(prefixBaseLen));
  for (U32 c = 0; c < LpmResult::cellCount; ++c) {
    const U32 cell = getField(w, at + 1 + cellResultWidth * c, cellResultWidth);
    result.cells[c] = EntryCellResult::fromHwEncoding(cell, 0, false, hwApi);
  }
  result.cpuTrap = getField(w, at + 57, 1) != 0;
  return getField(w, at, 1) != 0;
}

}  // namespace TarnSwitchTable
