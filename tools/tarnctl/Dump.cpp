#include "Dump.h"

#include <cctype>

#include "TarnSwitchTable/TarnTableHashBase.h"

namespace Tarnctl {
namespace {

Json scalarJson(const std::string& text) {
  if (text == "true" || text == "false") return text == "true";
  bool digits = !text.empty() && text.size() <= 19;
  for (char c : text) digits = digits && std::isdigit(static_cast<unsigned char>(c));
  if (digits && (text.size() == 1 || text[0] != '0')) return std::stoull(text);
  return text;
}

Json softwareJson(const ToolTable& t) {
  Json rows = Json::array();
  t.access().entryForEach([&](const void* k, const void* r) {
    rows.push_back(Json{{"key", valueJson(t.keyClass().attributes, k)},
                        {"result", valueJson(t.resultClass().attributes, r)},
                        {"text", t.access().entryStrep(k, r)}});
  });
  return rows;
}

Json hardwareJson(const ToolTable& t) {
  Json copies = Json::array();
  auto& conv = t.convertor();
  const auto* hashed = dynamic_cast<const TarnSwitchTable::HashBaseConvertor*>(&conv);
  for (TarnSwitchApi::HwTableId id = 0; id < conv.hwTableCount(); ++id) {
    const TarnSwitchApi::HwTableConfig* hw = conv.hwTable(id);
    if (!hw) continue;
    Json rows = Json::array();
    for (Fen::U64 i = hw->lower(); i <= hw->upper(); ++i) {
      const TarnSwitchApi::HwEntryConfig* row = hw->storedEntry(TarnSwitchApi::HwIndex(i));
      if (!row) continue;
      Json words = Json::array();
      for (unsigned w = 0; w < row->words(); ++w) words.push_back(row->dataArray()[w]);
      Json out{{"index", i}, {"words", std::move(words)}};
      if (hashed) {  // a hashed row also gives its location
        const auto at = hashed->cuckooLocation(TarnSwitchApi::HwIndex(i));
        out["way"] = at.tableId.value();
        out["bucket"] = at.bucket;
      }
      rows.push_back(std::move(out));
    }
    copies.push_back(Json{{"id", id},
                          {"name", hw->name()},
                          {"lower", hw->lower()},
                          {"upper", hw->upper()},
                          {"rows", std::move(rows)}});
  }
  return copies;
}

}  // namespace

Json profileJson(const TarnSwitch::ChipProfile& p) {
  return Json{{"name", p.name},
              {"portCount", p.portCount},
              {"pipelineCount", p.pipelineCount},
              {"portsPerPipeline", p.portsPerPipeline},
              {"hasCpuPipeline", p.hasCpuPipeline},
              {"revision", p.revision},
              {"hwApi", Fen::printText(p.hwApi)}};
}

Json attributeJson(const Fen::AttributeInfo& a, const void* object) {
  if (a.children.empty()) return scalarJson(a.print(object));
  const void* place = a.nested(const_cast<void*>(object));
  if (a.children.front().name.compare(0, 1, "[") != 0) return valueJson(a.children, place);
  Json elements = Json::array();
  for (const auto& e : a.children) elements.push_back(attributeJson(e, place));
  return elements;
}

Json valueJson(const std::vector<Fen::AttributeInfo>& attrs, const void* object) {
  Json out = Json::object();
  for (const auto& a : attrs) out[a.name] = attributeJson(a, object);
  return out;
}

Json dumpJson(Session& session) {
  Json tables = Json::array();
  for (const auto& t : session.tables()) {
    const std::string& cls = t->tableClass().name;
    tables.push_back(
        Json{{"table", t->name()},
             {"class", cls.substr(cls.rfind(':') == std::string::npos ? 0 : cls.rfind(':') + 1)},
             {"software", softwareJson(*t)},
             {"hardware", hardwareJson(*t)}});
  }
  return Json{{"profile", profileJson(session.chip()->profile())}, {"tables", std::move(tables)}};
}

}  // namespace Tarnctl
