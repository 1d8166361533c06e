#include "ToolTable.h"

#include <cctype>
#include <cstdlib>

#include "Errors.h"
#include "Fen/Text.h"
#include "TarnSwitchTable/TarnTableRows.h"

namespace Tarnctl {
namespace {

const Fen::ClassInfo& registeredClass(const std::string& name, const std::string& table) {
  const Fen::ClassInfo* c = Fen::Registry::instance().classInfo(name);
  if (!c) throw ToolError("table " + table + ": value class '" + name + "' is not registered");
  return *c;
}

// Splits "name=value"; ToolError when there is no '='.
std::pair<std::string_view, std::string_view> splitField(std::string_view token) {
  auto eq = token.find('=');
  if (eq == std::string_view::npos || eq == 0) {
    throw ToolError("expected FIELD=VALUE, got '" + Fen::quoteInput(token) + "'");
  }
  return {token.substr(0, eq), token.substr(eq + 1)};
}

}  // namespace

std::string shortTableName(const std::string& className) {
  std::string n =
      className.substr(className.rfind(':') == std::string::npos ? 0 : className.rfind(':') + 1);
  const std::string suffix = "Table";
  if (n.size() > suffix.size() && n.compare(n.size() - suffix.size(), suffix.size(), suffix) == 0)
    n.resize(n.size() - suffix.size());
  for (char& c : n) c = char(std::tolower(static_cast<unsigned char>(c)));
  return n;
}

std::string joinPath(const std::string& parent, const std::string& name) {
  if (parent.empty()) return name;
  return parent + (name.compare(0, 1, "[") == 0 ? "" : ".") + name;
}

ToolTable::ToolTable(const Fen::ClassInfo& tableClass)
    : class_(&tableClass),
      keyClass_(&registeredClass(tableClass.keyClass, tableClass.name)),
      resultClass_(&registeredClass(tableClass.resultClass, tableClass.name)),
      name_(shortTableName(tableClass.name)) {
  addPaths(keyClass_->attributes, "", {}, true, -1);
  addPaths(resultClass_->attributes, "", {}, false, -1);
  given_.assign(paths_.size(), false);
}

void ToolTable::addPaths(const std::vector<Fen::AttributeInfo>& attrs, const std::string& prefix,
                         std::vector<const Fen::AttributeInfo*> chain, bool key, int parent) {
  for (const auto& a : attrs) {
    int index = int(paths_.size());
    auto sub = chain;
    sub.push_back(&a);
    const std::string path = joinPath(prefix, a.name);
    paths_.push_back(FieldPath{path, sub, key, a.children.empty(), parent});
    if (!a.children.empty()) addPaths(a.children, path, sub, key, index);
  }
}

Fen::Ptr<Fen::PtrInterface> ToolTable::build() const {
  Fen::Ptr<Fen::PtrInterface> object = class_->factory(name_);
  auto* access = dynamic_cast<TarnSwitchTable::EntryAccess*>(object.ptr());
  if (!access || !dynamic_cast<TarnSwitchApi::SwTable*>(object.ptr()))
    throw ToolError("table " + class_->name + " offers no entry access");
  if (keyClass_->name != access->keyTypeName() || resultClass_->name != access->resultTypeName()) {
    throw ToolError("table " + class_->name + ": registered key or result class differs from " +
                    access->keyTypeName() + " " + access->resultTypeName());
  }
  return object;
}

void ToolTable::start(const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip,
                      TarnSwitchApi::StartMode mode, bool keepSoftware) {
  Fen::Ptr<Fen::PtrInterface> object = build();
  auto* access = dynamic_cast<TarnSwitchTable::EntryAccess*>(object.ptr());
  if (keepSoftware && access_) {
    access_->entryForEach([access](const void* k, const void* r) { access->entryCopyIs(k, r); });
  }
  object_ = object;
  access_ = access;
  table_ = dynamic_cast<TarnSwitchApi::SwTable*>(object.ptr());
  try {
    TarnSwitchApi::startSwTable(*table_, chip, mode);
  } catch (const Fen::Exception& e) {
    throw ToolError(failedStartPlace() + e.what());
  }
}

std::string ToolTable::failedStartPlace() const {
  auto* conv = table_->profileConvertorPtr();
  for (TarnSwitchApi::HwTableId id = 0; conv && id < conv->hwTableCount(); ++id) {
    const TarnSwitchApi::HwTableConfig* hw = conv->hwTable(id);
    for (Fen::U64 i = hw ? hw->lower() : 1; hw && i <= hw->upper(); ++i) {
      if (!hw->storedEntry(TarnSwitchApi::HwIndex(i))) continue;
      try {
        access_->decodeRowText(id, TarnSwitchApi::HwIndex(i));
      } catch (const Fen::Exception&) {
        return "table " + name_ + " copy " + std::to_string(id) + " (" + hw->name() + ") HwIndex " +
               std::to_string(i) + ": ";
      }
    }
  }
  return "table " + name_ + ": ";
}

std::string CorruptionReport::text() const {
  return "corrupted row read: table " + table + " copy " + std::to_string(copy) + " (" + hwTable +
         ") HwIndex " + std::to_string(index);
}

std::vector<CorruptionReport> ToolTable::takeCorruptionReports() {
  std::vector<CorruptionReport> out;
  if (!table_ || !table_->profileConvertorPtr()) return out;  // not started, or no hardware
  auto& conv = convertor();
  if (conv.corruptionReports().empty()) return out;
  // The simulated chip's message: "corrupted entry at HwIndex N of hardware table 'NAME'".
  for (const std::string& m : conv.corruptionReports()) {
    CorruptionReport r{name_, 0, "", 0};
    auto at = m.find("HwIndex ");
    auto q = m.find('\'');
    if (at != std::string::npos)
      r.index = TarnSwitchApi::HwIndex(std::strtoul(m.c_str() + at + 8, nullptr, 10));
    if (q != std::string::npos) r.hwTable = m.substr(q + 1, m.rfind('\'') - q - 1);
    for (TarnSwitchApi::HwTableId id = 0; id < conv.hwTableCount(); ++id) {
      if (conv.hwTable(id) && conv.hwTable(id)->name() == r.hwTable) r.copy = id;
    }
    bool again = false;  // one start reads a row more than once: report it once
    for (const auto& o : out) again = again || (o.copy == r.copy && o.index == r.index);
    if (!again) out.push_back(std::move(r));
  }
  conv.corruptionReportsDelAll();
  return out;
}

unsigned ToolTable::copyWords(TarnSwitchApi::HwTableId id) const {
  const auto* rows = dynamic_cast<const TarnSwitchTable::RowConvertor*>(&convertor());
  const TarnSwitchTable::Copy* c = rows ? rows->copy(id) : nullptr;
  return c ? c->words : TarnSwitchApi::hwEntryMaxWords;
}

unsigned ToolTable::copyComparedWords(TarnSwitchApi::HwTableId id) const {
  const auto* rows = dynamic_cast<const TarnSwitchTable::RowConvertor*>(&convertor());
  const TarnSwitchTable::Copy* c = rows ? rows->copy(id) : nullptr;
  return c ? c->compareWords : TarnSwitchApi::hwEntryMaxWords;
}

std::string ToolTable::keyFields(const void* key) const {
  std::string out;
  for (const auto& p : paths_) {
    if (!p.leaf || !p.key) continue;
    void* object = const_cast<void*>(key);
    for (std::size_t k = 0; k + 1 < p.chain.size(); ++k) object = p.chain[k]->nested(object);
    out += (out.empty() ? "" : " ") + p.path + "=" + p.chain.back()->print(object);
  }
  return out;
}

namespace {

// What a table without hardware (a front table that only holds software entries) shows: a
// convertor with no hardware tables.
class NoHardware : public TarnSwitchApi::SwTableProfileConvertor {
 public:
  void doCreateHwTables(TarnSwitchApi::TableState, bool) override {}
};

}  // namespace

TarnSwitchApi::SwTableProfileConvertor& ToolTable::convertor() const {
  static const Fen::Ptr<NoHardware> none = Fen::makePtr<NoHardware>();
  TarnSwitchApi::SwTableProfileConvertor* c = table_->profileConvertorPtr();
  return c ? *c : *none;
}

TarnSwitchApi::HwTableConfig& ToolTable::hwCopy(TarnSwitchApi::HwTableId id) const {
  TarnSwitchApi::HwTableConfig* t = convertor().hwTable(id);
  if (!t) {
    const auto count = convertor().hwTableCount();
    throw ToolError(name_ + " has no hardware copy " + std::to_string(id) +
                    (count == 0 ? std::string(" (the chip holds it in software only)")
                                : " (copies 0.." + std::to_string(count - 1) + ")"));
  }
  return *t;
}

void ToolTable::set(const std::vector<std::string_view>& fields) {
  access_->scratchReset();
  given_.assign(paths_.size(), false);
  applyFields(fields, true, false);
  requireKeyFields();
  checkKey();
  access_->scratchResultLoad();
  applyFields(fields, false, false);
  try {
    access_->scratchResultCheck();
  } catch (const std::exception& e) {
    throw ToolError("table " + name_ + " refuses result " + access_->scratchResultStrep() + ": " +
                    e.what() + "; nothing changed");
  }
  if (!access_->scratchInsertable()) {
    throw ToolError("table " + name_ + " is full: no placement of its entries holds key " +
                    access_->scratchKeyStrep() + "; nothing changed");
  }
  access_->scratchEntryIs();
}

void ToolTable::del(const std::vector<std::string_view>& fields) {
  access_->scratchReset();
  given_.assign(paths_.size(), false);
  applyFields(fields, true, true);
  requireKeyFields();
  checkKey();
  access_->scratchEntryDel();
}

void ToolTable::applyFields(const std::vector<std::string_view>& fields, bool key, bool keyOnly) {
  for (std::string_view token : fields) {
    auto [field, value] = splitField(token);
    std::size_t i = 0;
    while (i < paths_.size() && paths_[i].path != field) ++i;
    if (i == paths_.size()) {
      throw ToolError("unknown field '" + Fen::quoteInput(field) + "' of table " + name_ +
                      " (fields: " + fieldList() + ")");
    }
    if (paths_[i].key != key) {
      if (keyOnly) {
        throw ToolError("'" + std::string(field) + "' is a result field: del takes key fields (" +
                        fieldList(true) + ")");
      }
      continue;
    }
    if (given_[i]) throw ToolError("field '" + std::string(field) + "' given twice");
    given_[i] = true;
    applyField(i, field, value);
  }
}

void ToolTable::applyField(std::size_t pathIndex, std::string_view field, std::string_view value) {
  const FieldPath& p = paths_[pathIndex];
  void* object = p.key ? access_->scratchKey() : access_->scratchResult();
  for (std::size_t k = 0; k + 1 < p.chain.size(); ++k) object = p.chain[k]->nested(object);
  try {
    p.chain.back()->parse(object, value);
  } catch (const std::exception& e) {
    throw ToolError(name_ + ": " + std::string(field) + "=" + Fen::quoteInput(value) + ": " +
                    e.what());
  }
}

void ToolTable::checkKey() const {
  try {
    access_->scratchKeyCheck();
  } catch (const std::exception& e) {
    throw ToolError("table " + name_ + " refuses key " + access_->scratchKeyStrep() + ": " +
                    e.what() + "; nothing changed");
  }
}

void ToolTable::requireKeyFields() const {
  for (std::size_t i = 0; i < paths_.size(); ++i) {
    if (!paths_[i].key || !paths_[i].leaf) continue;
    bool given = false;
    for (int j = int(i); j >= 0 && !given; j = paths_[j].parent) given = given_[j];
    if (!given) {
      throw ToolError(name_ + ": missing key field '" + paths_[i].path +
                      "' (fields: " + fieldList() + ")");
    }
  }
}

std::string ToolTable::fieldList(bool keyOnly) const {
  std::string out;
  for (const auto& p : paths_) {
    if (!p.leaf || (keyOnly && !p.key)) continue;
    out += (out.empty() ? "" : ", ") + p.path;
  }
  return out;
}

std::string ToolTable::scriptLine(const void* key, const void* result) const {
  std::string out = "set " + name_;
  for (const auto& p : paths_) {
    if (!p.leaf) continue;
    void* object = const_cast<void*>(p.key ? key : result);
    for (std::size_t k = 0; k + 1 < p.chain.size(); ++k) object = p.chain[k]->nested(object);
    out += " " + p.path + "=" + p.chain.back()->print(object);
  }
  return out;
}

}  // namespace Tarnctl
