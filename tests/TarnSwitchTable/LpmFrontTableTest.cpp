// LPM front table: results and status records per route key, observed through notifications;
// no hardware.
#include <gtest/gtest.h>

#include <vector>

#include "TarnSwitchTable/TarnTableLpm.h"
#include "support/Chip.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using TarnSwitch::LpmKey;

const LpmKey routeA(1, Lanx::Prefix(Lanx::Ip4Addr(0x0A000000u), 8));
const LpmKey routeB(0, Lanx::Prefix(Lanx::Ip4Addr(0xC0A80100u), 24));

LpmResult trapped() {
  LpmResult r;
  r.cpuTrap = true;
  return r;
}

TEST(LpmTable, EntriesNotifyOnlyOnChange) {
  auto t = LpmTableIs("lpm");
  std::vector<LpmKey> heard;
  t->entryObserverIs([&](const LpmKey& k) { heard.push_back(k); });
  t->entryIs(routeA, trapped());
  t->entryIs(routeA, trapped());  // equal: no notification
  EXPECT_EQ(t->entryDel(routeB), LpmResult()) << "absent: four default cells, no trap";
  t->entryIs(routeB, LpmResult());
  EXPECT_EQ(t->entryDel(routeA), trapped());
  t->entryDelAll();
  EXPECT_EQ(heard, (std::vector<LpmKey>{routeA, routeB, routeA, routeB}));
  EXPECT_TRUE(t->entry().map().empty());
  EXPECT_TRUE(t->entryStatus().map().empty()) << "entries create no status";
}

TEST(LpmTable, StatusIsCreatedOnceAndOutlivesItsRemoval) {
  auto t = lpmTableFactory("lpm");
  unsigned heard = 0;
  t->entryStatusObserverIs([&](const LpmKey&) { ++heard; });
  Fen::Ptr<LpmStatus> s = t->entryStatusIs(routeA);
  EXPECT_EQ(s->key(), routeA);
  EXPECT_EQ(s->result(), LpmResult());
  EXPECT_EQ(s->lastHit(), 0.0);
  EXPECT_EQ(s->lastPolled(), 0.0);
  EXPECT_EQ(s->state(), 0);
  s->lastHitIs(12.5);
  EXPECT_EQ(t->entryStatusIs(routeA).ptr(), s.ptr()) << "the same object";
  EXPECT_EQ(heard, 1u);
  t->entryIs(routeA, trapped());
  EXPECT_EQ(t->entryStatusDel(routeA).ptr(), s.ptr());
  EXPECT_EQ(t->entryStatusDel(routeA), nullptr);
  EXPECT_EQ(heard, 2u);
  EXPECT_EQ(s->lastHit(), 12.5) << "held beyond its removal";
  EXPECT_EQ(t->entry().map().size(), 1u) << "the entry stays";
  t->entryStatusIs(routeA);
  t->entryStatusIs(routeB);
  t->entryStatusDelAll();
  EXPECT_EQ(heard, 6u);
}

TEST(LpmTable, ConnectingToAChipWritesNothing) {
  ChipPtr chip = makeChip();
  auto s = startTable(LpmTableIs("lpm"), chip, StartMode::cold);
  EXPECT_EQ(s.writes, 0u);
  EXPECT_EQ(s.table->profileConvertorPtr(), nullptr);
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { s.table->decodeRowText(0, 0); }),
            "lpm has no hardware rows");
}

}  // namespace
}  // namespace TarnTest
