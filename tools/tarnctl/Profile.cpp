#include "Profile.h"

#include <fstream>

#include "Errors.h"
#include "Fen/Registry.h"

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

void applyProfileLine(TarnSwitch::ChipProfile& p, const std::string& line) {
  auto eq = line.find('=');
  if (eq == std::string::npos) throw ToolError("expected field=value, got '" + line + "'");
  std::string field = trim(line.substr(0, eq));
  std::string value = trim(line.substr(eq + 1));
  if (field == "name") {
    p.name = value;
    return;
  }
  for (const auto& a : profileAttributes()) {
    if (a.name != field) continue;
    try {
      a.parse(&p, value);
    } catch (const std::exception& e) {
      throw ToolError("profile field " + field + "=" + value + ": " + e.what());
    }
    return;
  }
  throw ToolError("unknown profile field '" + field + "'");
}

}  // namespace

TarnSwitch::ChipProfile profileFromOption(const std::string& nameOrFile) {
  if (const auto* builtin = TarnSwitch::builtinProfile(nameOrFile)) return *builtin;
  std::ifstream in(nameOrFile);
  if (!in) {
    throw ToolError("unknown profile '" + nameOrFile +
                    "': neither a built-in profile (default, legacy) nor a readable file");
  }
  TarnSwitch::ChipProfile p = *TarnSwitch::builtinProfile("default");
  p.name = baseName(nameOrFile);
  unsigned lineNo = 0;
  for (std::string line; std::getline(in, line);) {
    ++lineNo;
    line = trim(line.substr(0, line.find('#')));
    if (line.empty()) continue;
    try {
      applyProfileLine(p, line);
    } catch (const ToolError& e) {
      throw LineError(nameOrFile + ":" + std::to_string(lineNo) + ": " + e.what());
    }
  }
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
