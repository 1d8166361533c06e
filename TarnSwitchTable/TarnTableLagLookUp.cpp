#include "TarnSwitchTable/TarnTableLagLookUp.h"

#include <algorithm>
#include <cstdio>

namespace TarnSwitchTable {
template class Layer2Table<LagLookUpLayout>;
template class Layer2Convertor<LagLookUpLayout>;

std::string LagLookUpResult::shortStrep() const {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%02X", unsigned(buckets));
  return buf;
}

Fen::Ptr<LagLookUpTable> lagLookUpTableFactory(const std::string& name) {
  return Fen::makePtr<LagLookUpTable>(name);
}

LagLookUpLayout::LagLookUpLayout(const TarnSwitch::ChipProfile& p) : PortRows(p, true) {
  if (pipelines == 0)
    throw Fen::RangeException("profile '" + p.name + "' has no ingress pipeline: no LAG look-up");
}

void LagLookUpLayout::declare(const HwTables& hw) const {
  for (U32 c = 0; c <= pipelines; ++c) {
    const std::string name = hw.name(int(c));
    const std::string pipeline =
        c < pipelines ? "pipeline[" + std::to_string(c) + "]" : "cpu_pipeline[0]";
    auto mapping = Fen::makePtr<TarnSwitchApi::HwTableRegisterMappingRange>(name);
    for (U32 l = 0; l < pipelines && l * perPipeline < ports; ++l) {
      const U32 last = l + 1 == pipelines ? ports - 1 : std::min(ports, (l + 1) * perPipeline) - 1;
      mapping->regsIs(last, rowRegisters(pipeline + "/lag_lut[" + std::to_string(l) + "]/",
                                         {"lag_lut_data0", "lag_lut_ctl"}));
    }
    hw.copyIs(c, name, 0, lastRow(), mapping);
  }
}

}  // namespace TarnSwitchTable
