#pragma once
// What follows from a table description, the same for every engine: the module's trace handle,
// its registration with the framework's registry, and the declaration of its hardware copies.
//
// A description (layout) names its module and classes and gives its key and result types:
//   static constexpr const char* moduleName = "TarnTableArp";
//   static constexpr const char* tableName = "TarnSwitchTable::ArpTable";
//   static constexpr const char* entryName = "TarnSwitchTable::ArpEntry";
//   static constexpr const char* convertorName = "TarnSwitchTable::ArpConvertor";
//   static constexpr const char* hwTableWord = "Arp";
//   using Key = ArpKey; using Result = ArpResult;
// Each engine adds what it needs of the row layout (see TarnTableDirectBase.h and
// TarnTableHashBase.h).
#include <initializer_list>
#include <string>
#include <type_traits>

#include "Fen/Registry.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitchApi/RegisterMapping.h"
#include "TarnSwitchTable/TarnTableRows.h"

namespace TarnSwitchTable {

// The trace handle of a described table's module.
template <class Desc>
struct ModuleTrace {
  static Fen::TraceHandle handle;
};
template <class Desc>
Fen::TraceHandle ModuleTrace<Desc>::handle(Desc::moduleName);

template <class Desc>
const Fen::TraceHandle& moduleTrace() {
  return ModuleTrace<Desc>::handle;
}

// A table's hardware copies as its layout declares them, on the chip of a convertor.
class HwTables {
 public:
  HwTables(RowConvertor& convertor, TableState state, const char* word)
      : convertor_(convertor), state_(state), word_(word) {}

  const TarnSwitch::ChipProfile& profile() const { return convertor_.profile(); }
  // The hardware table name: "<table>.<word>", with "[<id>]" when id is given.
  std::string name(int id = -1) const { return convertor_.owner()->hwTableName(word_, id); }
  // Declares copy `id`: its rows, its register mapping and how it holds them.
  void copyIs(HwTableId id, const std::string& hwTableName, HwIndex lower, HwIndex upper,
              Fen::PtrConst<HwTableRegisterMapping> mapping, CopyForm form = {}) const;
  // One copy whose every row uses the same registers.
  void copyIs(HwTableId id, const std::string& hwTableName, HwIndex lower, HwIndex upper,
              Fen::PtrConst<TarnSwitchApi::HwAddressColl> registers, CopyForm form = {}) const;

 private:
  RowConvertor& convertor_;
  TableState state_;
  const char* word_;
};

// The registers of a row: word i goes to prefix + names[i].
Fen::Ptr<TarnSwitchApi::HwAddressColl> rowRegisters(const std::string& prefix,
                                                    std::initializer_list<const char*> names);

// The class of a described table for the registry: its factory, key and result classes.
template <class Table, class Desc>
Fen::ClassInfo tableClassInfo() {
  Fen::ClassInfo c;
  c.name = Desc::tableName;
  c.kind = "table";
  c.factory = [](const std::string& name) -> Fen::Ptr<Fen::PtrInterface> {
    return Fen::makePtr<Table>(name);
  };
  c.keyClass = Desc::Key::fenTypeName;
  c.resultClass = Desc::Result::fenTypeName;
  return c;
}

// Adds a value class unless a module registered it already (value types shared by tables).
template <class V>
void addValueClass(Fen::ModuleInfo& m) {
  if (!Fen::Registry::instance().classInfo(V::fenTypeName))
    m.classes.push_back(Fen::valueClassInfo<V>());
}

// Registers a described table's module: its key and result classes, its entry, table (with its
// factory) and convertor classes.
template <class Table, class Desc>
void registerTableModule() {
  Fen::ModuleInfo m{Desc::moduleName, {}};
  addValueClass<typename Desc::Key>(m);
  addValueClass<typename Desc::Result>(m);
  m.classes.push_back(Fen::ClassInfo{Desc::entryName, "entry", {}, nullptr, "", ""});
  m.classes.push_back(tableClassInfo<Table, Desc>());
  m.classes.push_back(Fen::ClassInfo{Desc::convertorName, "convertor", {}, nullptr, "", ""});
  Fen::Registry::instance().moduleIs(std::move(m));
}

}  // namespace TarnSwitchTable
