#include "Session.h"

#include <algorithm>
#include <cstdio>

#include "Errors.h"
#include "TarnSwitchTable/TarnTableRows.h"

namespace Tarnctl {

std::vector<const Fen::ClassInfo*> registeredTables() {
  std::vector<const Fen::ClassInfo*> out;
  for (const auto* m : Fen::Registry::instance().modules()) {
    for (const auto& c : m->classes) {
      if (c.kind == "table" && c.factory) out.push_back(&c);
    }
  }
  std::sort(out.begin(), out.end(), [](const auto* a, const auto* b) {
    return shortTableName(a->name) < shortTableName(b->name);
  });
  return out;
}

const Fen::ClassInfo& registeredTable(std::string_view name) {
  std::string known;
  for (const auto* c : registeredTables()) {
    if (shortTableName(c->name) == name || c->name == name) return *c;
    known += (known.empty() ? "" : ", ") + shortTableName(c->name);
  }
  throw ToolError("unknown table '" + std::string(name) + "' (tables: " + known + ")");
}

TarnSwitchApi::HwTableShapes registeredShapes(const TarnSwitch::ChipProfile& profile) {
  Session scratch(Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile));
  scratch.start(TarnSwitchApi::StartMode::cold);
  TarnSwitchApi::HwTableShapes shapes;
  for (const auto& t : scratch.tables()) {
    if (!t->swTable().profileConvertorPtr()) continue;  // a table without hardware
    auto& conv = t->convertor();
    for (TarnSwitchApi::HwTableId id = 0; id < conv.hwTableCount(); ++id) {
      const TarnSwitchApi::HwTableConfig* hw = conv.hwTable(id);
      if (!hw) continue;
      unsigned words = t->copyWords(id);
      auto it = shapes.find(hw->name());
      if (it != shapes.end()) words = std::max(words, it->second.words);  // a shared table
      shapes[hw->name()] = TarnSwitchApi::HwTableShape{hw->lower(), hw->upper(), words};
    }
  }
  return shapes;
}

std::string hex32(Fen::U32 w) {
  char buf[16];
  std::snprintf(buf, sizeof buf, "0x%08x", w);
  return buf;
}

std::string wordsText(const std::vector<Fen::U32>& words) {
  if (words.empty()) return "nothing (row absent)";
  std::string out;
  for (auto w : words) out += (out.empty() ? "" : " ") + hex32(w);
  return out;
}

std::string CheckMismatch::text() const {
  return "check failed: table " + table + " copy " + std::to_string(id) + " (" + hwTable +
         ") HwIndex " + std::to_string(index) + ": hardware holds " + wordsText(held) +
         ", the library would write " + wordsText(expected);
}

Session::Session(Fen::Ptr<TarnSwitchApi::HwTableCollection> chip,
                 const std::vector<std::string>& only)
    : chip_(std::move(chip)) {
  std::vector<const Fen::ClassInfo*> selected;
  for (const auto& name : only) selected.push_back(&registeredTable(name));
  for (const auto* c : registeredTables()) {  // registry order, each table once
    if (only.empty() || std::find(selected.begin(), selected.end(), c) != selected.end())
      tables_.push_back(std::make_unique<ToolTable>(*c));
  }
}

void Session::start(TarnSwitchApi::StartMode mode, bool keepSoftware) {
  for (auto& t : tables_) t->start(chip_, mode, keepSoftware);
}

ToolTable& Session::table(std::string_view name) {
  for (auto& t : tables_) {
    if (t->name() == name || t->tableClass().name == name) return *t;
  }
  registeredTable(name);  // an unregistered name: the message lists the registered tables
  std::string run;
  for (const auto& t : tables_) run += (run.empty() ? "" : ", ") + t->name();
  throw ToolError("table '" + std::string(name) + "' is not in this run (tables: " + run + ")");
}

bool Session::check(Fen::U64& rows, CheckMismatch& first) const {
  for (const auto& t : tables_) {
    if (!checkTable(*t, rows, first)) return false;
  }
  return true;
}

bool Session::checkTable(const ToolTable& t, Fen::U64& rows, CheckMismatch& first) const {
  auto& conv = t.convertor();
  Fen::U32 expected[TarnSwitchApi::hwEntryMaxWords];
  for (TarnSwitchApi::HwTableId id = 0; id < conv.hwTableCount(); ++id) {
    const TarnSwitchApi::HwTableConfig* hw = conv.hwTable(id);
    if (!hw) continue;
    for (Fen::U64 i = hw->lower(); i <= hw->upper(); ++i) {
      auto index = TarnSwitchApi::HwIndex(i);
      unsigned n = conv.expectedHwRow(id, index, expected);
      if (n == 0) continue;
      ++rows;
      const TarnSwitchApi::HwEntryConfig* held = hw->storedEntry(index);
      unsigned width = std::max(n, held ? held->words() : 0u);
      bool equal = held != nullptr;
      for (unsigned w = 0; w < width && equal; ++w) {
        Fen::U32 want = w < n ? expected[w] : 0;
        equal = (w < held->words() ? held->dataArray()[w] : 0) == want;
      }
      if (equal) continue;
      first = CheckMismatch{t.name(), id, hw->name(), index, {}, {expected, expected + n}};
      if (held) first.held.assign(held->dataArray(), held->dataArray() + held->words());
      return false;
    }
  }
  return true;
}

}  // namespace Tarnctl
