#include "Script.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <map>
#include <optional>

#include "Errors.h"
#include "Fen/Text.h"
#include "Input.h"

namespace Tarnctl {
namespace {

constexpr Fen::U64 progressEvery = 8192;  // lines between looks at the clock
constexpr std::size_t writesListed = 6;   // a command with more writes gets a count per table

void splitWords(std::string_view line, std::vector<std::string_view>& out) {
  out.clear();
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
    std::size_t b = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r') ++i;
    if (i > b) out.push_back(line.substr(b, i - b));
  }
}

// The named numbers of corrupt/damage ("index=5"): every name given must be allowed, `required`
// ones must be there.
std::map<std::string, Fen::U64> namedNumbers(const std::vector<std::string_view>& args,
                                             std::size_t from,
                                             const std::vector<std::string>& allowed,
                                             const std::vector<std::string>& required) {
  std::map<std::string, Fen::U64> out;
  for (std::size_t i = from; i < args.size(); ++i) {
    auto eq = args[i].find('=');
    std::string name(args[i].substr(0, eq));
    bool known = eq != std::string_view::npos &&
                 std::find(allowed.begin(), allowed.end(), name) != allowed.end();
    if (!known) throw ToolError("unexpected '" + Fen::quoteInput(args[i]) + "'");
    std::string_view value = args[i].substr(eq + 1);
    if (out.count(name)) throw ToolError("field '" + name + "' given twice");
    try {
      out[name] = Fen::parseText<Fen::U64>(value);
    } catch (const std::exception& e) {
      throw ToolError(name + "=" + Fen::quoteInput(value) + ": " + e.what());
    }
  }
  for (const auto& r : required) {
    if (!out.count(r)) throw ToolError("missing " + r + "=N");
  }
  return out;
}

// The mode of "restart warm|cold" or "restart warm keep": "warm", "cold" or "warm keep".
std::string restartMode(const std::vector<std::string_view>& args) {
  if (args.size() < 2) throw ToolError("restart: expected warm or cold");
  std::string mode(args[1]);
  if (mode != "warm" && mode != "cold")
    throw ToolError("restart: expected warm or cold, got '" + Fen::quoteInput(mode) + "'");
  bool keep = args.size() > 2 && args[2] == "keep";
  if (args.size() > (keep ? 3u : 2u)) {
    std::string given = mode;
    for (std::size_t i = 2; i < args.size(); ++i) given += " " + std::string(args[i]);
    throw ToolError("restart: expected warm, warm keep or cold, got '" + Fen::quoteInput(given) +
                    "'");
  }
  if (keep && mode == "cold")
    throw ToolError("restart: keep applies to warm only, got 'cold keep'");
  return keep ? "warm keep" : mode;
}

}  // namespace

ScriptRunner::ScriptRunner(Session& session, RunOptions options, std::ostream& out)
    : session_(session), options_(options), out_(out) {
  if (!options_.verbose) return;
  writes_ = std::make_shared<std::vector<SeenWrite>>();
  std::weak_ptr<std::vector<SeenWrite>> sink = writes_;
  session_.chip()->writeObserverIs(
      [sink](const TarnSwitchApi::HwTableConfig& t, const TarnSwitchApi::HwEntryConfig& row) {
        if (auto w = sink.lock()) w->push_back(SeenWrite{&t, row});
      });
}

void ScriptRunner::run(std::istream& in, const std::string& fileName) {
  lastProgress_ = std::chrono::steady_clock::now();
  routes_.scriptIs(fileName);
  std::string line;
  Fen::U64 lineNo = 0;
  for (;;) {
    location_ = fileName + ":" + std::to_string(lineNo + 1);
    try {
      if (!readLine(in, line)) break;
      ++lineNo;
      ++stats_.lines;
      refuseControlBytes(line);
      runLine(line);
      reportCorruption();
    } catch (const std::exception& e) {
      progress(fileName, true);
      throw LineError(location_ + ": " + e.what());
    }
    if (lineNo % progressEvery == 0) progress(fileName, false);
  }
  progress(fileName, true);
}

void ScriptRunner::runOne(std::string_view line, const std::string& location) {
  location_ = location;
  ++stats_.lines;
  try {
    refuseControlBytes(line);
    runLine(line);
    reportCorruption();
  } catch (const std::exception& e) {
    throw LineError(location_ + ": " + e.what());
  }
}

void ScriptRunner::reportCorruption() {
  for (const auto& t : session_.tables()) {
    for (auto& c : t->takeCorruptionReports()) {
      if (!options_.silentCorruption) out_ << location_ << ": " << c.text() << "\n";
      stats_.corruptions.push_back(CorruptionStat{location_, std::move(c)});
    }
  }
}

void ScriptRunner::progress(const std::string& fileName, bool last) {
  if (last) {
    if (progressShown_) std::fputs("\r\033[K", stderr);
    progressShown_ = false;
    return;
  }
  auto now = std::chrono::steady_clock::now();
  if (now - lastProgress_ < std::chrono::milliseconds(500) || !::isatty(2)) return;
  lastProgress_ = now;
  progressShown_ = true;
  std::fprintf(stderr, "\r%s: %llu lines", fileName.c_str(),
               static_cast<unsigned long long>(stats_.lines));
  std::fflush(stderr);
}

void ScriptRunner::runLine(std::string_view line) {
  std::size_t hash = line.find('#');
  std::string_view body = line.substr(0, hash);
  splitWords(body, args_);
  if (args_.empty()) {
    if (options_.verbose && hash != std::string_view::npos) {
      std::string_view text = line.substr(hash + 1);
      while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
      out_ << (narrating_ ? "" : "\n") << text << "\n";
      narrating_ = true;
    }
    return;
  }
  narrating_ = false;
  ++stats_.commands;
  if (options_.verbose) out_ << "> " << body.substr(body.find(args_[0])) << "\n";
  if (writes_) writes_->clear();
  runCommand(args_[0]);
  // Faults, checks and listings write nothing; the commands that may write say so either way.
  bool mayWrite = args_[0] == "set" || args_[0] == "del" || args_[0] == "clear" ||
                  args_[0] == "restart" || args_[0] == "route";
  if (options_.verbose && (mayWrite || !writes_->empty())) printWrites();
}

void ScriptRunner::runCommand(std::string_view command) {
  auto tableArg = [&]() -> ToolTable& {
    if (args_.size() < 2) throw ToolError(std::string(command) + ": missing TABLE");
    return session_.table(args_[1]);
  };
  auto fields = [&]() { return std::vector<std::string_view>(args_.begin() + 2, args_.end()); };
  auto noMore = [&](std::size_t n) {
    if (args_.size() > n) throw ToolError("unexpected '" + std::string(args_[n]) + "'");
  };
  if (command == "set") {
    tableArg().set(fields());
  } else if (command == "del") {
    tableArg().del(fields());
  } else if (command == "clear") {
    noMore(2);
    tableArg().access().accessEntryDelAll();
  } else if (command == "restart") {
    restart();
  } else if (command == "corrupt" || command == "damage" || command == "erase") {
    fault(command);
  } else if (command == "check") {
    noMore(1);
    check();
  } else if (command == "show") {
    noMore(2);
    show(tableArg());
  } else if (command == "route") {
    routes_.route(args_, out_);
  } else if (command == "lookup") {
    routes_.lookup(args_, out_);
  } else {
    throw ToolError("unknown command '" + Fen::quoteInput(command) +
                    "' (commands: set, del, clear, restart, corrupt, damage, erase, check, show, "
                    "route, lookup)");
  }
}

void ScriptRunner::restart() {
  const std::string mode = restartMode(args_);
  const bool keep = mode == "warm keep";
  Fen::U64 before = session_.chip()->writeCount();
  try {
    session_.start(mode == "cold" ? TarnSwitchApi::StartMode::cold : TarnSwitchApi::StartMode::warm,
                   keep);
  } catch (const ToolError& e) {
    throw ToolError("restart " + mode + ": " + e.what());
  }
  routes_.restarted(mode == "cold");
  stats_.restarts.push_back(RestartStat{location_, mode, session_.chip()->writeCount() - before});
  if (!options_.verbose) return;
  for (const auto& t : session_.tables()) {
    out_ << "  " << t->name() << ": software rebuilt, " << t->access().entryCount()
         << " entries after the restart\n";
  }
}

void ScriptRunner::fault(std::string_view command) {
  ToolTable& t = session_.table(args_.size() < 2 ? std::string_view() : args_[1]);
  bool damage = command == "damage";
  auto n = damage
               ? namedNumbers(args_, 2, {"copy", "index", "word", "xor"}, {"index", "word", "xor"})
               : namedNumbers(args_, 2, {"copy", "index"}, {"index"});
  if (n["copy"] > 0xFFFFFFFFull)
    throw ToolError("copy " + std::to_string(n["copy"]) + " too large");
  TarnSwitchApi::HwTableConfig& hw = t.hwCopy(TarnSwitchApi::HwTableId(n["copy"]));
  Fen::U64 index = n["index"];
  if (index < hw.lower() || index > hw.upper()) {
    throw ToolError("index " + std::to_string(index) + " is outside hardware table '" + hw.name() +
                    "' [" + std::to_string(hw.lower()) + ", " + std::to_string(hw.upper()) + "]");
  }
  if (command == "corrupt") return hw.corruptionIs(TarnSwitchApi::HwIndex(index), true);
  if (!damage) return hw.entryDel(TarnSwitchApi::HwIndex(index));
  if (n["xor"] > 0xFFFFFFFFull)
    throw ToolError("xor=" + std::to_string(n["xor"]) + ": not a 32-bit mask");
  std::optional<TarnSwitchApi::DataArrayIndex> word;
  try {
    word = TarnSwitchApi::DataArrayIndex(n["word"]);
  } catch (const Fen::RangeException& e) {
    throw ToolError("word=" + std::to_string(n["word"]) + ": " + e.what());
  }
  const unsigned width = t.copyWords(TarnSwitchApi::HwTableId(n["copy"]));
  if (n["word"] >= width) {
    throw ToolError("word=" + std::to_string(n["word"]) + ": rows of " + t.name() + " copy " +
                    std::to_string(n["copy"]) + " (" + hw.name() + ") hold " +
                    std::to_string(width) + " words (0.." + std::to_string(width - 1) + ")");
  }
  hw.damageIs(TarnSwitchApi::HwIndex(index), *word, Fen::U32(n["xor"]));
}

void ScriptRunner::check() {
  ++stats_.checks;
  Fen::U64 rows = 0;
  CheckMismatch first;
  if (session_.check(rows, first)) {
    if (!options_.quiet) out_ << "check passed: " << rows << " rows match\n";
    return;
  }
  ++stats_.checkFailures;
  out_.flush();
  std::cerr << location_ << ": " << first.text() << std::endl;
}

void ScriptRunner::show(ToolTable& t) {
  out_ << t.name() << ": " << t.access().entryCount() << " entries\n";
  t.access().entryForEach(
      [&](const void* k, const void* r) { out_ << "  " << t.scriptLine(k, r) << "\n"; });
}

void ScriptRunner::printWrites() {
  if (writes_->empty()) {
    out_ << "  no hardware write\n";
    return;
  }
  if (writes_->size() > writesListed) {
    std::map<std::string, std::size_t> perTable;
    for (const auto& w : *writes_) ++perTable[w.table->name()];
    for (const auto& [name, count] : perTable)
      out_ << "  " << count << " rows of " << name << " written\n";
    return;
  }
  for (const auto& w : *writes_) {
    out_ << "  write " << w.table->name() << " HwIndex " << w.row.index() << "\n";
    for (unsigned i = 0; i < w.row.words(); ++i) {
      TarnSwitchApi::DataArrayIndex d(i);
      const std::string& reg = w.table->registerName(w.row.index(), d);
      out_ << "    word " << i << " " << hex32(w.row.data(d)) << " -> "
           << (reg.empty() ? "(no register)" : reg) << "\n";
    }
  }
}

}  // namespace Tarnctl
