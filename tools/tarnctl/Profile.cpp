#include "Profile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>

#include "Errors.h"
#include "Fen/File.h"
#include "Fen/Registry.h"
#include "Input.h"
#include "Session.h"

namespace Tarnctl {
namespace {

const std::vector<Fen::AttributeInfo>& profileAttributes() {
  static const auto attrs = Fen::valueAttributes<TarnSwitch::ChipProfile>();
  return attrs;
}

std::string trim(const std::string& s) {
  auto b = s.find_first_not_of(" \t\r");
  if (b == std::string::npos) return "";
  return s.substr(b, s.find_last_not_of(" \t\r") - b + 1);
}

std::string baseName(const std::string& path) {
  std::string base = path.substr(path.find_last_of('/') + 1);
  return base.substr(0, base.find('.'));
}

// One "field=value" line of a profile file, applied to `p`; `seen` holds the line of each field
// already given.
void applyProfileLine(TarnSwitch::ChipProfile& p, const std::string& line,
                      std::map<std::string, unsigned>& seen, unsigned lineNo) {
  auto eq = line.find('=');
  if (eq == std::string::npos)
    throw ToolError("expected field=value, got '" + Fen::quoteInput(line) + "'");
  std::string field = trim(line.substr(0, eq));
  std::string value = trim(line.substr(eq + 1));
  auto [first, fresh] = seen.emplace(field, lineNo);
  if (!fresh) {
    throw ToolError("profile field '" + Fen::quoteInput(field) + "' given twice (first at line " +
                    std::to_string(first->second) + ")");
  }
  if (field == "name") {
    p.name = value;
    return;
  }
  for (const auto& a : profileAttributes()) {
    if (a.name != field) continue;
    try {
      a.parse(&p, value);
    } catch (const std::exception& e) {
      throw ToolError("profile field " + field + "=" + Fen::quoteInput(value) + ": " + e.what());
    }
    // Tables divide by these counts (the pipeline of a port is port / portsPerPipeline).
    if ((field == "pipelineCount" || field == "portsPerPipeline") && a.print(&p) == "0")
      throw ToolError("profile field " + field + "=" + value + ": a chip has at least one");
    return;
  }
  throw ToolError("unknown profile field '" + Fen::quoteInput(field) + "'");
}

// A field line of a profile file, kept to name the field a profile the tables refuse came from.
struct ProfileLine {
  unsigned number;
  std::string text;
};

// The error of the tables started on `p`, or "" when every registered table works with it.
std::string tablesRefuse(const TarnSwitch::ChipProfile& p) {
  try {
    registeredShapes(p);
  } catch (const std::exception& e) {
    return e.what();
  }
  return "";
}

// Raises LineError naming the first field line after which the tables refuse the profile.
void requireUsable(const TarnSwitch::ChipProfile& full, const std::string& path,
                   const std::vector<ProfileLine>& lines) {
  if (tablesRefuse(full).empty()) return;
  TarnSwitch::ChipProfile p = *TarnSwitch::builtinProfile("default");
  std::map<std::string, unsigned> seen;
  for (const auto& l : lines) {
    applyProfileLine(p, l.text, seen, l.number);
    std::string why = tablesRefuse(p);
    if (why.empty()) continue;
    throw LineError(path + ":" + std::to_string(l.number) + ": profile field " +
                    Fen::quoteInput(l.text) + ": " + why);
  }
  throw ToolError("profile " + path + ": " + tablesRefuse(full));
}

}  // namespace

TarnSwitch::ChipProfile profileFromOption(const std::string& nameOrFile) {
  if (const auto* builtin = TarnSwitch::builtinProfile(nameOrFile)) return *builtin;
  std::string problem = Fen::inputFileProblem(nameOrFile);
  if (problem == std::strerror(ENOENT)) {
    throw ToolError("unknown profile '" + nameOrFile +
                    "': neither a built-in profile (default, legacy) nor a readable file");
  }
  std::ifstream in = openInput(nameOrFile, "profile");
  TarnSwitch::ChipProfile p = *TarnSwitch::builtinProfile("default");
  p.name = baseName(nameOrFile);
  unsigned lineNo = 0;
  std::map<std::string, unsigned> seen;
  std::vector<ProfileLine> lines;
  for (std::string line;;) {
    try {
      if (!readLine(in, line)) break;
      ++lineNo;
      refuseControlBytes(line);
      line = trim(line.substr(0, line.find('#')));
      if (line.empty()) continue;
      applyProfileLine(p, line, seen, lineNo);
      lines.push_back(ProfileLine{lineNo, line});
    } catch (const ToolError& e) {
      throw LineError(nameOrFile + ":" + std::to_string(lineNo) + ": " + e.what());
    }
  }
  requireUsable(p, nameOrFile, lines);
  return p;
}

std::string profilesText() {
  std::string out;
  for (const auto& p : TarnSwitch::builtinProfiles()) {
    out += p.name + ":\n";
    for (const auto& a : profileAttributes()) {
      if (a.name != "name") out += "  " + a.name + "=" + a.print(&p) + "\n";
    }
  }
  return out;
}

}  // namespace Tarnctl
