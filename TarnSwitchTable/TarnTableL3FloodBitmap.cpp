#include "TarnSwitchTable/TarnTableL3FloodBitmap.h"

namespace TarnSwitchTable {
template class DirectTable<L3FloodBitmapLayout>;
template class DirectConvertor<L3FloodBitmapLayout>;

Fen::Ptr<L3FloodBitmapEntry> l3FloodBitmapEntryFactory(TarnSwitch::L3FloodId id) {
  auto e = Fen::makePtr<L3FloodBitmapEntry>();
  e->key = id;
  return e;
}

Fen::Ptr<L3FloodBitmapTable> l3FloodBitmapTableFactory(const std::string& name) {
  return Fen::makePtr<L3FloodBitmapTable>(name);
}

// The bit positions take the port count modulo 256.
L3FloodBitmapLayout::L3FloodBitmapLayout(const TarnSwitch::ChipProfile& profile)
    : ports(portsFittingRow(profile, U8(profile.portCount), 63, tableName)),
      pipelines(profile.pipelineCount) {}

}  // namespace TarnSwitchTable
