// The hashed engine on a small test table: the behavioural suite on two geometries (one with
// mirrored copies), the HwIndex of a location with 13 hash bits, the order of the writes of an
// insert that moves residents, and the geometries refused.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "Fen/Exception.h"
#include "HashTableSuite.h"
#include "TarnSwitchTable/TarnTableHashBase.h"
#include "support/Chip.h"
#include "support/TestTables.h"

namespace TarnTest {
namespace {

template <class Geometry>
struct Traits {
  using Table = typename Geometry::Table;
  static Fen::Ptr<Table> makeTable() { return Fen::makePtr<Table>("testhash"); }
  static std::string profile() { return "default"; }
  static TestHashKey key(unsigned n) { return TestHashKey(0x1000 + 7 * n); }
  static TestHashResult result(unsigned n) { return TestHashResult(0xA0000 + n); }
};
using Small = Traits<TestHash<2, 4, 2>>;
using Wide = Traits<TestHash<4, 3, 1>>;
using Geometries = ::testing::Types<Small, Wide>;
INSTANTIATE_TYPED_TEST_SUITE_P(TestHash, HashTableSuite, Geometries);

TEST(HashBaseTest, LocationOfWayTwoBucketFiveIs16389With13Bits) {
  using Big = TestHash<3, 13, 1>;
  auto s = startTable(Fen::makePtr<Big::Table>("big"), makeChip(), StartMode::cold);
  auto& conv = *s.table->profileConvertor();
  EXPECT_EQ(conv.hwIndex(TarnSwitchTable::CuckooLocation(2, 5)), 16389u);
  EXPECT_EQ(conv.cuckooLocation(16389), TarnSwitchTable::CuckooLocation(2, 5));
  EXPECT_EQ(s.table->cuckooHashTableConfig()->name(), "TarnHashBase");
}

// Keys are added until one insert moves residents. Its writes to copy 0 come in the cuckoo
// engine's order: each moved key is written at its new location, and the location it left is the
// target of the next write, so the chain walks back from the free end to the new key, whose
// location is written last. Every command is acknowledged.
TEST(HashBaseTest, WritesOfAnInsertFollowTheQueue) {
  using G = TestHash<2, 4, 1>;
  auto s = startTable(Fen::makePtr<G::Table>("t"), makeChip(), StartMode::cold);
  auto& table = *s.table;
  auto& conv = *table.profileConvertor();
  std::vector<std::pair<TarnSwitchApi::HwIndex, Fen::U32>> writes;  // index, key written
  conv.hwTable(0)->writeObserverIs(
      [&](const TarnSwitchApi::HwTableConfig&, const TarnSwitchApi::HwEntryConfig& row) {
        writes.emplace_back(row.index(), row.dataArray()[0]);
      });
  auto where = [&](Fen::U32 id) {
    TarnSwitchTable::CuckooLocation at;
    EXPECT_TRUE(table.cuckooHashTable()->lookupItem(
        Fen::PtrConst<Keel::Cuckoo::HashItem>(table.ownItem(TestHashKey(id))), &at))
        << id;
    return conv.hwIndex(at);
  };
  std::map<Fen::U32, TarnSwitchApi::HwIndex> before;
  Fen::U32 id = 1;
  for (; table.cuckooHashTable()->moveCount() == 0; ++id) {
    ASSERT_TRUE(table.entryInsertable(TestHashKey(id)));
    before.clear();
    for (Fen::U32 k = 1; k < id; ++k) before[k] = where(k);
    writes.clear();
    table.entryIs(TestHashKey(id), TestHashResult(id));
  }
  const auto moves = table.cuckooHashTable()->moveCount();
  ASSERT_EQ(writes.size(), moves + 1);
  EXPECT_EQ(writes.back().second, id - 1);
  for (std::size_t i = 0; i + 1 < writes.size(); ++i) {
    EXPECT_EQ(where(writes[i].second), writes[i].first);
    EXPECT_EQ(before.at(writes[i].second), writes[i + 1].first) << "write " << i;
  }
  EXPECT_EQ(table.cuckooHashTableConfig()->cmdReadCompleted(),
            table.cuckooHashTable()->itemCount() + moves);
  EXPECT_EQ(table.cuckooHashTableStatus()->cmdCount(), 0u);
}

TEST(HashBaseTest, ElevenWaysFailAtWayTen) {
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] {
              startTable(Fen::makePtr<TestHash<11, 2, 1>::Table>("t"), makeChip(), StartMode::cold);
            }),
            "Keel::Cuckoo::TableId::value < Keel::Cuckoo::TableId::min or > "
            "Keel::Cuckoo::TableId::null not allowed");
}

TEST(HashBaseTest, BucketsOfMoreThanOneEntryAreRefused) {
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] {
              startTable(Fen::makePtr<TestHash<2, 4, 1, 2>::Table>("t"), makeChip(),
                         StartMode::cold);
            }),
            "TarnSwitchTable::HashBaseConvertor::hashEntries 2 not allowed: a hardware row holds "
            "one entry of a bucket");
}

}  // namespace
}  // namespace TarnTest
