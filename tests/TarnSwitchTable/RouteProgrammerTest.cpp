// The route programmer on a simulated 'default' chip: placement worked out by hand for the
// boundary lengths, longest-match takeover and re-exposure, refusals that change nothing, and a
// randomized route history checked against a plain longest-prefix match over the route list.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <tuple>
#include <vector>

#include "TarnSwitchTable/TarnRouteProgrammer.h"
#include "support/Chip.h"
#include "support/MaxMatching.h"
#include "support/RouteTables.h"

namespace {

using namespace TarnSwitchTable;
using Fen::U32;
using Fen::U64;
using Fen::U8;
using TarnTest::Restart;
using TarnTest::StartMode;

Lanx::Prefix prefix(const std::string& text) {
  return Fen::parseText<Lanx::Prefix>(text);
}
Lanx::Ip4Addr address(const std::string& text) {
  return Fen::parseText<Lanx::Ip4Addr>(text);
}
TarnSwitch::LpmKey key(U8 vrfId, const std::string& text) {
  return TarnSwitch::LpmKey(vrfId, prefix(text));
}
// A cell to L3 LAG `lag` (rewrite type 0), never the default cell for lag 0..55.
EntryCellResult lag(U8 lag) {
  return EntryCellResult(TarnSwitch::NexthopIndexes(lag, TarnSwitch::rewriteTypeLag, 0),
                         maskLengthNull);
}
constexpr U32 maskOf(U8 len) {
  return len == 0 ? 0 : ~0u << (32 - len);
}

// The base length of the table that answers for a route of length `len`: 11, or the stride
// table's base 12, 15, ..., 30.
U8 baseOf(U8 len) {
  return len < 12 ? 11 : U8(12 + (len - 12) / 3 * 3);
}

class RouteProgrammerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tables_ = TarnTest::freshRouteTables();
    TarnTest::startRouteTables(tables_, chip_, StartMode::cold);
    routes_ = std::make_unique<RouteProgrammer>(tables_);
  }
  // The agent restarts with new tables on the same chip (software restored first for
  // warmKeep); the programmer keeps its routes. Returns the rows written.
  U64 restart(Restart how) {
    const U64 before = writes();
    tables_ = TarnTest::restartRouteTables(tables_, *routes_, chip_,
                                           how == Restart::cold ? StartMode::cold : StartMode::warm,
                                           how == Restart::warmKeep);
    return writes() - before;
  }
  std::vector<TarnSwitchApi::SwTable*> all() const { return TarnTest::routeTableList(tables_); }

  // Calls f(convertor, copy id, hardware table, row) for every row of every copy of every table.
  template <class F>
  void forEachRow(F&& f) const {
    for (auto* t : all()) {
      auto& conv = *t->profileConvertorPtr();
      for (TarnSwitchApi::HwTableId id = 0; id < conv.hwTableCount(); ++id) {
        const auto* hw = conv.hwTable(id);
        for (U64 i = hw->lower(); i <= hw->upper(); ++i)
          f(conv, id, *hw, TarnSwitchApi::HwIndex(i));
      }
    }
  }
  // Every row of every copy of every table holds what the library would write for software.
  ::testing::AssertionResult hardwareMatchesSoftware() const {
    std::string differs;
    forEachRow([&](auto& conv, auto id, const auto& hw, TarnSwitchApi::HwIndex i) {
      U32 want[TarnSwitchApi::hwEntryMaxWords];
      const unsigned n = conv.expectedHwRow(id, i, want);
      if (differs.empty() && TarnTest::rowWords(hw, i, n) != TarnTest::Words(want, want + n))
        differs = hw.name() + " row " + std::to_string(i) + " differs";
    });
    if (differs.empty()) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << differs;
  }
  std::size_t strideEntries() const {
    std::size_t n = 0;
    for (auto* t : all()) n += dynamic_cast<const EntryAccess&>(*t).entryCount();
    return n - tables_.lpm11->entry().size();
  }
  // The stride entry of `k` in the table of base `base` (12, 15, ..., 30), or nullptr.
  const LpmResult* strideEntry(U8 base, const TarnSwitch::LpmKey& k) const {
    const RouteTables& t = tables_;
    const LpmResult* found[] = {t.lpm14->entry(k), t.lpm17->entry(k), t.lpm20->entry(k),
                                t.lpm23->entry(k), t.lpm26->entry(k), t.lpm29->entry(k),
                                t.lpm32->entry(k)};
    return found[(base - 12) / 3];
  }
  U64 writes() const { return chip_->writeCount(); }
  // Every software entry (as text) and every word of every hardware row of the eight tables.
  std::pair<std::string, std::vector<U32>> state() const {
    std::pair<std::string, std::vector<U32>> out;
    for (auto* t : all()) {
      auto& access = dynamic_cast<EntryAccess&>(*t);
      access.entryForEach(
          [&](const void* k, const void* r) { out.first += access.entryStrep(k, r) + "\n"; });
    }
    forEachRow([&](auto&, auto, const auto& hw, TarnSwitchApi::HwIndex i) {
      for (U32 w : TarnTest::rowWords(hw, i, 6)) out.second.push_back(w);
    });
    return out;
  }
  TarnTest::ChipPtr chip_ = TarnTest::makeChip("default");
  RouteTables tables_;
  std::unique_ptr<RouteProgrammer> routes_;
};

// Placement worked out by hand: which entry a route of each boundary length lands in, which
// cells it covers, and the rows one route writes per copy (the 'default' chip has two L3
// processors, so two copies of every table).
TEST_F(RouteProgrammerTest, RoutesOfBoundaryLengthsLandInTheirEntryAndCells) {
  struct Case {
    U8 vrfId;
    const char* route;
    U8 base;          // table that holds it: 11 or the stride base
    const char* key;  // the entry (stride) or one of the /11 keys
    U8 cells;         // stride cells holding the route, bit c for cell c
    std::size_t lpm11Keys;
    U64 rowsPerCopy;
  };
  const Case cases[] = {
      {2, "0.0.0.0/0", 11, "128.0.0.0/11", 0, 2048, 2048},
      {0, "10.0.0.0/8", 11, "10.224.0.0/11", 0, 8, 8},
      {0, "10.32.0.0/11", 11, "10.32.0.0/11", 0, 1, 1},
      {0, "10.16.0.0/12", 12, "10.16.0.0/12", 0xF, 0, 1},
      {0, "10.12.0.0/14", 12, "10.0.0.0/12", 0x8, 0, 1},  // 10.12: bits 19..18 after /12 = 11
      {1, "10.4.0.0/14", 12, "10.0.0.0/12", 0x2, 0, 1},   // 01
      {0, "10.2.0.0/15", 15, "10.2.0.0/15", 0xF, 0, 1},
      {0, "10.1.0.0/16", 15, "10.0.0.0/15", 0xC, 0, 1},  // bit 16 set: cells 2 and 3
      {0, "10.1.2.128/25", 24, "10.1.2.0/24", 0xC, 0, 1},
      {3, "10.1.2.64/26", 24, "10.1.2.0/24", 0x2, 0, 1},
      {0, "10.1.2.3/32", 30, "10.1.2.0/30", 0x8, 0, 1},
      {0, "10.1.2.4/32", 30, "10.1.2.4/30", 0x1, 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.route);
    SetUp();
    const U64 before = writes();
    routes_->routeIs(c.vrfId, prefix(c.route), lag(7));
    EXPECT_EQ(writes() - before, 2 * c.rowsPerCopy);
    EXPECT_EQ(tables_.lpm11->entry().size(), c.lpm11Keys);
    EXPECT_EQ(strideEntries(), c.base == 11 ? 0u : 1u);
    const TarnSwitch::LpmKey k = key(c.vrfId, c.key);
    if (c.base == 11) {
      ASSERT_NE(tables_.lpm11->entry(k), nullptr);
      EXPECT_EQ(tables_.lpm11->entry(k)->cellResult, lag(7));
      EXPECT_FALSE(tables_.lpm11->entry(k)->cpuTrap);
      continue;
    }
    const LpmResult* r = strideEntry(c.base, k);
    ASSERT_NE(r, nullptr);
    for (U8 cell = 0; cell < 4; ++cell)
      EXPECT_EQ(r->cellResult(cell), (c.cells >> cell & 1) ? lag(7) : EntryCellResult()) << +cell;
    EXPECT_FALSE(r->cpuTrap);
  }
}

// What does not change the tables writes nothing: the same route again, a deleted route
// deleted again (its result is the default cell), a route a longer one hides entirely. Deletes
// re-expose the shorter routes, and an entry left without routes is removed.
TEST_F(RouteProgrammerTest, ChangesThatLeaveEntriesAsTheyAreWriteNothingAndDeletesReexpose) {
  routes_->routeIs(0, prefix("10.1.2.0/26"), lag(1));
  routes_->routeIs(0, prefix("10.1.2.0/24"), lag(2));
  routes_->routeIs(0, prefix("10.0.0.0/11"), lag(3));
  const U64 before = writes();
  routes_->routeIs(0, prefix("10.1.2.0/26"), lag(1));
  EXPECT_EQ(routes_->routeDel(0, prefix("10.1.2.64/26")), EntryCellResult());
  routes_->routeIs(0, prefix("10.0.0.0/9"), lag(4));  // the /11 is longer where they overlap
  routes_->routeIs(0, prefix("10.1.2.0/25"), lag(5));
  routes_->routeDel(0, prefix("10.1.2.0/25"));
  EXPECT_EQ(routes_->lookup(0, address("10.100.0.1")).cell, lag(4));
  // Only the /9 wrote: its three /11 keys beside the /11 route, and the /25 twice, both times
  // over cell 1 only; the rest wrote nothing.
  EXPECT_EQ(writes() - before, 2u * (3 + 2));
  EXPECT_EQ(routes_->routeCount(), 4u);
  // (Which entry and cell answer each address is the randomized history's check.)
  EXPECT_EQ(routes_->routeDel(0, prefix("10.1.2.0/26")), lag(1));
  EXPECT_EQ(routes_->lookup(0, address("10.1.2.5")).cell, lag(2));
  routes_->routeDel(0, prefix("10.1.2.0/24"));
  EXPECT_EQ(tables_.lpm26->entry().size(), 0u);
  EXPECT_EQ(routes_->lookup(0, address("10.1.2.5")).cell, lag(3));
  EXPECT_TRUE(hardwareMatchesSoftware());
}

// Refused routes raise their message and change nothing: no route, entry or row. (An added
// route's instance above 3 is tarnctl's route case.)
TEST_F(RouteProgrammerTest, RefusedRoutesChangeNothing) {
  routes_->routeIs(0, prefix("10.1.2.0/24"), lag(1));
  const EntryCellResult flood(
      TarnSwitch::NexthopIndexes(TarnSwitch::l3LagIndexNull, TarnSwitch::rewriteTypeFlood, 4),
      maskLengthNull);
  const EntryCellResult arpWithLag(TarnSwitch::NexthopIndexes(3, TarnSwitch::rewriteTypeArp, 4),
                                   maskLengthNull);
  struct Case {
    U8 vrfId;
    const char* route;
    EntryCellResult cell;
    std::string message;
  };
  const Case cases[] = {
      {0, "10.1.2.0/24", EntryCellResult(),  // not a delete: the route keeps its cell
       "route refused: vrfId 0 10.1.2.0/24: its cell is the default cell, which means no route"},
      {0, "10.0.0.0/8", flood,
       "route refused: vrfId 0 10.0.0.0/8: next hop " + flood.nexthopIndexes.toStrep() +
           " cannot be encoded (rewrite type 0, or 1 without an L3 LAG)"},
      {1, "10.1.2.0/25", arpWithLag,
       "route refused: vrfId 1 10.1.2.0/25: next hop " + arpWithLag.nexthopIndexes.toStrep() +
           " cannot be encoded (rewrite type 0, or 1 without an L3 LAG)"},
  };
  const U64 before = writes();
  for (const Case& c : cases) {
    EXPECT_EQ(TarnTest::thrownMessage<Fen::Exception>(
                  [&] { routes_->routeIs(c.vrfId, prefix(c.route), c.cell); }),
              c.message);
  }
  EXPECT_EQ(TarnTest::thrownMessage<Fen::RangeException>(
                [&] { routes_->routeDel(4, prefix("10.0.0.0/8")); }),
            "TarnSwitchTable::RouteProgrammer::vrfId > 3 not allowed");
  EXPECT_EQ(writes(), before);
  EXPECT_EQ(routes_->routeCount(), 1u);
  EXPECT_EQ(*routes_->route(0, prefix("10.1.2.0/24")), lag(1));
}

// A route that needs a new entry in a full stride table is refused with a clear message and
// changes nothing; routes that need no new entry there still go in.
TEST_F(RouteProgrammerTest, FullStrideTableRefusesOnlyRoutesNeedingANewEntry) {
  // /12 routes in every routing instance until Lpm14 (2 x 1024 locations) refuses one.
  std::string refused;
  U32 n = 0;
  for (; n < 4 * 4096 && refused.empty(); ++n) {
    const U8 vrfId = U8(n % 4);
    const Lanx::Prefix p(Lanx::Ip4Addr((n / 4) << 20), 12);
    const U64 before = writes();
    const std::size_t entries = tables_.lpm14->entry().size();
    try {
      routes_->routeIs(vrfId, p, lag(U8(n % 50)));
    } catch (const RouteTableFullException& e) {
      refused = e.what();
      EXPECT_EQ(refused, "route table full: vrfId " + std::to_string(vrfId) + " " +
                             Fen::printText(p) + " needs a new entry " + Fen::printText(p) +
                             " in TarnSwitchTable::Lpm14Table, and no placement of its entries "
                             "holds it; nothing changed");
      EXPECT_EQ(writes(), before);
      EXPECT_EQ(tables_.lpm14->entry().size(), entries);
      EXPECT_EQ(routes_->route(vrfId, p), nullptr);
      EXPECT_FALSE(routes_->lookup(vrfId, p.address()).routed());
    }
  }
  ASSERT_FALSE(refused.empty());
  EXPECT_EQ(routes_->routeCount(), n - 1);
  // Refused only when full: no placement holds the entries and the refused one together (the
  // locations of a key are its bucket in each of the two ways).
  using Layout = Lpm14Table::Layout;
  std::vector<std::vector<unsigned>> candidates;
  auto add = [&](const TarnSwitch::LpmKey& k) {
    candidates.push_back({Layout::bucket(k, 0), Layout::hashBuckets | Layout::bucket(k, 1)});
  };
  tables_.lpm14->entry().forEach([&](const auto& k, const auto&) { add(k); });
  const U32 last = n - 1;
  add(TarnSwitch::LpmKey(U8(last % 4), Lanx::Prefix(Lanx::Ip4Addr((last / 4) << 20), 12)));
  EXPECT_EQ(TarnTest::maxMatching(candidates, 2 * Layout::hashBuckets), candidates.size() - 1);
  // A /14 inside a held entry, a /11 route and a /24 elsewhere need no new Lpm14 entry.
  routes_->routeIs(0, prefix("0.12.0.0/14"), lag(55));
  routes_->routeIs(0, prefix("0.32.0.0/11"), lag(54));
  routes_->routeIs(0, prefix("10.1.2.0/24"), lag(53));
  EXPECT_EQ(routes_->lookup(0, address("0.13.0.1")).cell, lag(55));
  EXPECT_EQ(routes_->routeCount(), n + 2);
  EXPECT_TRUE(hardwareMatchesSoftware());
}

// Every table must be given.
TEST(RouteProgrammerDeathTest, AMissingTableStopsTheProcess) {
  RouteTables t = TarnTest::freshRouteTables();
  t.lpm26 = nullptr;
  EXPECT_DEATH(RouteProgrammer{t}, "Assertion `table'");
  t.lpm11 = nullptr;
  EXPECT_DEATH(RouteProgrammer{t}, "Assertion `t.lpm11'");
}

// --- Randomized route history against a plain longest-prefix match ---------------------------

// A route: its routing instance, length and address.
using RouteId = std::tuple<U8, U8, U32>;

// The reference: the route list, and for an address the longest route containing it. What a
// lookup must report: the route's cell, the table of its length, the entry that holds it (the
// address cut to that table's base) and the cell of the two bits after the base.
RouteLookup expectedLookup(const std::map<RouteId, EntryCellResult>& routes, U8 vrfId, U32 a) {
  RouteLookup out;
  int best = -1;
  for (const auto& [id, cell] : routes) {
    const auto [v, len, addr] = id;
    if (v != vrfId || (a & maskOf(len)) != addr || len <= best) continue;
    best = len;
    out.cell = cell;
  }
  out.baseLen = best < 0 ? 11 : baseOf(U8(best));
  out.key =
      TarnSwitch::LpmKey(vrfId, Lanx::Prefix(Lanx::Ip4Addr(a & maskOf(out.baseLen)), out.baseLen));
  out.cellIndex = out.baseLen == 11 ? 0 : U8((a >> (30 - out.baseLen)) & 3);
  return out;
}

// Routes of a realistic mix over four /16 regions, so that they overlap: mostly /24, some
// /8../23, a few /25../32 and shorter ones, now and then the default route.
class RouteSource {
 public:
  explicit RouteSource(unsigned seed) : rng_(seed) {}
  U8 length() {
    const unsigned p = pick(1000);
    if (p < 600) return 24;
    if (p < 850) return U8(8 + pick(16));  // 8..23
    if (p < 950) return U8(25 + pick(8));  // 25..32
    if (p < 990) return U8(1 + pick(7));   // 1..7
    return 0;
  }
  U32 address() {
    static constexpr U32 regions[] = {0x0A000000, 0x0A010000, 0xAC100000, 0xC0A80000};
    return pick(20) == 0 ? U32(rng_()) : regions[pick(4)] | U32(rng_() & 0xFFFF);
  }
  U8 vrfId() { return U8(pick(10) == 0 ? 3 : pick(2)); }
  EntryCellResult cell() {
    const MaskLength acl = pick(4) == 0 ? MaskLength(pick(33)) : MaskLength(maskLengthNull);
    if (pick(3) == 0)
      return EntryCellResult(TarnSwitch::NexthopIndexes(TarnSwitch::l3LagIndexNull,
                                                        TarnSwitch::rewriteTypeArp, U8(pick(128))),
                             acl);
    return EntryCellResult(TarnSwitch::NexthopIndexes(U8(pick(56)), TarnSwitch::rewriteTypeLag, 0),
                           acl);
  }
  unsigned pick(unsigned n) { return unsigned(rng_() % n); }

 private:
  std::mt19937 rng_;
};

TEST_F(RouteProgrammerTest, RandomRouteHistoryMatchesALongestPrefixMatchOverTheRouteList) {
  const unsigned seed = std::getenv("TARN_ROUTE_SEED")
                            ? unsigned(std::atoi(std::getenv("TARN_ROUTE_SEED")))
                            : 20261123;
  SCOPED_TRACE("seed " + std::to_string(seed) +
               " (rerun with TARN_ROUTE_SEED=" + std::to_string(seed) + ")");
  RouteSource src(seed);
  std::map<RouteId, EntryCellResult> ref;
  auto agrees = [&](U8 vrfId, U32 a) -> ::testing::AssertionResult {
    const RouteLookup got = routes_->lookup(vrfId, Lanx::Ip4Addr(a));
    const RouteLookup want = expectedLookup(ref, vrfId, a);
    if (got.cell == want.cell && got.baseLen == want.baseLen && got.key == want.key &&
        got.cellIndex == want.cellIndex)
      return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "vrfId " << +vrfId << " " << Fen::printText(Lanx::Ip4Addr(a)) << ": got " << got.cell
           << " from base " << +got.baseLen << " " << got.key << " cell " << +got.cellIndex
           << ", the longest match gives " << want.cell << " from base " << +want.baseLen << " "
           << want.key << " cell " << +want.cellIndex;
  };
  // The first and last address of a prefix, and the addresses just outside it.
  auto boundaries = [](U32 addr, U8 len) {
    const U32 last = addr | ~maskOf(len);
    return std::array<U32, 4>{addr, last, addr - 1, last + 1};
  };
  const unsigned steps = 10000;
  for (unsigned step = 1; step <= steps; ++step) {
    SCOPED_TRACE("step " + std::to_string(step));
    U8 vrfId, len;
    U32 addr;
    const std::size_t alive = ref.size();
    const bool add = alive == 0 || src.pick(100) < (alive < 300 ? 65u : 45u);
    if (add || src.pick(20) == 0) {  // a new route, a replaced one or a delete of an absent one
      vrfId = src.vrfId();
      len = src.length();
      addr = src.address() & maskOf(len);
    } else {
      std::tie(vrfId, len, addr) = std::next(ref.begin(), long(src.pick(unsigned(alive))))->first;
    }
    const Lanx::Prefix p(Lanx::Ip4Addr(addr), len);
    const auto held = ref.find({vrfId, len, addr});
    if (add) {
      const EntryCellResult cell = src.cell();
      routes_->routeIs(vrfId, p, cell);
      ref[{vrfId, len, addr}] = cell;
    } else {
      ASSERT_EQ(routes_->routeDel(vrfId, p), held != ref.end() ? held->second : EntryCellResult());
      if (held != ref.end()) ref.erase(held);
    }
    ASSERT_EQ(routes_->routeCount(), ref.size());
    // The boundaries of the changed route and of every route it overlaps: where answers move.
    for (U32 a : boundaries(addr, len)) ASSERT_TRUE(agrees(vrfId, a));
    for (const auto& [id, cell] : ref) {
      const auto [v, l, a] = id;
      const U32 common = maskOf(std::min(l, len));
      if (v != vrfId || (a & common) != (addr & common)) continue;
      for (U32 b : boundaries(a, l)) ASSERT_TRUE(agrees(v, b));
    }
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(agrees(src.vrfId(), src.address()));
    if (step % 5000) continue;
    for (const auto& [id, cell] : ref) {
      for (U32 a : boundaries(std::get<2>(id), std::get<1>(id)))
        ASSERT_TRUE(agrees(std::get<0>(id), a));
    }
    ASSERT_TRUE(hardwareMatchesSoftware());
    // Restarts change nothing: software restored, nothing is written; software empty, the
    // tables adopt what hardware holds and the routes bring back what hardware does not keep
    // (aclInfo), so every entry and row ends as it was.
    const auto before = state();
    if (step % 10000) {
      ASSERT_EQ(restart(Restart::warmKeep), 0u) << "a warm restart over matching hardware wrote";
    } else {
      restart(Restart::warm);
    }
    ASSERT_TRUE(state() == before) << "a warm restart changed an entry or a row";
  }
}

}  // namespace
