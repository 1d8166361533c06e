#pragma once
// What the layer-3 tables share: port-mask fields packed into a row, the profile bounds a layout
// checks, and the per-pipeline copies of the layer-3 ingress processors (written through
// "hash_data0", "hash_data1" and "hash_ctl").
#include <string>
#include <tuple>

#include "Fen/Value.h"
#include "Keel/BitStream.h"
#include "TarnSwitch/IngressPortMask.h"
#include "TarnSwitch/L3FloodId.h"
#include "TarnSwitchTable/TarnTableDescribed.h"

namespace TarnSwitchTable {

// Writes the low `len` bits of `value` at bit `start` of a row (a field of no bits writes
// nothing). A field of 64 bits or more, or over more than nine bytes, stops the process.
inline void setRowBits(U32* row, U32 start, U32 len, U64 value) {
  if (len > 0) Keel::bitStreamSet(reinterpret_cast<U8*>(row), U16(start), U8(len), value);
}
// Reads `len` bits at bit `start` of a row (0 for a field of no bits).
inline U64 rowBits(const U32* row, U32 start, U32 len) {
  return len > 0 ? Keel::bitStreamGet(row, start, start + len - 1) : 0;
}

// The profile's port count, refused with the range exception when a port mask of that many
// ports does not fit the rows of `table` (at most `maxPorts`).
U32 portsFittingRow(const TarnSwitch::ChipProfile& profile, U32 ports, U32 maxPorts,
                    const char* table);

// One copy per ingress pipeline i (HwTableId i), each holding rows 0..upper through the registers
// "ingress/processor_l3[i]/hash_data0", ".../hash_data1" and ".../hash_ctl".
void declareL3IngressCopies(const HwTables& hw, U32 pipelines, HwIndex upper);

}  // namespace TarnSwitchTable
