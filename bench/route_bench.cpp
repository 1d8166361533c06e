// The route programmer on the 'default' chip: random routes of a realistic length mix (70 % /24,
// 20 % /8../23, 10 % /25../32, and a default route) in routing instances 0..3 are added
// until the first "route table full" refusal; then, round after round, a random 10 % of them are
// deleted and added again.
// Prints the route changes per second of each phase, the routes installed at the refusal, the
// rows written per route change in each copy (cuckoo moves included), whether the refused table
// was truly full (a maximum matching of its keys and the refused one to its locations), and the
// time and rows of warm restarts afterwards.
//
//   route_bench [SEED] [ROUNDS]     (ROUNDS of delete and re-add, 20 by default)
//
// The fill is run 8 times on fresh tables; its time is the median of the last 7 (the first is
// printed apart).
// Last line: "route-bench: changes_per_s=<min of the phases> rows_per_change=<max> exact=<0|1>".
// Exits 1 when a refusal came while a placement of every key existed.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "TarnSwitch/ChipProfile.h"
#include "support/MaxMatching.h"
#include "support/RouteTables.h"

namespace {

using namespace TarnSwitchTable;
using Clock = std::chrono::steady_clock;

struct Route {
  U8 vrfId;
  Lanx::Prefix prefix;
  EntryCellResult cell;
};

U8 length(std::mt19937& rng) {
  const unsigned p = rng() % 1000;
  if (p < 700) return 24;
  if (p < 900) return U8(8 + rng() % 16);
  return U8(25 + rng() % 8);
}

Route randomRoute(std::mt19937& rng) {
  const U8 len = length(rng);
  const U32 address = len == 0 ? 0 : U32(rng()) & (~0u << (32 - len));
  const TarnSwitch::NexthopIndexes hop(U8(rng() % 56), TarnSwitch::rewriteTypeLag, 0);
  return Route{U8(rng() % 4), Lanx::Prefix(Lanx::Ip4Addr(address), len),
               EntryCellResult(hop, maskLengthNull)};
}

// Whether no placement holds every key of the table and `extra`: the cuckoo engine's locations
// are way << hashBits | bucket, the candidates of a key its bucket in each way.
template <class T>
bool trulyFull(const T& table, const TarnSwitch::LpmKey& extra) {
  using L = typename T::Layout;
  std::vector<std::vector<unsigned>> candidates;
  auto add = [&](const TarnSwitch::LpmKey& k) {
    std::vector<unsigned> c;
    for (unsigned w = 0; w < L::hashWays; ++w) c.push_back(w << L::hashBits | L::bucket(k, U8(w)));
    candidates.push_back(c);
  };
  table.entry().forEach([&](const TarnSwitch::LpmKey& k, const LpmResult&) { add(k); });
  add(extra);
  return TarnTest::maxMatching(candidates, L::hashWays << L::hashBits) < candidates.size();
}

// The refused route's stride entry, checked against its table.
bool refusalExact(const RouteTables& t, const Route& r) {
  const U8 len = r.prefix.len();
  const U8 base = U8(12 + (len - 12) / 3 * 3);
  const U32 address = r.prefix.address().value() & (~0u << (32 - base));
  const TarnSwitch::LpmKey key(r.vrfId, Lanx::Prefix(Lanx::Ip4Addr(address), base));
  switch (base) {
    case 12:
      return trulyFull(*t.lpm14, key);
    case 15:
      return trulyFull(*t.lpm17, key);
    case 18:
      return trulyFull(*t.lpm20, key);
    case 21:
      return trulyFull(*t.lpm23, key);
    case 24:
      return trulyFull(*t.lpm26, key);
    case 27:
      return trulyFull(*t.lpm29, key);
    default:
      return trulyFull(*t.lpm32, key);
  }
}

struct Phase {
  const char* name;
  std::size_t changes = 0;
  double seconds = 0;
  Fen::U64 rows = 0;
};

void print(const Phase& p, unsigned copies) {
  std::printf("%-8s %8zu changes %9.0f changes/s %6.3f rows per change per copy\n", p.name,
              p.changes, p.changes / p.seconds, double(p.rows) / copies / p.changes);
}

// Fresh tables on a fresh 'default' chip, started cold, and their programmer.
struct Setup {
  Fen::Ptr<TarnSwitchApi::HwTableCollection> chip =
      Fen::makePtr<TarnSwitchApi::HwTableCollection>(*TarnSwitch::builtinProfile("default"));
  RouteTables tables = TarnTest::freshRouteTables();
  std::unique_ptr<RouteProgrammer> routes;
  std::string refusal;
  Setup() {
    TarnTest::startRouteTables(tables, chip, TarnSwitchApi::StartMode::cold);
    routes = std::make_unique<RouteProgrammer>(tables);
  }
};

// Adds the routes in order until the first refusal (its index; pending.size() when none).
std::size_t fillUntilRefused(Setup& s, const std::vector<Route>& pending, Phase& fill) {
  const Fen::U64 rows = s.chip->writeCount();
  const auto start = Clock::now();
  std::size_t refused = pending.size();
  for (std::size_t i = 0; i < pending.size(); ++i) {
    try {
      s.routes->routeIs(pending[i].vrfId, pending[i].prefix, pending[i].cell);
    } catch (const RouteTableFullException& e) {
      refused = i;
      s.refusal = e.what();
      break;
    }
  }
  fill.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  fill.changes = refused;
  fill.rows = s.chip->writeCount() - rows;
  return refused;
}

}  // namespace

int main(int argc, char** argv) {
  const unsigned seed = argc > 1 ? unsigned(std::atoi(argv[1])) : 1;
  const unsigned rounds = argc > 2 ? unsigned(std::atoi(argv[2])) : 20;
  std::mt19937 rng(seed);

  std::vector<Route> pending(200000);
  pending[0] = Route{0, Lanx::Prefix(), randomRoute(rng).cell};  // the default route
  for (std::size_t i = 1; i < pending.size(); ++i) pending[i] = randomRoute(rng);

  // Fill until the first refusal, on fresh tables each time: a fill takes a few milliseconds,
  // so its time is the median of several. The process's first fill is printed apart and left
  // out: it also pays for the allocator's first pages and a processor not yet up to speed.
  constexpr unsigned fills = 7;
  std::vector<double> fillSeconds;
  std::unique_ptr<Setup> setup;
  Phase fill{"fill"};
  std::size_t refused = 0;
  for (unsigned f = 0; f <= fills; ++f) {
    setup = std::make_unique<Setup>();
    refused = fillUntilRefused(*setup, pending, fill);
    if (f == 0) {
      std::printf("first fill of the process: %.0f changes/s (not counted)\n",
                  fill.changes / fill.seconds);
    } else {
      fillSeconds.push_back(fill.seconds);
    }
  }
  std::sort(fillSeconds.begin(), fillSeconds.end());
  fill.seconds = fillSeconds[fills / 2];
  const auto& chip = setup->chip;
  RouteTables& tables = setup->tables;
  RouteProgrammer& routes = *setup->routes;
  const unsigned copies = tables.lpm11->profileConvertorPtr()->hwTableCount();
  if (refused < pending.size()) {
    std::printf("first refusal after %zu changes, %zu routes installed: %s\n", refused,
                routes.routeCount(), setup->refusal.c_str());
  }
  const bool exact = refused < pending.size() && refusalExact(tables, pending[refused]);
  Fen::U64 rows = 0;
  auto start = Clock::now();

  // Rounds of churn: a random 10 % of the installed routes deleted, then added again.
  std::vector<Route> installed;
  routes.routeForEach([&](U8 v, const Lanx::Prefix& p, const EntryCellResult& c) {
    installed.push_back(Route{v, p, c});
  });
  Phase del{"delete"}, readd{"re-add"};
  for (unsigned round = 0; round < rounds; ++round) {
    std::shuffle(installed.begin(), installed.end(), rng);
    const std::size_t tenth = installed.size() / 10;
    for (Phase* p : {&del, &readd}) {
      rows = chip->writeCount();
      start = Clock::now();
      for (std::size_t i = 0; i < tenth; ++i) {
        const Route& r = installed[i];
        if (p == &del) {
          routes.routeDel(r.vrfId, r.prefix);
        } else {
          routes.routeIs(r.vrfId, r.prefix, r.cell);
        }
      }
      p->seconds += std::chrono::duration<double>(Clock::now() - start).count();
      p->changes += tenth;
      p->rows += chip->writeCount() - rows;
    }
  }
  std::printf(
      "seed %u, %u copies per table, %zu routes, entries: lpm11 %zu lpm14 %zu lpm17 %zu "
      "lpm20 %zu lpm23 %zu lpm26 %zu lpm29 %zu lpm32 %zu\n",
      seed, copies, routes.routeCount(), tables.lpm11->entry().size(), tables.lpm14->entry().size(),
      tables.lpm17->entry().size(), tables.lpm20->entry().size(), tables.lpm23->entry().size(),
      tables.lpm26->entry().size(), tables.lpm29->entry().size(), tables.lpm32->entry().size());
  for (const Phase& p : {fill, del, readd}) print(p, copies);

  for (bool keep : {true, false}) {
    rows = chip->writeCount();
    start = Clock::now();
    tables =
        TarnTest::restartRouteTables(tables, routes, chip, TarnSwitchApi::StartMode::warm, keep);
    const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    std::printf("warm restart, software %s, routes reprogrammed: %.1f ms, %llu rows written\n",
                keep ? "kept" : "empty", ms,
                static_cast<unsigned long long>(chip->writeCount() - rows));
  }

  double rate = 1e18, perChange = 0;
  for (const Phase& p : {fill, del, readd}) {
    rate = std::min(rate, p.changes / p.seconds);
    perChange = std::max(perChange, double(p.rows) / copies / p.changes);
  }
  std::printf("route-bench: changes_per_s=%.0f rows_per_change=%.3f exact=%d\n", rate, perChange,
              exact ? 1 : 0);
  return exact ? 0 : 1;
}
