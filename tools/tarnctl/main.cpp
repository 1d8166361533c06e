// tarnctl: drives the table library on the simulated chip. Commands: run, encode, decode,
// tables, profiles, parity. Exit status 0 on success, 1 when a check failed, 2 on any error.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Codec.h"
#include "Demo.h"
#include "Dump.h"
#include "Errors.h"
#include "Fen/File.h"
#include "Fen/Trace.h"
#include "Input.h"
#include "Parity.h"
#include "Profile.h"
#include "Script.h"
#include "Soak.h"
#include "TarnSwitchTable/TarnTableModules.h"

namespace Tarnctl {
namespace {

struct RunArgs {
  std::vector<std::string> scripts;
  std::string profile = "default";
  std::string hwIn;
  std::string hwOut;
  std::string dump;
  std::vector<std::string> traces;
  std::string tables;  // comma-separated short names; every registered table when not given
  bool tablesGiven = false;
  bool json = false;
  bool quiet = false;
  bool verbose = false;
};

struct CodecArgs {
  std::string table;
  std::vector<std::string> values;
  std::string profile = "default";
  Fen::U32 copy = 0;
  Fen::U32 index = 0;
};

void traceIs(const std::string& option) {
  auto eq = option.find('=');
  if (eq == std::string::npos)
    throw ToolError("--trace expects MODULE=LEVEL, got '" + option + "'");
  try {
    Fen::traceLevelIs(option.substr(0, eq),
                      Fen::TraceLevel(Fen::parseText<Fen::U64>(option.substr(eq + 1))));
  } catch (const Fen::Exception& e) {
    std::string modules;
    for (const auto& m : Fen::traceModules()) modules += (modules.empty() ? "" : ", ") + m;
    throw ToolError("--trace " + option + ": " + e.what() + " (modules: " + modules + ")");
  }
}

Fen::Ptr<TarnSwitchApi::HwTableCollection> startChip(const RunArgs& a,
                                                     const TarnSwitch::ChipProfile& profile) {
  if (a.hwIn.empty()) return Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile);
  const TarnSwitchApi::HwTableShapes shapes = registeredShapes(profile);
  try {
    return TarnSwitchApi::HwTableCollection::load(a.hwIn, &profile, &shapes);
  } catch (const Fen::Exception& e) {
    throw ToolError(std::string("--hw-in: ") + e.what());
  }
}

// The names of --tables, each a registered table ("--tables: unknown table ..." otherwise).
std::vector<std::string> selectedTables(const RunArgs& a) {
  std::vector<std::string> names;
  if (!a.tablesGiven) return names;
  for (std::size_t b = 0, e = 0; e != std::string::npos; b = e + 1) {
    e = a.tables.find(',', b);
    names.push_back(a.tables.substr(b, e == std::string::npos ? e : e - b));
    try {
      registeredTable(names.back());
    } catch (const ToolError& err) {
      throw ToolError(std::string("--tables: ") + err.what());
    }
  }
  return names;
}

void printStart(Session& s, Fen::U64 writes, bool warm) {
  std::cout << "tables " << (warm ? "warm" : "cold") << "-started on a simulated '"
            << s.chip()->profile().name << "' chip (" << s.chip()->profile().portCount
            << " ports): " << writes << " rows written\n";
  for (const auto& t : s.tables()) {
    for (const auto& hw : t->convertor().hwTables()) {
      if (hw)
        std::cout << "  " << t->name() << ": hardware table " << hw->name() << " rows "
                  << hw->lower() << ".." << hw->upper() << "\n";
    }
  }
}

void replay(ScriptRunner& runner, const RunArgs& a) {
  if (a.scripts.empty()) {
    std::istringstream demo(demoScript());
    return runner.run(demo, "demo");
  }
  for (const auto& path : a.scripts) {
    if (path == "-") {
      runner.run(std::cin, "<stdin>");
      continue;
    }
    std::ifstream in = openInput(path, "script");
    runner.run(in, path);
  }
}

// Writes --hw-out and --dump all or nothing (see Fen::OutputFiles); a dump to standard output
// follows once the files are written.
void writeOutputs(Session& s, const RunArgs& a) {
  Fen::OutputFiles files;
  if (!a.hwOut.empty()) files.add(a.hwOut, s.chip()->saveText());
  std::string dump = a.dump.empty() ? "" : dumpJson(s).dump() + "\n";
  if (!a.dump.empty() && a.dump != "-") files.add(a.dump, dump);
  std::cout.flush();  // an output through /dev/stdout goes after what was printed
  files.commit();
  if (a.dump == "-") std::cout << dump;
}

// The --json summary: counts, entries per table and the rows each restart wrote.
Json summaryJson(Session& s, const RunStats& st, Fen::U64 startWrites, Fen::U64 writes) {
  Json out = Json::object();
  out["lines"] = st.lines;
  out["commands"] = st.commands;
  out["startWrites"] = startWrites;
  out["hwWrites"] = writes;
  out["checks"] = st.checks;
  out["checkFailures"] = st.checkFailures;
  out["tables"] = Json::array();
  for (const auto& t : s.tables())
    out["tables"].push_back(Json{{"table", t->name()}, {"entries", t->access().entryCount()}});
  out["restarts"] = Json::array();
  for (const auto& r : st.restarts)
    out["restarts"].push_back(Json{{"line", r.line}, {"mode", r.mode}, {"writes", r.writes}});
  out["corruptions"] = Json::array();
  for (const auto& c : st.corruptions) {
    out["corruptions"].push_back(Json{{"line", c.line},
                                      {"table", c.row.table},
                                      {"copy", c.row.copy},
                                      {"hwTable", c.row.hwTable},
                                      {"index", c.row.index}});
  }
  return out;
}

void printSummary(Session& s, const RunStats& st, Fen::U64 startWrites, Fen::U64 writes,
                  const RunArgs& a) {
  if (a.json) {
    std::cout << summaryJson(s, st, startWrites, writes).dump() << "\n";
    return;
  }
  if (a.quiet || a.dump == "-") return;
  std::cout << "\n"
            << st.lines << " lines, " << st.commands << " commands, " << writes
            << " hardware rows written";
  for (const auto& t : s.tables())
    std::cout << "; " << t->name() << ": " << t->access().entryCount() << " entries";
  std::cout << "\n";
}

int runCommand(const RunArgs& a) {
  for (const auto& t : a.traces) traceIs(t);
  if (std::find(a.scripts.begin(), a.scripts.end(), "-") != a.scripts.end()) checkStandardInput();
  std::vector<std::string> only = selectedTables(a);
  TarnSwitch::ChipProfile profile = profileFromOption(a.profile);
  Session s(startChip(a, profile), only);
  bool warm = !a.hwIn.empty();
  try {
    s.start(warm ? TarnSwitchApi::StartMode::warm : TarnSwitchApi::StartMode::cold);
  } catch (const ToolError& e) {
    if (!warm) throw;
    throw ToolError("--hw-in: " + a.hwIn + ": " + e.what());
  }
  bool verbose = a.verbose || (a.scripts.empty() && !a.quiet && !a.json);
  if (verbose) printStart(s, s.chip()->writeCount(), warm);
  Fen::U64 before = s.chip()->writeCount();
  ScriptRunner runner(s, RunOptions{verbose, a.quiet || a.json, a.json}, std::cout);
  replay(runner, a);
  writeOutputs(s, a);
  printSummary(s, runner.stats(), before, s.chip()->writeCount() - before, a);
  return runner.stats().checkFailures ? exitCheckFailed : exitOk;
}

void addRun(CLI::App& app, RunArgs& a, int& result) {
  auto* run = app.add_subcommand("run",
                                 "Apply change scripts to the library on the simulated chip "
                                 "(no SCRIPT: the built-in demo)");
  run->add_option("SCRIPT", a.scripts, "change scripts, '-' for standard input");
  run->add_option("--profile", a.profile, "built-in profile (default, legacy) or profile file")
      ->capture_default_str();
  run->add_option("--hw-in", a.hwIn, "start from saved hardware (warm start and reconcile)");
  run->add_option("--hw-out", a.hwOut, "save the hardware at the end");
  run->add_option("--dump", a.dump, "JSON dump of software and hardware at the end ('-': stdout)");
  run->add_option("--trace", a.traces, "MODULE=LEVEL, trace to stderr (repeatable)")
      ->allow_extra_args(false);
  run->add_option("--tables", a.tables,
                  "build only these tables, short names separated by commas (e.g. arp)")
      ->type_name("LIST")
      ->each([&a](const std::string&) { a.tablesGiven = true; });
  run->add_flag("--json", a.json, "print the summary as JSON");
  run->add_flag("--quiet,-q", a.quiet, "print nothing but show output and errors");
  run->add_flag("--verbose,-v", a.verbose, "echo each command and the hardware writes it causes");
  run->callback([&a, &result] { result = runCommand(a); });
}

void addCodec(CLI::App& app, CodecArgs& a, int& result) {
  auto* enc = app.add_subcommand("encode", "The hardware rows one entry produces, per copy");
  enc->add_option("TABLE", a.table, "table short name (see 'tarnctl tables')")->required();
  enc->add_option("FIELD=VALUE", a.values, "key and result fields")->required();
  enc->add_option("--profile", a.profile, "built-in profile or profile file")
      ->capture_default_str();
  enc->callback([&] {
    std::cout << encodeText(profileFromOption(a.profile), a.table, a.values);
    result = exitOk;
  });
  auto* dec = app.add_subcommand("decode", "The entry that row words decode to");
  dec->add_option("TABLE", a.table, "table short name")->required();
  dec->add_option("WORD", a.values, "data words (decimal or 0x hex)")->required();
  dec->add_option("--copy", a.copy, "HwTableId of the hardware copy")->capture_default_str();
  dec->add_option("--index", a.index, "HwIndex of the row")->required();
  dec->add_option("--profile", a.profile, "built-in profile or profile file")
      ->capture_default_str();
  dec->callback([&] {
    std::cout << decodeText(profileFromOption(a.profile), a.table, a.copy, a.index, a.values);
    result = exitOk;
  });
}

// tarnctl parity pack FIELD=VALUE... | parity unpack WORD
void addParity(CLI::App& app, std::vector<std::string>& values, int& result) {
  auto* parity = app.add_subcommand("parity", "Pack and unpack a parity source identifier");
  parity->require_subcommand(1, 1);
  auto* pack = parity->add_subcommand("pack", "The packed word of an identifier");
  pack->add_option("FIELD=VALUE", values, "parityTable=NAME|N, pipeId=N")->required();
  pack->callback([&] {
    std::cout << parityPackText(values);
    result = exitOk;
  });
  auto* unpack = parity->add_subcommand("unpack", "The identifier of a packed word");
  unpack->add_option("WORD", values, "packed word (decimal or 0x hex)")->required()->expected(1);
  unpack->callback([&] {
    std::cout << parityUnpackText(values.at(0));
    result = exitOk;
  });
}

void addSoak(CLI::App& app, SoakOptions& o, std::string& tables, int& result) {
  auto* soak = app.add_subcommand(
      "soak",
      "Random operations, faults and restarts of every kind on every table against a model; "
      "prints 'soak: ops=N restarts=R processes=P mismatches=M seed=S'");
  soak->add_option("--seed", o.seed, "seed of the random operations")->capture_default_str();
  soak->add_option("--ops", o.ops, "operations in all")->capture_default_str();
  soak->add_option("--restarts", o.restarts, "restarts in all (about)")->capture_default_str();
  soak->add_option("--profile", o.profiles, "built-in profiles or profile files (repeatable)")
      ->capture_default_str()
      ->allow_extra_args(false);
  soak->add_option("--tables", tables, "only these tables, short names separated by commas");
  soak->add_option("--shrink-seconds", o.shrinkSeconds, "time spent shrinking a failure")
      ->capture_default_str();
  soak->add_option("--work-dir", o.workDir, "where process restarts keep their state file")
      ->capture_default_str();
  soak->callback([&] {
    for (std::size_t b = 0, e = 0; !tables.empty() && e != std::string::npos; b = e + 1) {
      e = tables.find(',', b);
      o.tables.push_back(tables.substr(b, e == std::string::npos ? e : e - b));
      registeredTable(o.tables.back());
    }
    result = runSoak(o, std::cout).mismatches == 0 ? exitOk : exitCheckFailed;
  });
}

void printTables() {
  for (const auto* c : registeredTables()) {
    ToolTable t(*c);
    std::cout << t.name() << " (" << c->name << ")\n";
    for (const auto& f : t.fields()) {
      std::cout << "  " << (f.key ? "key    " : "result ") << f.path << ": "
                << f.chain.back()->typeName << "\n";
    }
  }
}

int cli(int argc, char** argv) {
  TarnSwitchTable::registerModules();
  CLI::App app{"tarnctl: drive the TarnSwitchTable library on the simulated chip"};
  app.set_version_flag("--version", std::string("tarnctl ") + TARNCTL_VERSION);
  app.require_subcommand(1, 1);
  int result = exitOk;
  RunArgs runArgs;
  CodecArgs codecArgs;
  addRun(app, runArgs, result);
  addCodec(app, codecArgs, result);
  std::vector<std::string> parityArgs;
  addParity(app, parityArgs, result);
  SoakOptions soakOptions;
  std::string soakTables;
  addSoak(app, soakOptions, soakTables, result);
  app.add_subcommand("tables", "Every registered table with its key and result fields")
      ->callback(printTables);
  app.add_subcommand("profiles", "The built-in chip profiles")->callback([] {
    std::cout << profilesText();
  });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? exitOk : exitError;
  }
  return result;
}

}  // namespace
}  // namespace Tarnctl

int main(int argc, char** argv) {
  try {
    return Tarnctl::cli(argc, argv);
  } catch (const Tarnctl::LineError& e) {
    std::cout.flush();
    std::cerr << e.what() << "\n";
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "tarnctl: " << e.what() << "\n";
  }
  return Tarnctl::exitError;
}
