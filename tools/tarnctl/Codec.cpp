#include "Codec.h"

#include "Errors.h"
#include "Script.h"
#include "Session.h"

namespace Tarnctl {
namespace {

Session startedSession(const TarnSwitch::ChipProfile& profile, const std::string& table) {
  Session s(Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile), {table});
  s.start(TarnSwitchApi::StartMode::cold);
  return s;
}

TarnSwitchApi::HwTableId copyId(const ToolTable& t, const TarnSwitchApi::HwTableConfig* hw) {
  const auto& tables = t.convertor().hwTables();
  for (TarnSwitchApi::HwTableId id = 0; id < tables.size(); ++id) {
    if (tables[id].ptr() == hw) return id;
  }
  return TarnSwitchApi::HwTableId(tables.size());
}

std::string rowText(const ToolTable& t, const SeenWrite& w) {
  std::string out = "HwTableId " + std::to_string(copyId(t, w.table)) + " " + w.table->name() +
                    " HwIndex " + std::to_string(w.row.index()) + "\n";
  for (unsigned i = 0; i < w.row.words(); ++i) {
    TarnSwitchApi::DataArrayIndex d(i);
    const std::string& reg = w.table->registerName(w.row.index(), d);
    out += "  word " + std::to_string(i) + " " + hex32(w.row.data(d)) + " " +
           (reg.empty() ? "(no register)" : reg) + "\n";
  }
  return out;
}

}  // namespace

std::string encodeText(const TarnSwitch::ChipProfile& profile, const std::string& table,
                       const std::vector<std::string>& fields) {
  Session s = startedSession(profile, table);
  ToolTable& t = s.table(table);
  for (const auto& hw : t.convertor().hwTables()) {
    if (!hw) continue;
    for (Fen::U64 i = hw->lower(); i <= hw->upper(); ++i) hw->entryDel(TarnSwitchApi::HwIndex(i));
  }
  std::vector<SeenWrite> writes;
  s.chip()->writeObserverIs(
      [&writes](const TarnSwitchApi::HwTableConfig& hw, const TarnSwitchApi::HwEntryConfig& row) {
        writes.push_back(SeenWrite{&hw, row});
      });
  t.set(std::vector<std::string_view>(fields.begin(), fields.end()));
  std::string out =
      t.access().entryStrep(t.access().scratchKey(), t.access().scratchResult()) + "\n";
  for (const auto& w : writes) out += rowText(t, w);
  if (writes.empty()) out += "no hardware row: the entry's row lies outside the hardware tables\n";
  return out;
}

std::string decodeText(const TarnSwitch::ChipProfile& profile, const std::string& table,
                       Fen::U32 copy, Fen::U32 index, const std::vector<std::string>& words) {
  if (words.size() > TarnSwitchApi::hwEntryMaxWords) {
    throw ToolError(std::to_string(words.size()) + " words given: a row holds at most 8");
  }
  Session s = startedSession(profile, table);
  ToolTable& t = s.table(table);
  TarnSwitchApi::HwEntryConfig row(index);
  for (std::size_t i = 0; i < words.size(); ++i) {
    try {
      row.dataIs(TarnSwitchApi::DataArrayIndex(i), Fen::parseText<Fen::U32>(words[i]));
    } catch (const std::exception& e) {
      throw ToolError("word " + std::to_string(i) + " '" + words[i] + "': " + e.what());
    }
  }
  t.hwCopy(copy).entryIs(row);
  return t.access().decodeRowText(copy, index) + "\n";
}

}  // namespace Tarnctl
