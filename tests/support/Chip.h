#pragma once
// Test helpers on the simulated chip: a chip of a built-in profile, a table started on it with a
// ring trace of its own, the words a row holds, the message of an expected exception, and keys
// and results printed in their text form when an expectation on them fails.
#include <gtest/gtest.h>

#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "Fen/RingTrace.h"
#include "Fen/Value.h"
#include "TarnSwitchApi/SwTable.h"

namespace TarnTest {

using TarnSwitchApi::StartMode;
using ChipPtr = Fen::Ptr<TarnSwitchApi::HwTableCollection>;
using Words = std::vector<Fen::U32>;

// A fresh simulated chip of the named built-in profile ("default" or "legacy").
ChipPtr makeChip(const std::string& profile = "default");

template <class Table>
struct Started {
  Fen::Ptr<Table> table;
  Fen::Ptr<Fen::RingTrace> ring;
  Fen::U64 writes = 0;  // rows written by the start, over every hardware table of the chip
};

// Starts `table` on `chip` (cold or warm) with a fresh ring trace of its own.
template <class Table>
Started<Table> startTable(Fen::Ptr<Table> table, const ChipPtr& chip, StartMode mode) {
  Started<Table> s{std::move(table), Fen::makePtr<Fen::RingTrace>()};
  s.table->ringTraceIs(s.ring);
  const Fen::U64 before = chip->writeCount();
  TarnSwitchApi::startSwTable(*s.table, chip, mode);
  s.writes = chip->writeCount() - before;
  return s;
}

// Fixture of the engines' behavioural suites: a table of Traits::Table started on a chip of
// Traits::profile(), restarted on the same chip at will.
template <class Traits>
class TableFixture : public ::testing::Test {
 protected:
  using Key = typename Traits::Table::Key;
  using Result = typename Traits::Table::Result;
  using Model = std::map<Key, Result>;
  using HwIndex = TarnSwitchApi::HwIndex;
  static constexpr unsigned copies = Traits::copies;

  void SetUp() override { restart(StartMode::cold); }
  // Replaces the table under test by a new one started on the same chip; the rows it wrote.
  Fen::U64 restart(StartMode mode) {
    started_ = startTable(Traits::makeTable(), chip_, mode);
    return started_.writes;
  }
  typename Traits::Table& table() const { return *started_.table; }
  auto& conv() const { return *table().profileConvertor(); }
  TarnSwitchApi::HwTableConfig& copy(unsigned c) const { return *conv().hwTables().at(c); }
  Fen::U64 writes() const { return chip_->writeCount(); }
  Model software() const { return table().entry().map(); }
  // Ring trace lines that start with `prefix` (a whole line counts itself).
  std::size_t traced(const std::string& prefix) const { return started_.ring->count(prefix); }
  static Result result(unsigned n) { return Traits::result(n); }

  ChipPtr chip_ = makeChip(Traits::profile());
  Started<typename Traits::Table> started_;
};

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

}  // namespace TarnTest

namespace Fen {

template <class D>
std::ostream& operator<<(std::ostream& os, const Value<D>& v) {
  return os << static_cast<const D&>(v).toStrep();
}

}  // namespace Fen
