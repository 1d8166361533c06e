#include "TarnSwitchTable/TarnTableL3Lag.h"

namespace TarnSwitchTable {
template class DirectTable<L3LagLayout>;
template class DirectConvertor<L3LagLayout>;

Fen::Ptr<L3LagEntry> l3LagEntryFactory(TarnSwitch::L3LagIndex index) {
  auto e = Fen::makePtr<L3LagEntry>();
  e->key = index;
  return e;
}

Fen::Ptr<L3LagTable> l3LagTableFactory(const std::string& name) {
  return Fen::makePtr<L3LagTable>(name);
}

L3LagLayout::L3LagLayout(const TarnSwitch::ChipProfile& profile)
    : ports(portsFittingRow(profile, profile.portCount, 61, tableName)),
      pipelines(profile.pipelineCount) {}

}  // namespace TarnSwitchTable
