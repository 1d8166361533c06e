#pragma once
// The eight LPM tables a route programmer writes, built, started and restarted together on one
// simulated chip (tests and benchmarks).
#include <vector>

#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnRouteProgrammer.h"
#include "TarnSwitchTable/TarnTableAccess.h"

namespace TarnTest {

// New, unconnected tables named lpm11, lpm14, ..., lpm32.
inline TarnSwitchTable::RouteTables freshRouteTables() {
  using namespace TarnSwitchTable;
  return RouteTables{lpm11TableFactory("lpm11"), Lpm14TableIs("lpm14"), Lpm17TableIs("lpm17"),
                     Lpm20TableIs("lpm20"),      Lpm23TableIs("lpm23"), Lpm26TableIs("lpm26"),
                     Lpm29TableIs("lpm29"),      Lpm32TableIs("lpm32")};
}

inline std::vector<TarnSwitchApi::SwTable*> routeTableList(const TarnSwitchTable::RouteTables& t) {
  return {t.lpm11.ptr(), t.lpm14.ptr(), t.lpm17.ptr(), t.lpm20.ptr(),
          t.lpm23.ptr(), t.lpm26.ptr(), t.lpm29.ptr(), t.lpm32.ptr()};
}

inline void startRouteTables(const TarnSwitchTable::RouteTables& t,
                             const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip,
                             TarnSwitchApi::StartMode mode) {
  for (auto* table : routeTableList(t)) TarnSwitchApi::startSwTable(*table, chip, mode);
}

// The agent restarts: new tables on the same chip, with the software entries of `old` restored
// first when `keep`, started cold or warm; the programmer keeps its routes and is bound to the
// new tables, which it makes equal to them. Returns the new tables.
inline TarnSwitchTable::RouteTables restartRouteTables(
    const TarnSwitchTable::RouteTables& old, TarnSwitchTable::RouteProgrammer& routes,
    const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip, TarnSwitchApi::StartMode mode,
    bool keep) {
  TarnSwitchTable::RouteTables next = freshRouteTables();
  const auto from = routeTableList(old), to = routeTableList(next);
  for (std::size_t i = 0; keep && i < from.size(); ++i) {
    auto& into = dynamic_cast<TarnSwitchTable::EntryAccess&>(*to[i]);
    dynamic_cast<const TarnSwitchTable::EntryAccess&>(*from[i]).entryForEach(
        [&](const void* k, const void* r) { into.entryCopyIs(k, r); });
  }
  startRouteTables(next, chip, mode);
  routes.tablesIs(next);
  return next;
}

}  // namespace TarnTest
