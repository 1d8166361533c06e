// The engines' behavioural suites on the test tables: the direct suite on copies that are not
// mirrors (ingress copies that each hold their own pipeline's ports as two words, two CPU copies
// of every port as one narrower word compared alone); the Layer-2 suite on ingress copies that
// partition the ports and are compared on their first word, beside a narrower CPU copy; the
// hashed suite on two geometries (one with mirrored copies). Then the HwIndex of a location with
// 13 hash bits, and the geometries the hashed engine refuses.
#include <gtest/gtest.h>

#include <string>

#include "DirectTableSuite.h"
#include "Fen/Exception.h"
#include "HashTableSuite.h"
#include "Layer2TableSuite.h"
#include "support/TestTables.h"

namespace TarnTest {
namespace {

struct TestPortTraits {
  using Table = TestPortTable;
  static Fen::Ptr<TestPortTable> makeTable() { return Fen::makePtr<TestPortTable>("ports"); }
  static std::string profile() { return "default"; }
  static std::vector<TestPortKey> sampleKeys() {
    return {TestPortKey(0), TestPortKey(13), TestPortKey(47), TestPortKey(24)};
  }
  static std::vector<TestPortKey> outsideKeys() { return {TestPortKey(48), TestPortKey(63)}; }
  static TestPortResult result(unsigned n) { return TestPortResult(0x100 + n, n % 2 == 1); }
};

struct TestGroupTraits {
  using Table = TestGroupTable;
  static Fen::Ptr<TestGroupTable> makeTable() { return Fen::makePtr<TestGroupTable>("groups"); }
  static std::string profile() { return "default"; }
  static TestPortKey key(unsigned n) { return TestPortKey(U16(5 + 14 * n)); }
  static TestGroupResult result(const TestPortKey&, unsigned n) {
    return TestGroupResult(0x100 + n);
  }
};

template <class Geometry>
struct HashTraits {
  using Table = typename Geometry::Table;
  static Fen::Ptr<Table> makeTable() { return Fen::makePtr<Table>("testhash"); }
  static std::string profile() { return "default"; }
  static TestHashKey key(unsigned n) { return TestHashKey(0x1000 + 7 * n); }
  static TestHashResult result(unsigned n) { return TestHashResult(0xA0000 + n); }
};
using Geometries = ::testing::Types<HashTraits<TestHash<2, 4, 2>>, HashTraits<TestHash<4, 3, 1>>>;

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Copies, DirectTableSuite, ::testing::Types<TestPortTraits>);
INSTANTIATE_TYPED_TEST_SUITE_P(Groups, Layer2TableSuite, ::testing::Types<TestGroupTraits>);
INSTANTIATE_TYPED_TEST_SUITE_P(TestHash, HashTableSuite, Geometries);

namespace {

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
