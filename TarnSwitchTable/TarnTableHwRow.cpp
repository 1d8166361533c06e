#include "TarnSwitchTable/TarnTableHwRow.h"

#include "Cairn/CorruptionDetectedException.h"

namespace TarnSwitchTable {

bool readHwRow(SwTableProfileConvertor& convertor, const HwTableConfig& table, HwIndex index,
               HwEntryConfig& out) {
  try {
    return table.entry(index, out);
  } catch (const Cairn::CorruptionDetectedException& e) {
    convertor.doCorruptionDetected(e.what());
    out = HwEntryConfig(index);
    return false;
  }
}

bool writeHwRowIfChanged(SwTableProfileConvertor& convertor, HwTableConfig& table, HwIndex index,
                         const U32* words, unsigned count) {
  HwEntryConfig row;
  bool present = readHwRow(convertor, table, index, row);
  if (present && row.index() == index) {
    bool equal = true;
    for (unsigned i = 0; i < count && equal; ++i) {
      equal = i < row.words() && row.dataArray()[i] == words[i];
    }
    if (equal) return false;
  }
  if (!present || row.index() != index) row = HwEntryConfig(index);
  for (unsigned i = 0; i < count; ++i) row.dataIs(TarnSwitchApi::DataArrayIndex(i), words[i]);
  table.entryIs(row);
  return true;
}

}  // namespace TarnSwitchTable
