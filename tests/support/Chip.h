#pragma once
// Test helpers on the simulated chip: a chip of a built-in profile, a table started on it with a
// ring trace of its own (cold, warm with software empty, or warm with software restored first as
// an agent does), the same checks before and after warm restarts, the words a row holds, the
// message of an expected exception, the lines a module traces, and values printed in their text
// form when an expectation on them fails.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "Fen/RingTrace.h"
#include "Fen/Trace.h"
#include "Fen/Value.h"
#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnTableRows.h"

namespace TarnTest {

using TarnSwitchApi::StartMode;
using ChipPtr = Fen::Ptr<TarnSwitchApi::HwTableCollection>;
using Words = std::vector<Fen::U32>;

// How a table is (re)started: cold, warm with empty software, or warm with the software entries
// of the table it replaces restored before connecting.
enum class Restart { cold, warm, warmKeep };

// A fresh simulated chip of the named built-in profile ("default" or "legacy").
ChipPtr makeChip(const std::string& profile = "default");

template <class Table>
struct Started {
  Fen::Ptr<Table> table;
  Fen::Ptr<Fen::RingTrace> ring;
  Fen::U64 writes = 0;  // rows written by the start, over every hardware table of the chip
};

// Starts `table` on `chip` with a fresh ring trace of its own; entries it already holds are
// programmed by the start.
template <class Table>
Started<Table> startTable(Fen::Ptr<Table> table, const ChipPtr& chip, StartMode mode) {
  Started<Table> s{std::move(table), Fen::makePtr<Fen::RingTrace>()};
  s.table->ringTraceIs(s.ring);
  const Fen::U64 before = chip->writeCount();
  TarnSwitchApi::startSwTable(*s.table, chip, mode);
  s.writes = chip->writeCount() - before;
  return s;
}

// A table started cold on a fresh chip of a built-in profile.
template <class Table>
struct OnChip {
  explicit OnChip(Fen::Ptr<Table> t, const std::string& profile = "default")
      : chip(makeChip(profile)), started(startTable(std::move(t), chip, StartMode::cold)) {}
  Table& table() const { return *started.table; }
  auto& conv() const { return *started.table->profileConvertor(); }
  // Rows written since the start.
  Fen::U64 writes() const { return chip->writeCount() - started.writes; }

  ChipPtr chip;
  Started<Table> started;
};

// A new table of the same kind, started on `chip` as `how` says; `old` gives the entries kept.
template <class Table>
Started<Table> restartTable(const Fen::Ptr<Table>& fresh, const Table* old, const ChipPtr& chip,
                            Restart how) {
  if (how == Restart::warmKeep && old) {
    old->entry().forEachOrdered([&](const auto& k, const auto& r) { fresh->entryIs(k, r); });
  }
  return startTable(fresh, chip, how == Restart::cold ? StartMode::cold : StartMode::warm);
}

// The first `count` words the chip stores at `index` (missing words read 0, corruption marks
// ignored); empty when the row is absent.
inline Words rowWords(const TarnSwitchApi::HwTableConfig& table, TarnSwitchApi::HwIndex index,
                      unsigned count) {
  const TarnSwitchApi::HwEntryConfig* row = table.storedEntry(index);
  if (!row) return {};
  Words out(count, 0);
  for (unsigned i = 0; i < count && i < row->words(); ++i) out[i] = row->dataArray()[i];
  return out;
}

// Writes `words` as row `index` of `table` behind the library's back.
inline void plantRow(TarnSwitchApi::HwTableConfig& table, TarnSwitchApi::HwIndex index,
                     const Words& words) {
  TarnSwitchApi::HwEntryConfig row(index);
  row.dataArrayIs(words.data(), words.size());
  table.entryIs(row);
}

// Fixture of the engines' behavioural suites: a table of Traits::Table started on a chip of
// Traits::profile(), restarted on the same chip at will.
template <class Traits>
class TableFixture : public ::testing::Test {
 protected:
  using Table = typename Traits::Table;
  using Key = typename Table::Key;
  using Result = typename Table::Result;
  using Model = std::map<Key, Result>;
  using HwIndex = TarnSwitchApi::HwIndex;

  void SetUp() override { restart(Restart::cold); }
  // Replaces the table under test by a new one restarted on the same chip; the rows it wrote.
  Fen::U64 restart(Restart how) {
    started_ = restartTable(Traits::makeTable(), started_.table.ptr(), chip_, how);
    return started_.writes;
  }
  Table& table() const { return *started_.table; }
  auto& conv() const { return *table().profileConvertor(); }
  Fen::U64 writes() const { return chip_->writeCount(); }
  Model software() const { return table().entry().map(); }
  // Ring trace lines that start with `prefix` (a whole line counts itself).
  std::size_t traced(const std::string& prefix) const { return started_.ring->count(prefix); }
  static Key key(unsigned n) { return Traits::key(n); }
  static Result result(unsigned n) { return Traits::result(n); }
  // The text form of the valid item (k, r), as traces print it.
  static std::string text(const Key& k, const Result& r) {
    return typename Table::Item{true, k, r}.toStrep();
  }
  // The row of `k` (tables whose layout maps keys to rows) and the copies that hold it.
  HwIndex row(const Key& k) const { return conv().layout().hwIndexFromKey(k); }
  std::vector<const TarnSwitchTable::Copy*> holding(const Key& k) const {
    std::vector<const TarnSwitchTable::Copy*> out;
    for (const auto& c : conv().copies())
      if (c.holds(row(k))) out.push_back(&c);
    return out;
  }

  // Whether every row of every copy holds `want(copy, row)` and, while the table is enabled, the
  // convertor's check expects the same; names the first row that does not.
  template <class Want>
  ::testing::AssertionResult everyRowHolds(Want&& want) const {
    for (const auto& c : conv().copies()) {
      for (Fen::U64 i = c.lower; i <= c.upper; ++i) {
        const Words w = want(c, HwIndex(i)), got = rowWords(*c.table, HwIndex(i), c.words);
        Fen::U32 check[TarnSwitchApi::hwEntryMaxWords];
        const Words expected(check, check + conv().expectedHwRow(c.id, HwIndex(i), check));
        if (got != w || (conv().enabled() && expected != w))
          return ::testing::AssertionFailure()
                 << c.table->name() << " row " << i << " holds " << ::testing::PrintToString(got)
                 << ", expected " << ::testing::PrintToString(w) << ", check expects "
                 << ::testing::PrintToString(expected);
      }
    }
    return ::testing::AssertionSuccess();
  }

  // Runs `verify` now, after a warm restart with software kept and after one with software
  // empty; neither restart may write a row.
  void acrossWarmRestarts(const std::function<void()>& verify) {
    verify();
    for (Restart how : {Restart::warmKeep, Restart::warm}) {
      SCOPED_TRACE(how == Restart::warm ? "after a warm restart, software empty"
                                        : "after a warm restart, software kept");
      EXPECT_EQ(restart(how), 0u) << "a warm restart over matching hardware wrote rows";
      verify();
    }
  }

  ChipPtr chip_ = makeChip(Traits::profile());
  Started<Table> started_;
};

// The message of the exception of type E that `f` raises, or "<no exception raised>".
template <class E, class F>
std::string thrownMessage(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  return "<no exception raised>";
}

// The lines `module` traces at levels `from`..`to` while `f` runs; every module's trace is off
// and the process-wide sink unset afterwards.
template <class F>
std::vector<std::string> tracedLines(const std::string& module, int from, int to, F&& f) {
  std::vector<std::string> lines;
  Fen::traceSinkIs([&](const char* m, int level, const std::string& text) {
    if (m == module && level >= from) lines.push_back(text);
  });
  Fen::traceLevelIs(module, to);
  f();
  Fen::traceOffAll();
  Fen::traceSinkIs(nullptr);
  return lines;
}

}  // namespace TarnTest

namespace Fen {

template <class D>
std::ostream& operator<<(std::ostream& os, const Value<D>& v) {
  return os << static_cast<const D&>(v).toStrep();
}

}  // namespace Fen
