#include "TarnSwitchTable/TarnTableFloodSet.h"

#include <cstdio>

namespace TarnSwitchTable {
template class Layer2Table<FloodSetLayout>;
template class Layer2Convertor<FloodSetLayout>;

std::string FloodSetResult::shortStrep() const {
  char buf[64];
  std::snprintf(buf, sizeof buf, "uucPortMask:0x%012llx umcPortMask:0x%012llx",
                static_cast<unsigned long long>(uucPortMask),
                static_cast<unsigned long long>(umcPortMask));
  return buf;
}

void FloodSetTable::scratchEntryIs() {
  auto* e = static_cast<FloodSetEntry*>(scratchResult());
  e->key = scratchKeyValue();
  entryIs(*e);
}

Fen::Ptr<FloodSetTable> floodSetTableFactory(const std::string& name) {
  return Fen::makePtr<FloodSetTable>(name);
}

FloodSetLayout::FloodSetLayout(const TarnSwitch::ChipProfile& p)
    : len(U8(p.portCount)), pipelines(p.pipelineCount), cpu(p.hasCpuPipeline) {
  if (pipelines == 0 && !cpu)
    throw Fen::RangeException("profile '" + p.name + "' has no pipeline: no flood set copy");
}

void FloodSetLayout::declare(const HwTables& hw) const {
  const auto copy = [&](U32 id, const std::string& prefix) {
    hw.copyIs(id, hw.name(int(id)), 1, 4094,
              rowRegisters(prefix, {"floodset_data0", "floodset_data1", "floodset_data2",
                                    "floodset_data3", "floodset_ctl"}));
  };
  for (U32 p = 0; p < pipelines; ++p) copy(p, "pipeline[" + std::to_string(p) + "]/processor/");
  if (cpu) copy(pipelines, "cpu_pipeline[0]/processor/");
}

}  // namespace TarnSwitchTable
