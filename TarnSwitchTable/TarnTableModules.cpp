#include "TarnSwitchTable/TarnTableModules.h"

#include "TarnSwitchTable/TarnParityTypes.h"
#include "TarnSwitchTable/TarnTableArp.h"
#include "TarnSwitchTable/TarnTableCopp.h"
#include "TarnSwitchTable/TarnTableFloodSet.h"
#include "TarnSwitchTable/TarnTableHashBase.h"
#include "TarnSwitchTable/TarnTableL2Control.h"
#include "TarnSwitchTable/TarnTableL3FloodArp.h"
#include "TarnSwitchTable/TarnTableL3FloodBitmap.h"
#include "TarnSwitchTable/TarnTableL3Lag.h"
#include "TarnSwitchTable/TarnTableLagGroup.h"
#include "TarnSwitchTable/TarnTableLagLookUp.h"
#include "TarnSwitchTable/TarnTableLpmTables.h"
#include "TarnSwitchTable/TarnTableNativeVlan.h"
#include "TarnSwitchTable/TarnTablePortConfig.h"
#include "TarnSwitchTable/TarnTableSG.h"

namespace TarnSwitchTable {
namespace {

// A module of engine classes (no table of its own).
void registerEngineModule(const char* module, const char* entry, const char* table,
                          const char* convertor) {
  Fen::Registry::instance().moduleIs(
      Fen::ModuleInfo{module,
                      {Fen::ClassInfo{entry, "entry", {}, nullptr, "", ""},
                       Fen::ClassInfo{table, "table", {}, nullptr, "", ""},
                       Fen::ClassInfo{convertor, "convertor", {}, nullptr, "", ""}}});
}

// The library registers its modules when it is loaded.
[[maybe_unused]] const bool registeredOnLoad = (registerModules(), true);

}  // namespace

void registerModules() {
  static bool done = false;
  if (done) return;
  done = true;
  registerEngineModule("TarnTableDirectBase", "TarnSwitchTable::DirectBaseEntry",
                       "TarnSwitchTable::DirectBaseTable", "TarnSwitchTable::DirectBaseConvertor");
  registerEngineModule("TarnTableHashBase", "TarnSwitchTable::HashBaseCuckooEntry",
                       "TarnSwitchTable::HashBaseTable", "TarnSwitchTable::HashBaseConvertor");
  registerTableModule<ArpTable, ArpLayout>();
  registerTableModule<SGTable, SGLayout>();
  registerTableModule<L3LagTable, L3LagLayout>();
  registerTableModule<L3FloodArpTable, L3FloodArpLayout>();
  registerTableModule<L3FloodBitmapTable, L3FloodBitmapLayout>();
  registerLpmModules();
  registerTableModule<PortConfigTable, PortConfigLayout>();
  registerTableModule<L2ControlTable, L2ControlLayout>();
  registerTableModule<FloodSetTable, FloodSetLayout>();
  registerTableModule<NativeVlanTable, NativeVlanLayout>();
  registerTableModule<LagGroupTable, LagGroupLayout>();
  registerTableModule<LagLookUpTable, LagLookUpLayout>();
  registerTableModule<CoppTable, CoppLayout>();
  registerParityTypes();
}

}  // namespace TarnSwitchTable
