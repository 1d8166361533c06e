#include "Routes.h"

#include <algorithm>
#include <fstream>
#include <functional>
#include <tuple>

#include "Errors.h"
#include "Fen/Registry.h"

namespace Tarnctl {
namespace {

using TarnSwitchTable::EntryCellResult;
using TarnSwitchTable::RouteProgrammer;

// A leaf field of the cell: its path and the attributes leading to it.
struct CellField {
  std::string path;
  std::vector<const Fen::AttributeInfo*> chain;
};

void addCellFields(const std::vector<Fen::AttributeInfo>& attrs, const std::string& prefix,
                   std::vector<const Fen::AttributeInfo*> chain, std::vector<CellField>& out) {
  for (const auto& a : attrs) {
    auto sub = chain;
    sub.push_back(&a);
    const std::string path = joinPath(prefix, a.name);
    if (a.children.empty()) {
      out.push_back(CellField{path, sub});
    } else {
      addCellFields(a.children, path, sub, out);
    }
  }
}

const std::vector<CellField>& cellFields() {
  static const std::vector<Fen::AttributeInfo> attrs = Fen::valueAttributes<EntryCellResult>();
  static const std::vector<CellField> fields = [] {
    std::vector<CellField> out;
    addCellFields(attrs, "", {}, out);
    return out;
  }();
  return fields;
}

std::string cellFieldList() {
  std::string out;
  for (const auto& f : cellFields()) out += (out.empty() ? "" : ", ") + f.path;
  return out;
}

// The cell field named by its path or, when no other field ends the same, its last name.
const CellField& cellField(std::string_view name) {
  const CellField* found = nullptr;
  for (const auto& f : cellFields()) {
    if (f.path == name) return f;
    const bool tail = f.path.size() > name.size() &&
                      f.path.compare(f.path.size() - name.size(), name.size(), name) == 0 &&
                      f.path[f.path.size() - name.size() - 1] == '.';
    if (!tail) continue;
    if (found) throw ToolError("cell field '" + std::string(name) + "' is ambiguous");
    found = &f;
  }
  if (!found) {
    throw ToolError("unknown cell field '" + std::string(name) + "' (fields: " + cellFieldList() +
                    ")");
  }
  return *found;
}

EntryCellResult parseCell(const std::vector<std::string_view>& fields) {
  EntryCellResult cell;
  std::vector<const CellField*> given;
  for (std::string_view token : fields) {
    const auto eq = token.find('=');
    if (eq == std::string_view::npos || eq == 0)
      throw ToolError("expected CELLFIELD=VALUE, got '" + std::string(token) + "'");
    const CellField& f = cellField(token.substr(0, eq));
    if (std::find(given.begin(), given.end(), &f) != given.end())
      throw ToolError("cell field '" + f.path + "' given twice");
    given.push_back(&f);
    void* object = &cell;
    for (std::size_t k = 0; k + 1 < f.chain.size(); ++k) object = f.chain[k]->nested(object);
    try {
      f.chain.back()->parse(object, token.substr(eq + 1));
    } catch (const std::exception& e) {
      throw ToolError(std::string(token) + ": " + e.what());
    }
  }
  return cell;
}

std::string cellText(const EntryCellResult& cell) {
  std::string out;
  for (const auto& f : cellFields()) {
    const void* object = &cell;
    for (std::size_t k = 0; k + 1 < f.chain.size(); ++k)
      object = f.chain[k]->nested(const_cast<void*>(object));
    out += " " + f.path + "=" + f.chain.back()->print(object);
  }
  return out;
}

// Values above 255 are kept above 3, so the programmer refuses them with its range message.
Fen::U8 parseVrf(std::string_view text) {
  try {
    return Fen::U8(std::min<Fen::U64>(Fen::parseText<Fen::U64>(text), 255));
  } catch (const std::exception& e) {
    throw ToolError("VRF '" + std::string(text) + "': " + e.what());
  }
}

template <class T>
T parseNamed(const char* what, std::string_view text) {
  try {
    return Fen::parseText<T>(text);
  } catch (const std::exception& e) {
    throw ToolError(std::string(what) + " '" + std::string(text) + "': " + e.what());
  }
}

// The short name of the table that answers for a base length: lpm11, or lpm14 .. lpm32.
std::string tableOfBase(Fen::U8 base) {
  return "lpm" + std::to_string(base == 11 ? 11 : base + 2);
}

template <class T>
Fen::Ptr<T> runTable(Session& s, const char* name) {
  auto* t = dynamic_cast<T*>(&s.table(name).swTable());
  if (!t) throw ToolError(std::string("table '") + name + "' is not an LPM table");
  return Fen::Ptr<T>(t);
}

}  // namespace

TarnSwitchTable::RouteTables RouteCommands::tables() const {
  using namespace TarnSwitchTable;
  return RouteTables{
      runTable<Lpm11Table>(session_, "lpm11"), runTable<Lpm14Table>(session_, "lpm14"),
      runTable<Lpm17Table>(session_, "lpm17"), runTable<Lpm20Table>(session_, "lpm20"),
      runTable<Lpm23Table>(session_, "lpm23"), runTable<Lpm26Table>(session_, "lpm26"),
      runTable<Lpm29Table>(session_, "lpm29"), runTable<Lpm32Table>(session_, "lpm32")};
}

RouteProgrammer& RouteCommands::programmer() {
  if (!programmer_) programmer_ = std::make_unique<RouteProgrammer>(tables());
  return *programmer_;
}

void RouteCommands::restarted(bool cold) {
  if (!programmer_) return;
  if (cold) {
    programmer_.reset();
    return;
  }
  programmer_->tablesIs(tables());
}

void RouteCommands::add(std::string_view vrf, std::string_view prefix,
                        const std::vector<std::string_view>& fields) {
  const Fen::U8 vrfId = parseVrf(vrf);
  const auto p = parseNamed<Lanx::Prefix>("prefix", prefix);
  programmer().routeIs(vrfId, p, parseCell(fields));
}

void RouteCommands::route(const std::vector<std::string_view>& args, std::ostream& out) {
  const std::string sub = args.size() > 1 ? std::string(args[1]) : "";
  const std::string usage =
      "route: expected add VRF PREFIX CELLFIELD=VALUE..., del VRF PREFIX, load FILE or show";
  if (sub == "add" && args.size() >= 4) {
    add(args[2], args[3], std::vector<std::string_view>(args.begin() + 4, args.end()));
  } else if (sub == "del" && args.size() == 4) {
    programmer().routeDel(parseVrf(args[2]), parseNamed<Lanx::Prefix>("prefix", args[3]));
  } else if (sub == "load" && args.size() == 3) {
    load(std::string(args[2]));
  } else if (sub == "show" && args.size() == 2) {
    show(out);
  } else {
    throw ToolError(usage);
  }
}

void RouteCommands::scriptIs(const std::string& fileName) {
  const auto slash = fileName.rfind('/');
  scriptDir_ = slash == std::string::npos ? "" : fileName.substr(0, slash + 1);
}

void RouteCommands::load(const std::string& given) {
  const std::string path = given.compare(0, 1, "/") == 0 ? given : scriptDir_ + given;
  std::ifstream in(path);
  if (!in) throw ToolError("route load: cannot open '" + path + "'");
  std::string line;
  std::vector<std::string_view> words;
  for (Fen::U64 lineNo = 1; std::getline(in, line); ++lineNo) {
    std::string_view body = std::string_view(line).substr(0, line.find('#'));
    words.clear();
    for (std::size_t i = 0; i < body.size();) {
      const std::size_t b = body.find_first_not_of(" \t\r", i);
      if (b == std::string_view::npos) break;
      const std::size_t e = std::min(body.find_first_of(" \t\r", b), body.size());
      words.push_back(body.substr(b, e - b));
      i = e;
    }
    if (words.empty()) continue;
    try {
      if (words.size() < 2) throw ToolError("expected VRF PREFIX CELLFIELD=VALUE...");
      add(words[0], words[1], std::vector<std::string_view>(words.begin() + 2, words.end()));
    } catch (const std::exception& e) {
      throw ToolError(path + ":" + std::to_string(lineNo) + ": " + e.what());
    }
  }
  if (in.bad()) throw ToolError("route load: cannot read '" + path + "'");
}

void RouteCommands::show(std::ostream& out) {
  using Route = std::tuple<Fen::U8, Lanx::Prefix, std::string>;
  std::vector<Route> all;
  programmer().routeForEach([&](Fen::U8 vrfId, const Lanx::Prefix& p, const EntryCellResult& c) {
    all.emplace_back(vrfId, p, cellText(c));
  });
  std::sort(all.begin(), all.end());
  out << "routes: " << all.size() << "\n";
  for (const auto& [vrfId, p, cell] : all)
    out << "  route add " << unsigned(vrfId) << " " << Fen::printText(p) << cell << "\n";
}

void RouteCommands::lookup(const std::vector<std::string_view>& args, std::ostream& out) {
  if (args.size() != 3) throw ToolError("lookup: expected VRF ADDRESS");
  const Fen::U8 vrfId = parseVrf(args[1]);
  const auto a = parseNamed<Lanx::Ip4Addr>("address", args[2]);
  const TarnSwitchTable::RouteLookup r = programmer().lookup(vrfId, a);
  out << "lookup " << unsigned(vrfId) << " " << Fen::printText(a) << ": " << tableOfBase(r.baseLen)
      << " " << Fen::printText(r.key.prefix);
  if (r.baseLen != 11) out << " cell " << unsigned(r.cellIndex);
  out << (r.routed() ? " -> " + cellText(r.cell).substr(1) : std::string(": no route")) << "\n";
}

}  // namespace Tarnctl
