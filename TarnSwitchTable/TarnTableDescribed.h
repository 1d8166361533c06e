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
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

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

// An engine's entry (Base, which gives `valid`) of a described table: its key and result and
// their text form.
template <class Base, class Desc>
class DescribedEntry : public Base {
 public:
  using Key = typename Desc::Key;
  using Result = typename Desc::Result;
  using Item = RowItem<Desc>;
  Key key;
  Result result;

  const char* fwkType() const override { return Desc::entryName; }
  std::string toStrep() const override { return item().toStrep(); }
  Item item() const { return Item{this->valid(), key, result}; }
  void itemIs(const Item& i) {
    this->validIs(i.valid);
    key = i.key;
    result = i.result;
  }
  // A new entry of the layout's entry class holding `i`.
  static Fen::Ptr<typename Desc::Entry> of(const Item& i) {
    auto e = Fen::makePtr<typename Desc::Entry>();
    e->itemIs(i);
    return e;
  }
};

// The class whose handleEntry a table's traces name: the layout's `handlerName` when several
// tables share one implementation of it, or else the table's own class.
template <class Desc, class = void>
struct HandlerName {
  static constexpr const char* value = Desc::tableName;
};
template <class Desc>
struct HandlerName<Desc, std::void_t<decltype(Desc::handlerName)>> {
  static constexpr const char* value = Desc::handlerName;
};

// A table's hardware copies as its layout declares them, on the chip of a convertor.
class HwTables {
 public:
  HwTables(RowConvertor& convertor, TableState state, const char* word)
      : convertor_(convertor), state_(state), word_(word) {
    convertor_.hwDeclared_ = true;
  }

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

// A static-word mask of a layout: bits of `word` that depend only on the row.
struct StaticWord {
  U8 word;
  U32 mask;
};

// Whether a layout lists static-word masks (`Desc::staticWords`).
template <class Desc, class = void>
struct HasStaticWords : std::false_type {};
template <class Desc>
struct HasStaticWords<Desc, std::void_t<decltype(Desc::staticWords)>> : std::true_type {};

// What every typed convertor does with its layout: builds it for the connected chip's profile
// with its static-word masks, and declares its copies when the hardware tables are created (then
// runs the start-up walk of state init). Derived is the typed convertor, Base its engine's.
template <class Derived, class Base, class Desc>
class DescribedConvertor : public Base {
 public:
  template <class... A>
  explicit DescribedConvertor(A&&... args) : Base(std::forward<A>(args)...) {}
  const char* fwkType() const override { return Desc::convertorName; }
  const Desc& layout() const { return *layout_; }

  void handleInitialized() override {
    layout_.emplace(this->profile());
    this->hwStaticWordDelAll();
    if constexpr (HasStaticWords<Desc>::value) {
      for (const StaticWord& s : Desc::staticWords) this->hwStaticWordIs(s.word, s.mask);
    }
  }
  void doCreateHwTables(TableState state, bool resetHw) override {
    FEN_TRACE(this->trace(), 8,
              "virtual void " << Desc::convertorName
                              << "::doCreateHwTables(TarnSwitchApi::TableState, bool) "
                              << unsigned(state) << " " << (resetHw ? "true" : "false"));
    layout_->declare(HwTables(*this, state, Desc::hwTableWord));
    if (state == TableState::init) static_cast<Derived&>(*this).initHwEntries(resetHw);
  }

 protected:
  std::optional<Desc> layout_;
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
  c.keyClass = Fen::ValueTraits<typename Desc::Key>::typeName();
  c.resultClass = Fen::ValueTraits<typename Desc::Result>::typeName();
  return c;
}

// Adds a value class unless a module registered it already (value types shared by tables).
template <class V>
void addValueClass(Fen::ModuleInfo& m) {
  if (!Fen::Registry::instance().classInfo(V::fenTypeName))
    m.classes.push_back(Fen::valueClassInfo<V>());
}

// Adds the class of a key that is a single ranged value (a VLAN id, say) unless registered
// already: one attribute, `field`, that is the key itself, so tools set it as "field=value".
template <class K>
void addScalarKeyClass(Fen::ModuleInfo& m, const char* field) {
  const char* type = Fen::ValueTraits<K>::typeName();
  if (Fen::Registry::instance().classInfo(type)) return;
  Fen::AttributeInfo a{
      field,
      type,
      [](const void* o) { return Fen::printText(*static_cast<const K*>(o)); },
      [](void* o, std::string_view text) { *static_cast<K*>(o) = Fen::parseText<K>(text); },
      {},
      nullptr,
      nullptr,
      0,
      0};
  Fen::describeNumber<K>(a, [](void* o) { return o; });
  m.classes.push_back(Fen::ClassInfo{type, "value", {std::move(a)}, nullptr, "", ""});
}

// Registers a described table's module: its key and result classes, its entry (when it has one),
// table (with its factory) and convertor classes.
template <class Table, class Desc>
void registerTableModule() {
  Fen::ModuleInfo m{Desc::moduleName, {}};
  if constexpr (Fen::IsValue<typename Desc::Key>::value) {
    addValueClass<typename Desc::Key>(m);
  } else {
    addScalarKeyClass<typename Desc::Key>(m, Desc::keyFieldName);
  }
  addValueClass<typename Desc::Result>(m);
  // An entry class of its own, unless the table has none or its result is its entry.
  if (Desc::entryName != nullptr &&
      std::string(Desc::entryName) != Fen::ValueTraits<typename Desc::Result>::typeName())
    m.classes.push_back(Fen::ClassInfo{Desc::entryName, "entry", {}, nullptr, "", ""});
  m.classes.push_back(tableClassInfo<Table, Desc>());
  m.classes.push_back(Fen::ClassInfo{Desc::convertorName, "convertor", {}, nullptr, "", ""});
  Fen::Registry::instance().moduleIs(std::move(m));
}

}  // namespace TarnSwitchTable
