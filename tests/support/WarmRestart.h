#pragma once
// Warm-restart harness: start a table on a simulated chip with its own ring trace and count the
// rows the start wrote; run the same checks before and after a warm restart of the same chip.
#include <gtest/gtest.h>

#include <string>

#include "Fen/RingTrace.h"
#include "support/Chip.h"

namespace TarnTest {

using TarnSwitchApi::StartMode;
using ChipPtr = Fen::Ptr<TarnSwitchApi::HwTableCollection>;

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
  Fen::U64 before = chip->writeCount();
  TarnSwitchApi::startSwTable(*s.table, chip, mode);
  s.writes = chip->writeCount() - before;
  return s;
}

// Runs `setup(table)` on a table made by `make()` and started cold on a fresh chip of
// `profile`, then `verify(table, chip)`; starts a new table warm on the same chip, expects the
// restart to write no row, and runs `verify` again on the new table.
template <class Make, class Setup, class Verify>
void verifyAcrossWarmRestart(const Make& make, const Setup& setup, const Verify& verify,
                             const std::string& profile = "default") {
  ChipPtr chip = makeChip(profile);
  auto cold = startTable(make(), chip, StartMode::cold);
  setup(*cold.table);
  {
    SCOPED_TRACE("before the warm restart");
    verify(*cold.table, *chip);
  }
  auto warm = startTable(make(), chip, StartMode::warm);
  EXPECT_EQ(warm.writes, 0u) << "a warm restart of an unchanged chip writes no row";
  SCOPED_TRACE("after the warm restart");
  verify(*warm.table, *chip);
}

}  // namespace TarnTest
