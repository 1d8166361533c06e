#include "TarnSwitchTable/TarnTableLagGroup.h"

#include <algorithm>
#include <cstdio>

namespace TarnSwitchTable {
template class Layer2Table<LagGroupLayout>;
template class Layer2Convertor<LagGroupLayout>;

std::string LagGroupResult::shortStrep() const {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%02x", unsigned(lagGroupId));
  return buf;
}

Fen::Ptr<LagGroupTable> lagGroupTableFactory(const std::string& name) {
  return Fen::makePtr<LagGroupTable>(name);
}

void LagGroupLayout::getIngressPipelineHwTables(const HwTables& hw) const {
  for (U32 p = 0; p < pipelines && p * perPipeline < ports; ++p) {
    const HwIndex last = std::min(ports, (p + 1) * perPipeline) - 1;
    hw.copyIs(p, hw.name(int(p)), p * perPipeline, last,
              rowRegisters("pipeline[" + std::to_string(p) + "]/processor/",
                           {"lag_group_data0", "lag_ctl"}),
              CopyForm{2, 1, 0});
  }
}

void LagGroupLayout::getCpuPipelineHwTables(const HwTables& hw) const {
  hw.copyIs(pipelines, hw.name(int(pipelines)), 0, lastRow(),
            rowRegisters("cpu_pipeline[0]/lag_cpu[0]/", {"lag_group_data0"}),
            CopyForm{1, 1, cpuEncoding});
}

}  // namespace TarnSwitchTable
