#include "TarnSwitchTable/TarnTableLpmTables.h"

#include "TarnSwitchTable/TarnTableLpm.h"

namespace TarnSwitchTable {

#define TARN_LPM_STRIDE_DEFINE(N)                                    \
  template class HashTable<LpmBaseLayout<Lpm##N>>;                   \
  template class HashConvertor<LpmBaseLayout<Lpm##N>>;               \
  Fen::Ptr<Lpm##N##Table> Lpm##N##TableIs(const std::string& name) { \
    return Fen::makePtr<Lpm##N##Table>(name);                        \
  }
TARN_LPM_STRIDE_DEFINE(14)
TARN_LPM_STRIDE_DEFINE(17)
TARN_LPM_STRIDE_DEFINE(20)
TARN_LPM_STRIDE_DEFINE(23)
TARN_LPM_STRIDE_DEFINE(26)
TARN_LPM_STRIDE_DEFINE(29)
TARN_LPM_STRIDE_DEFINE(32)
#undef TARN_LPM_STRIDE_DEFINE

namespace {

Fen::ClassInfo namedClass(const char* name, const char* kind) {
  return Fen::ClassInfo{name, kind, {}, nullptr, "", ""};
}

// A stride member's entry, table (with its factory) and convertor classes.
template <class M>
void addStrideClasses(Fen::ModuleInfo& m) {
  m.classes.push_back(namedClass(M::entryName, "entry"));
  m.classes.push_back(tableClassInfo<typename M::Table, LpmBaseLayout<M>>());
  m.classes.push_back(namedClass(M::convertorName, "convertor"));
}

}  // namespace

void registerLpmModules() {
  auto& registry = Fen::Registry::instance();
  Fen::ModuleInfo shared{"TarnLpmSharedTypes", {}};
  addValueClass<TarnSwitch::LpmKey>(shared);
  addValueClass<EntryCellResult>(shared);
  addValueClass<LpmResult>(shared);
  registry.moduleIs(std::move(shared));
  registerTableModule<Lpm11Table, Lpm11Layout>();
  registry.moduleIs(
      Fen::ModuleInfo{"TarnTableLpmBase",
                      {namedClass("TarnSwitchTable::LpmBaseTableCuckooEntry", "entry"),
                       namedClass("TarnSwitchTable::LpmBaseTable", "table"),
                       namedClass("TarnSwitchTable::LpmBaseConvertor", "convertor")}});
  Fen::ModuleInfo strides{"TarnTableLpmTables", {}};
  addStrideClasses<Lpm14>(strides);
  addStrideClasses<Lpm17>(strides);
  addStrideClasses<Lpm20>(strides);
  addStrideClasses<Lpm23>(strides);
  addStrideClasses<Lpm26>(strides);
  addStrideClasses<Lpm29>(strides);
  addStrideClasses<Lpm32>(strides);
  registry.moduleIs(std::move(strides));
  Fen::ClassInfo front;
  front.name = LpmLayout::tableName;
  front.kind = "table";
  front.factory = [](const std::string& name) -> Fen::Ptr<Fen::PtrInterface> {
    return lpmTableFactory(name);
  };
  front.keyClass = TarnSwitch::LpmKey::fenTypeName;
  front.resultClass = LpmResult::fenTypeName;
  registry.moduleIs(Fen::ModuleInfo{LpmLayout::moduleName,
                                    {namedClass("TarnSwitchTable::LpmStatus", "entry"), front}});
}

}  // namespace TarnSwitchTable
