#include "TarnSwitchTable/TarnTableModules.h"

#include "TarnSwitchTable/TarnParityTypes.h"
#include "TarnSwitchTable/TarnTableArp.h"
#include "TarnSwitchTable/TarnTableCopp.h"
#include "TarnSwitchTable/TarnTableHashBase.h"

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
  registerTableModule<CoppTable, CoppLayout>();
  registerParityTypes();
}

}  // namespace TarnSwitchTable
