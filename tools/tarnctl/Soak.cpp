#include "Soak.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <unordered_map>

#include "Errors.h"
#include "Fen/File.h"
#include "Profile.h"
#include "Script.h"
#include "Session.h"

namespace Tarnctl {
namespace {

using Fen::U64;

constexpr const char* processStep = "process";  // save hardware, start a new process warm on it

// One step: a script line, or processStep. `mustRefuse`: the line holds a value outside the
// range of its field, so the tool must refuse it.
struct Step {
  std::string line;
  bool mustRefuse = false;
};

// What a step came to: a failure ("" when none), or a restart refused because of a row the soak
// damaged (legitimate: the operator erases that row and restarts again), with the erase line.
struct Outcome {
  std::string failure;
  bool refusedRestart = false;
  std::string erase;
};

Outcome failed(std::string failure) {
  Outcome o;
  o.failure = std::move(failure);
  return o;
}

// An entry of a table as the model keeps it: its text form and the line that stores it.
struct ModelEntry {
  std::string text;
  std::string line;
};

// Entries by their key fields ("egressPort=3 rewriteIndex=5"), with a random pick in constant
// time.
class Entries {
 public:
  void put(const std::string& key, ModelEntry e) {
    auto [it, fresh] = index_.emplace(key, items_.size());
    if (fresh) {
      items_.emplace_back(key, std::move(e));
    } else {
      items_[it->second].second = std::move(e);
    }
  }
  void erase(const std::string& key) {
    auto it = index_.find(key);
    if (it == index_.end()) return;
    std::size_t i = it->second;
    index_.erase(it);
    if (i + 1 != items_.size()) {
      items_[i] = std::move(items_.back());
      index_[items_[i].first] = i;
    }
    items_.pop_back();
  }
  void clear() {
    items_.clear();
    index_.clear();
  }
  std::size_t size() const { return items_.size(); }
  const std::pair<std::string, ModelEntry>& at(std::size_t i) const { return items_[i]; }
  const ModelEntry* find(const std::string& key) const {
    auto it = index_.find(key);
    return it == index_.end() ? nullptr : &items_[it->second].second;
  }

 private:
  std::vector<std::pair<std::string, ModelEntry>> items_;
  std::unordered_map<std::string, std::size_t> index_;
};

// How two sets of entries differ: the number of keys held by one only or held with other
// values, and the first such key described.
struct Difference {
  std::size_t count = 0;
  std::size_t lost = 0;  // keys of `want` missing or held with another value
  std::string first;
};

Difference difference(const Entries& want, const Entries& have) {
  Difference d;
  auto note = [&d](const std::string& key, const ModelEntry* w, const ModelEntry* h) {
    if (w) ++d.lost;
    if (d.count++ > 0) return;
    d.first = "key " + key + ": software holds " + (h ? h->text : std::string("nothing")) +
              ", the model " + (w ? w->text : std::string("nothing"));
  };
  for (std::size_t i = 0; i < want.size(); ++i) {
    const auto& [key, w] = want.at(i);
    const ModelEntry* h = have.find(key);
    if (!h || h->text != w.text) note(key, &w, h);
  }
  for (std::size_t i = 0; i < have.size(); ++i) {
    const auto& [key, h] = have.at(i);
    if (!want.find(key)) note(key, nullptr, &h);
  }
  return d;
}

Entries snapshot(const ToolTable& t) {
  Entries e;
  t.access().entryForEach([&](const void* k, const void* r) {
    e.put(t.keyFields(k), ModelEntry{t.access().entryStrep(k, r), t.scriptLine(k, r)});
  });
  return e;
}

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < line.size()) {
    std::size_t b = line.find_first_not_of(' ', i);
    if (b == std::string_view::npos) break;
    std::size_t e = line.find(' ', b);
    if (e == std::string_view::npos) e = line.size();
    out.push_back(line.substr(b, e - b));
    i = e;
  }
  return out;
}

// One soak on one profile: the tables of the run on a simulated chip, the model of their
// software entries, and the rows damaged since the last restart.
class SoakRun {
 public:
  SoakRun(const TarnSwitch::ChipProfile& profile, const SoakOptions& o,
          const TarnSwitchApi::HwTableShapes& shapes, std::string statePath)
      : profile_(profile), options_(o), shapes_(shapes), statePath_(std::move(statePath)) {
    connect(Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile_),
            TarnSwitchApi::StartMode::cold);
    model_.resize(session_->tables().size());
    dirty_.assign(session_->tables().size(), 0);
  }

  Outcome step(const Step& s);
  // The next step, drawn from `rng`: a restart of a random kind when `restart`.
  Step nextStep(std::mt19937_64& rng, bool restart);

  U64 restarts = 0;   // restarts completed (then checked)
  U64 processes = 0;  // of which process restarts
  U64 refused = 0;    // restarts refused for a row the soak damaged

 private:
  void connect(Fen::Ptr<TarnSwitchApi::HwTableCollection> chip, TarnSwitchApi::StartMode mode);
  std::size_t tableIndex(std::string_view name) const;
  Outcome change(const Step& s, std::string_view command, std::size_t table);
  Outcome restart(const std::string& kind);
  Outcome startFailed(const std::string& message) const;
  std::string verify(const std::string& kind, const std::vector<Entries>& expected);
  std::vector<Entries> oracle() const;
  std::string randomLeaf(std::mt19937_64& rng, ToolTable& t, const FieldPath& p) const;
  Step randomSet(std::mt19937_64& rng, std::size_t table);
  Step randomFault(std::mt19937_64& rng, std::size_t table, const char* command);

  TarnSwitch::ChipProfile profile_;
  const SoakOptions& options_;
  const TarnSwitchApi::HwTableShapes& shapes_;
  std::string statePath_;
  std::unique_ptr<Session> session_;
  std::unique_ptr<ScriptRunner> runner_;
  std::ostringstream sink_;  // what the runner prints: nothing the soak needs
  std::vector<Entries> model_;
  std::vector<std::size_t> dirty_;  // rows damaged, erased or corrupted per table since a restart
  // Entries removed since the last restart: the line that stored each and the line that removes
  // it. A table may write a removed key a row of its own (a rate limiter of 0), which a read-back
  // adopts.
  std::vector<std::pair<std::string, std::string>> removed_;
  U64 steps_ = 0;
};

// A new process on `chip`: it replaces the present one only once its tables have started.
void SoakRun::connect(Fen::Ptr<TarnSwitchApi::HwTableCollection> chip,
                      TarnSwitchApi::StartMode mode) {
  auto session = std::make_unique<Session>(std::move(chip), options_.tables);
  session->start(mode);
  runner_.reset();
  session_ = std::move(session);
  runner_ = std::make_unique<ScriptRunner>(*session_, RunOptions{false, true, true}, sink_);
}

std::size_t SoakRun::tableIndex(std::string_view name) const {
  const auto& tables = session_->tables();
  for (std::size_t i = 0; i < tables.size(); ++i) {
    if (tables[i]->name() == name) return i;
  }
  return tables.size();
}

Outcome SoakRun::step(const Step& s) {
  ++steps_;
  sink_.str("");
  if (s.line == processStep) return restart(processStep);
  auto args = words(s.line);
  std::string_view command = args.empty() ? "" : args[0];
  if (command == "restart") return restart(s.line.substr(8));
  std::size_t table = args.size() > 1 ? tableIndex(args[1]) : model_.size();
  if (table == model_.size()) return failed("step: no table in '" + s.line + "'");
  if (command == "set" || command == "del" || command == "clear") return change(s, command, table);
  try {
    runner_->runOne(s.line, "soak:" + std::to_string(steps_));
  } catch (const std::exception& e) {
    return failed(std::string("fault: ") + e.what());
  }
  ++dirty_[table];
  return {};
}

Outcome SoakRun::change(const Step& s, std::string_view command, std::size_t table) {
  ToolTable& t = *session_->tables()[table];
  try {
    runner_->runOne(s.line, "soak:" + std::to_string(steps_));
  } catch (const LineError& e) {
    std::string m = e.what();
    // Values out of range, a hashed table without room, a key the table does not hold (an LPM
    // prefix of another length): the tool refuses them before anything changes.
    bool refusal = m.find(" not allowed") != std::string::npos ||
                   m.find(" is full: no placement") != std::string::npos ||
                   m.find(" refuses key ") != std::string::npos ||
                   m.find(" refuses result ") != std::string::npos;
    if (command == "set" && refusal) return {};  // software and model keep what they held
    return failed("refused: " + m);
  }
  if (s.mustRefuse) return failed("accepted: '" + s.line + "' holds a value outside its range");
  auto& a = t.access();
  if (command == "set") {
    model_[table].put(t.keyFields(a.scratchKey()),
                      ModelEntry{a.entryStrep(a.scratchKey(), a.scratchResult()),
                                 t.scriptLine(a.scratchKey(), a.scratchResult())});
  } else if (command == "del") {
    const std::string key = t.keyFields(a.scratchKey());
    if (const ModelEntry* e = model_[table].find(key))
      removed_.emplace_back(e->line, "del " + t.name() + " " + key);
    model_[table].erase(key);
  } else {
    for (std::size_t i = 0; i < model_[table].size(); ++i) {
      const auto& [key, e] = model_[table].at(i);
      removed_.emplace_back(e.line, "del " + t.name() + " " + key);
    }
    model_[table].clear();
  }
  return {};
}

// A restart that raised: legitimate when it names a row ("table T copy C (...) HwIndex N: ...
// not allowed") of a table the soak damaged; the operator's answer is to erase that row.
Outcome SoakRun::startFailed(const std::string& message) const {
  for (std::size_t i = 0; i < model_.size(); ++i) {
    const std::string& name = session_->tables()[i]->name();
    const auto at = message.find("table " + name + " copy ");
    const auto index = message.find(") HwIndex ", at);
    if (dirty_[i] == 0 || at == std::string::npos || index == std::string::npos ||
        message.find(" not allowed") == std::string::npos)
      continue;
    Outcome o;
    o.refusedRestart = true;
    o.erase = "erase " + name + " copy=" +
              std::to_string(std::strtoul(message.c_str() + at + 11 + name.size(), nullptr, 10)) +
              " index=" + std::to_string(std::strtoul(message.c_str() + index + 10, nullptr, 10));
    return o;
  }
  return failed("restart: " + message);
}

Outcome SoakRun::restart(const std::string& kind) {
  std::vector<Entries> expected;
  if (kind == "warm keep") expected = model_;
  if (kind == "warm" || kind == processStep) expected = oracle();
  if (kind == "cold") expected.resize(model_.size());
  try {
    if (kind == processStep) {
      Fen::writeFileAtomically(statePath_, session_->chip()->saveText());
      connect(TarnSwitchApi::HwTableCollection::load(statePath_, &profile_, &shapes_),
              TarnSwitchApi::StartMode::warm);
    } else {
      runner_->runOne("restart " + kind, "soak:" + std::to_string(steps_));
    }
  } catch (const std::exception& e) {
    ++refused;
    return startFailed(e.what());
  }
  ++restarts;
  if (kind == processStep) ++processes;
  return failed(verify(kind, expected));
}

std::string SoakRun::verify(const std::string& kind, const std::vector<Entries>& expected) {
  U64 rows = 0;
  CheckMismatch first;
  if (!session_->check(rows, first)) return "check: after restart " + kind + ": " + first.text();
  std::vector<Entries> adopted;  // what a read-back adopts from the model's rows, when needed
  for (std::size_t i = 0; i < model_.size(); ++i) {
    Entries now = snapshot(*session_->tables()[i]);
    Difference d = difference(expected[i], now);
    if (d.count > 0 && kind == "warm keep") {
      // Tables that adopt every row they read back (the Layer-2 ones) replace kept software with
      // what hardware holds: the same as the model for every value hardware keeps in full. An
      // entry is expected as the model has it, or as that adoption gives it.
      if (adopted.empty()) adopted = oracle();
      Entries either = expected[i];
      for (std::size_t j = 0; j < adopted[i].size(); ++j) {
        const auto& [key, entry] = adopted[i].at(j);
        const ModelEntry* held = now.find(key);
        if (held && held->text == entry.text) either.put(key, entry);
      }
      d = difference(either, now);
    }
    // A row damaged, erased or corrupted before a warm restart may lose its entry, or bring the
    // entry its damaged words decode to: two keys at most. Software kept wins: it loses none.
    const std::size_t allowed = kind == "cold" ? 0 : 2 * dirty_[i];
    if (d.count > allowed || (kind == "warm keep" && d.lost > 0)) {
      return "model: table " + session_->tables()[i]->name() + " after restart " + kind + ": " +
             std::to_string(d.count) + " entries differ; first " + d.first;
    }
    model_[i] = std::move(now);
  }
  std::fill(dirty_.begin(), dirty_.end(), 0);
  removed_.clear();
  try {
    runner_->runOne("restart warm keep", "soak:" + std::to_string(steps_));
  } catch (const std::exception& e) {
    return std::string("rewrite: ") + e.what();
  }
  U64 writes = runner_->stats().restarts.back().writes;
  if (writes != 0) {
    return "rewrite: a warm restart keeping software over matching hardware wrote " +
           std::to_string(writes) + " rows (after restart " + kind + ")";
  }
  for (std::size_t i = 0; i < model_.size(); ++i) {
    Difference d = difference(model_[i], snapshot(*session_->tables()[i]));
    if (d.count > 0) {
      return "rewrite: table " + session_->tables()[i]->name() +
             " changed by a warm restart keeping software: " + d.first;
    }
  }
  return "";
}

// What a warm restart with software empty adopts from hardware that holds the model's entries
// and nothing else: a fresh chip, the model stored on it, then that restart.
std::vector<Entries> SoakRun::oracle() const {
  Session o(Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile_), options_.tables);
  o.start(TarnSwitchApi::StartMode::cold);
  std::ostringstream sink;
  ScriptRunner r(o, RunOptions{false, true, true}, sink);
  for (const auto& [set, del] : removed_) {
    r.runOne(set, "soak:oracle");
    r.runOne(del, "soak:oracle");
  }
  for (const auto& m : model_) {
    for (std::size_t i = 0; i < m.size(); ++i) r.runOne(m.at(i).second.line, "soak:oracle");
  }
  o.start(TarnSwitchApi::StartMode::warm);
  std::vector<Entries> out;
  for (const auto& t : o.tables()) out.push_back(snapshot(*t));
  return out;
}

// A value of a leaf field as text: for a numeric field its bounds, their neighbours, small values
// and uniform ones; any other field keeps its present (default) value.
std::string SoakRun::randomLeaf(std::mt19937_64& rng, ToolTable& t, const FieldPath& p) const {
  const Fen::AttributeInfo* a = p.chain.back();
  void* object = p.key ? t.access().scratchKey() : t.access().scratchResult();
  for (std::size_t k = 0; k + 1 < p.chain.size(); ++k) object = p.chain[k]->nested(object);
  if (!a->setNumber) return a->print(object);
  const U64 lo = a->minNumber;
  const U64 hi = a->maxNumber;
  U64 v = 0;
  switch (rng() % 8) {
    case 0:
      v = lo;
      break;
    case 1:
      v = hi;
      break;
    case 2:
      v = lo < hi ? lo + 1 : lo;
      break;
    case 3:
      v = lo < hi ? hi - 1 : hi;
      break;
    case 4:
      v = lo + rng() % 16;
      break;
    default:
      v = hi - lo == ~U64(0) ? rng() : lo + rng() % (hi - lo + 1);
  }
  a->setNumber(object, std::min(v, hi));
  return a->print(object);
}

Step SoakRun::randomSet(std::mt19937_64& rng, std::size_t table) {
  ToolTable& t = *session_->tables()[table];
  const Entries& m = model_[table];
  t.access().scratchReset();
  Step s{"set " + t.name()};
  std::vector<const FieldPath*> numeric;  // leaves whose text is their number
  if (m.size() > 0 && rng() % 2 == 0) {
    s.line += " " + m.at(rng() % m.size()).first;
  } else {
    for (const auto& p : t.fields()) {
      if (p.leaf && p.key) s.line += " " + p.path + "=" + randomLeaf(rng, t, p);
    }
  }
  for (const auto& p : t.fields()) {
    if (p.leaf && !p.key && rng() % 5 < 3) s.line += " " + p.path + "=" + randomLeaf(rng, t, p);
    const Fen::AttributeInfo* a = p.chain.back();
    if (p.leaf && a->setNumber && a->maxNumber < ~U64(0)) numeric.push_back(&p);
  }
  if (!numeric.empty() && rng() % 50 == 0) {  // a value just past the largest its field takes
    const FieldPath& p = *numeric[rng() % numeric.size()];
    std::string over = std::to_string(p.chain.back()->maxNumber + 1);
    std::string probe = randomLeaf(rng, t, p);
    if (probe.find_first_not_of("0123456789") == std::string::npos) {
      s.line += " " + p.path + "=" + over;
      s.mustRefuse = true;
      // a field given twice is refused for that reason: give it once
      std::string given = " " + p.path + "=";
      auto at = s.line.find(given);
      if (at != s.line.rfind(given)) {
        s.line.erase(at, s.line.find(' ', at + 1) - at);
      }
    }
  }
  return s;
}

Step SoakRun::randomFault(std::mt19937_64& rng, std::size_t table, const char* command) {
  ToolTable& t = *session_->tables()[table];
  auto& conv = t.convertor();
  if (conv.hwTableCount() == 0) return randomSet(rng, table);  // a table without hardware
  TarnSwitchApi::HwTableId id = TarnSwitchApi::HwTableId(rng() % conv.hwTableCount());
  while (!conv.hwTable(id)) id = TarnSwitchApi::HwTableId((id + 1) % conv.hwTableCount());
  const TarnSwitchApi::HwTableConfig* hw = conv.hwTable(id);
  U64 index = hw->lower() + rng() % (U64(hw->upper()) - hw->lower() + 1);
  // Bits flip in rows the chip holds: damage of an erased row would make up a row of one word.
  if (std::string(command) == "damage" && !hw->storedEntry(TarnSwitchApi::HwIndex(index)))
    command = "erase";
  std::string line = std::string(command) + " " + t.name() + " copy=" + std::to_string(id) +
                     " index=" + std::to_string(index);
  if (std::string(command) == "damage") {
    Fen::U32 mask = rng() % 4 == 0 ? Fen::U32(rng()) | 1u : Fen::U32(1) << (rng() % 32);
    // The library repairs the words it compares; a copy may write more (a port selector) that it
    // never reads back, and damage there stays by design.
    line += " word=" + std::to_string(rng() % t.copyComparedWords(id)) + " xor=" + hex32(mask);
  }
  return Step{line};
}

Step SoakRun::nextStep(std::mt19937_64& rng, bool restart) {
  if (restart) {
    static const char* const kinds[] = {"restart warm", "restart warm keep", "restart cold",
                                        processStep};
    static const unsigned weights[] = {3, 3, 1, 3};
    unsigned r = unsigned(rng() % 10);
    unsigned k = 0;
    while (r >= weights[k]) r -= weights[k++];
    return Step{kinds[k]};
  }
  std::size_t table = rng() % model_.size();
  ToolTable& t = *session_->tables()[table];
  const Entries& m = model_[table];
  unsigned r = unsigned(rng() % 1000);
  if (r < 10) return randomFault(rng, table, "corrupt");
  if (r < 40) return randomFault(rng, table, "damage");
  if (r < 50) return randomFault(rng, table, "erase");
  if (r < 52) return Step{"clear " + t.name()};
  if (r < 300 && m.size() > 0) return Step{"del " + t.name() + " " + m.at(rng() % m.size()).first};
  return randomSet(rng, table);
}

// The lines of a step sequence as the scripts of successive processes.
std::vector<std::string> scripts(const std::vector<Step>& steps) {
  std::vector<std::string> out(1);
  for (const auto& s : steps) {
    if (s.line == processStep) {
      out.back() += "check\n";
      out.emplace_back("check\nrestart warm keep\ncheck\n");
      continue;
    }
    out.back() += s.line + "\n";
    if (s.line.rfind("restart", 0) == 0) out.back() += "check\nrestart warm keep\ncheck\n";
  }
  return out;
}

std::string category(const std::string& failure) {
  return failure.substr(0, failure.find(':'));
}

class Soak {
 public:
  Soak(const SoakOptions& o, std::ostream& out) : options_(o), out_(out) {}
  void run(const std::string& profileName, U64 ops, U64 restarts, U64 seed);
  SoakTotals totals;

 private:
  std::string replay(const std::vector<Step>& steps, std::size_t& failedAt) const;
  std::vector<Step> shrink(std::vector<Step> steps, const std::string& failure) const;
  void report(const std::vector<Step>& steps, std::size_t failedAt, const std::string& failure,
              U64 seed) const;

  const SoakOptions& options_;
  std::ostream& out_;
  TarnSwitch::ChipProfile profile_;
  TarnSwitchApi::HwTableShapes shapes_;
  std::string statePath_;
};

void Soak::run(const std::string& profileName, U64 ops, U64 restarts, U64 seed) {
  profile_ = profileFromOption(profileName);
  shapes_ = registeredShapes(profile_);
  statePath_ = options_.workDir + "/tarnctl-soak-" + std::to_string(::getpid()) + ".hw";
  std::mt19937_64 rng(seed);
  SoakRun run(profile_, options_, shapes_, statePath_);
  std::vector<Step> log{Step{"restart cold"}};  // steps since the last cold restart
  const U64 every = std::max<U64>(1, ops / std::max<U64>(1, restarts));
  std::string failure;
  for (U64 op = 0; op < ops && failure.empty(); ++op) {
    Step s = run.nextStep(rng, rng() % every == 0);
    if (s.line == "restart cold") log.clear();
    log.push_back(s);
    Outcome o = run.step(s);
    for (unsigned tries = 0; o.refusedRestart && tries < 64; ++tries) {
      // erase the row the restart could not read, then restart again
      log.push_back(Step{o.erase});
      o.failure = run.step(log.back()).failure;
      if (!o.failure.empty()) break;
      log.push_back(s);
      o = run.step(s);
    }
    if (o.refusedRestart) o.failure = "restart: still refused after erasing the rows it named";
    failure = o.failure;
    if (s.line.rfind("restart", 0) != 0 && s.line != processStep) ++totals.ops;
  }
  totals.restarts += run.restarts;
  totals.processes += run.processes;
  totals.refused += run.refused;
  std::remove(statePath_.c_str());
  if (failure.empty()) return;
  ++totals.mismatches;
  report(log, log.size() - 1, failure, seed);
}

std::string Soak::replay(const std::vector<Step>& steps, std::size_t& failedAt) const {
  try {
    SoakRun run(profile_, options_, shapes_, statePath_);
    for (std::size_t i = 0; i < steps.size(); ++i) {
      Outcome o = run.step(steps[i]);
      if (o.refusedRestart && i + 1 == steps.size()) o.failure = "restart: refused";
      if (!o.failure.empty()) {
        failedAt = i;
        return o.failure;
      }
    }
  } catch (const std::exception& e) {
    failedAt = steps.size();
    return std::string("replay: ") + e.what();
  }
  return "";
}

// Removes ever smaller runs of steps while the same kind of failure remains.
std::vector<Step> Soak::shrink(std::vector<Step> steps, const std::string& failure) const {
  const auto deadline = std::chrono::steady_clock::now() +
                        std::chrono::milliseconds(U64(options_.shrinkSeconds * 1000));
  for (std::size_t chunk = steps.size() / 2; chunk > 0; chunk /= 2) {
    for (std::size_t i = 0; i < steps.size() && std::chrono::steady_clock::now() < deadline;) {
      std::vector<Step> candidate(steps.begin(), steps.begin() + std::ptrdiff_t(i));
      candidate.insert(candidate.end(),
                       steps.begin() + std::ptrdiff_t(std::min(i + chunk, steps.size())),
                       steps.end());
      std::size_t at = 0;
      std::string f = replay(candidate, at);
      if (!f.empty() && category(f) == category(failure)) {
        candidate.resize(std::min(candidate.size(), at + 1));
        steps = std::move(candidate);
      } else {
        i += chunk;
      }
    }
    chunk = std::min(chunk, steps.size());
  }
  return steps;
}

void Soak::report(const std::vector<Step>& steps, std::size_t failedAt, const std::string& failure,
                  U64 seed) const {
  out_ << "soak: FAILED on profile " << profile_.name << " with seed " << seed << " after "
       << totals.ops << " operations: " << failure << "\n";
  std::vector<Step> shrunk = shrink(
      std::vector<Step>(steps.begin(), steps.begin() + std::ptrdiff_t(failedAt + 1)), failure);
  std::size_t at = 0;
  std::string again = replay(shrunk, at);
  out_ << "soak: shrunk to " << shrunk.size() << " steps, failing with: " << again << "\n"
       << "soak: reproduce with these scripts, one process each; every restart is followed by "
          "a check and a restart warm keep that must write no row:\n";
  auto parts = scripts(shrunk);
  std::string tables;
  for (const auto& t : options_.tables) tables += (tables.empty() ? " --tables " : ",") + t;
  for (std::size_t i = 0; i < parts.size(); ++i)
    out_ << "--- soak-" << i + 1 << ".tarn\n" << parts[i];
  out_ << "---\n";
  for (std::size_t i = 0; i < parts.size(); ++i) {
    out_ << "tarnctl run -q --profile " << profile_.name << tables
         << (i > 0 ? " --hw-in soak-" + std::to_string(i) + ".hw" : "")
         << (i + 1 < parts.size() ? " --hw-out soak-" + std::to_string(i + 1) + ".hw" : "")
         << " soak-" << i + 1 << ".tarn\n";
  }
}

}  // namespace

SoakTotals runSoak(const SoakOptions& options, std::ostream& out) {
  Soak soak(options, out);
  const U64 n = std::max<std::size_t>(1, options.profiles.size());
  for (std::size_t i = 0; i < options.profiles.size() && soak.totals.mismatches == 0; ++i) {
    soak.run(options.profiles[i], options.ops / n, options.restarts / n, options.seed + i);
  }
  const SoakTotals& t = soak.totals;
  out << "soak: " << t.refused << " restarts refused for a damaged row, answered by erasing it\n";
  out << "soak: ops=" << t.ops << " restarts=" << t.restarts << " processes=" << t.processes
      << " mismatches=" << t.mismatches << " seed=" << options.seed << "\n";
  return t;
}

}  // namespace Tarnctl
