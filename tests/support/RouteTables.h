#pragma once
// The eight LPM tables a route programmer writes, built, started and restarted together on one
// simulated chip (tests and benchmarks).
#include <vector>

#include "TarnSwitchApi/SwTable.h"
#include "TarnSwitchTable/TarnRouteProgrammer.h"

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

template <class T>
void copyEntries(const T& from, T& to) {
  from.entry().forEach([&](const auto& k, const auto& r) { to.entryIs(k, r); });
}

// The agent restarts: new tables on the same chip, with the software entries of `old` restored
// first when `keep`, started cold or warm; the programmer keeps its routes and is bound to the
// new tables, which it makes equal to them. Returns the new tables.
inline TarnSwitchTable::RouteTables restartRouteTables(
    const TarnSwitchTable::RouteTables& old, TarnSwitchTable::RouteProgrammer& routes,
    const Fen::Ptr<TarnSwitchApi::HwTableCollection>& chip, TarnSwitchApi::StartMode mode,
    bool keep) {
  TarnSwitchTable::RouteTables next = freshRouteTables();
  if (keep) {
    copyEntries(*old.lpm11, *next.lpm11);
    copyEntries(*old.lpm14, *next.lpm14);
    copyEntries(*old.lpm17, *next.lpm17);
    copyEntries(*old.lpm20, *next.lpm20);
    copyEntries(*old.lpm23, *next.lpm23);
    copyEntries(*old.lpm26, *next.lpm26);
    copyEntries(*old.lpm29, *next.lpm29);
    copyEntries(*old.lpm32, *next.lpm32);
  }
  startRouteTables(next, chip, mode);
  routes.tablesIs(next);
  return next;
}

}  // namespace TarnTest
