// The hashed engine on a small test table: the behavioural suite on two geometries (one with
// mirrored copies), the HwIndex of a location with 13 hash bits, and the geometries refused.
#include <gtest/gtest.h>

#include <string>

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

// Eleven ways fail at way 10; a bucket of two entries would put two on one row.
TEST(HashBaseTest, GeometriesBeyondTheHardwareAreRefused) {
  const auto start = [](auto table) { startTable(table, makeChip(), StartMode::cold); };
  EXPECT_EQ(thrownMessage<Fen::RangeException>(
                [&] { start(Fen::makePtr<TestHash<11, 2, 1>::Table>("t")); }),
            "Keel::Cuckoo::TableId::value < Keel::Cuckoo::TableId::min or > "
            "Keel::Cuckoo::TableId::null not allowed");
  EXPECT_EQ(thrownMessage<Fen::RangeException>(
                [&] { start(Fen::makePtr<TestHash<2, 4, 1, 2>::Table>("t")); }),
            "TarnSwitchTable::HashBaseConvertor::hashEntries 2 not allowed: a hardware row holds "
            "one entry of a bucket");
}

}  // namespace
}  // namespace TarnTest
