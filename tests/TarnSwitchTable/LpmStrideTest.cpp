// LPM stride tables: the hashed-table suite for all seven members on both built-in profiles,
// then what the suite cannot know: buckets and rows worked by hand from the CRC definition and
// the row layout (the 41-bit key of the /29 member included), registers and copies, the refused
// and faulty keys, and the capacity query against a full table.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HashTableSuite.h"
#include "TarnSwitchTable/TarnTableLpmTables.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using TarnSwitch::LpmKey;
using TarnSwitch::NexthopIndexes;

LpmKey prefix(U8 vrf, U32 address, U8 len) {
  return LpmKey(vrf, Lanx::Prefix(Lanx::Ip4Addr(address), len));
}

template <class T, bool Legacy>
struct StrideTraits {
  using Table = T;
  static constexpr U8 len = U8(T::Layout::Entry::ipv4DipShift);
  static Fen::Ptr<T> makeTable() { return Fen::makePtr<T>("lpm"); }
  static std::string profile() { return Legacy ? "legacy" : "default"; }
  // Routing instances 0..3 in turn, then the next base-length block.
  static LpmKey key(unsigned n) {
    return prefix(U8(n % 4), (n / 4) << (T::Layout::Entry::ipv4DipShift), U8(32 - len));
  }
  // Distinct per n, each cell reading back as itself: LAG, rewrite and null cells, traps.
  static LpmResult result(unsigned n) {
    LpmResult r;
    r.cellResultIs(0, EntryCellResult(NexthopIndexes(n % 56, 0, U8(n % 64)), maskLengthNull));
    r.cellResultIs(2, EntryCellResult(NexthopIndexes(57, 1, U8(n % 128)), maskLengthNull));
    r.cellResultIs(3, EntryCellResult(NexthopIndexes((n + 9) % 56, 0, 0), maskLengthNull));
    r.cpuTrap = n % 2 == 1;
    return r;
  }
};

template <bool Legacy>
using Members = ::testing::Types<StrideTraits<Lpm14Table, Legacy>, StrideTraits<Lpm17Table, Legacy>,
                                 StrideTraits<Lpm20Table, Legacy>, StrideTraits<Lpm23Table, Legacy>,
                                 StrideTraits<Lpm26Table, Legacy>, StrideTraits<Lpm29Table, Legacy>,
                                 StrideTraits<Lpm32Table, Legacy>>;

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(LpmStride, HashTableSuite, Members<false>);
INSTANTIATE_TYPED_TEST_SUITE_P(LpmStrideLegacy, HashTableSuite, Members<true>);

namespace {

// A stride table of type T started cold on a fresh chip of `profile`.
template <class T>
OnChip<T> onChip(const std::string& profile = "default") {
  return OnChip<T>(Fen::makePtr<T>("lpm"), profile);
}

// Buckets of ways 0 and 1 from the CRC definition (polynomials per width and way, register
// starting at 0, most significant bit first) over the left-aligned key bits.
TEST(LpmStride, BucketsWorkedByHand) {
  struct Case {
    U32 (*bucket)(const LpmKey&, U8);
    LpmKey key;
    U32 way0, way1;
  };
  const Case cases[] = {
      {Lpm14Table::Layout::bucket, prefix(0, 0x0A000000u, 12), 0x1EA, 0x314},
      {Lpm17Table::Layout::bucket, prefix(1, 0xAC100000u, 15), 0x33F, 0x030},
      {Lpm20Table::Layout::bucket, prefix(2, 0xC0A80000u, 18), 0x3E2, 0x399},
      {Lpm23Table::Layout::bucket, prefix(3, 0x0A010000u, 21), 0x233, 0x361},
      {Lpm26Table::Layout::bucket, prefix(0, 0x0A010200u, 24), 0x885, 0x3AA},
      {Lpm29Table::Layout::bucket, prefix(1, 0x0A010220u, 27), 0x140, 0xE07},
      // Routing instance 16 reaches the sign bit of the 32-bit key word: the 41-bit key of the
      // /29 member carries the widened sign in its top 12 bits.
      {Lpm29Table::Layout::bucket, prefix(16, 0x0A010220u, 27), 0xEB1, 0x9C2},
      {Lpm32Table::Layout::bucket, prefix(3, 0xC0A80104u, 30), 0x93B, 0x47E},
      {Lpm32Table::Layout::bucket, prefix(2, 0, 30), 0x482, 0xB56},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.bucket(c.key, 0), c.way0) << c.key;
    EXPECT_EQ(c.bucket(c.key, 1), c.way1) << c.key;
  }
  EXPECT_DEATH(
      {
        Fen::traceLevelIs("TarnTableLpmBase", 0);  // in the dying child only
        lpmStrideHash(prefix(0, 0, 30), 0, 2, 32, 13);
      },
      "Unsupported crc length 13(.|\n)*Assertion `crcLength == 10 \\|\\| crcLength == 12'");
}

// Whole rows: compare field (address bits from 31 down, then vrfId), valid bit, four 14-bit
// cells, trap, parity of words 0..2; word 4 the location and hash-block number, word 5 the
// address. A deleted key leaves the null entry's row, cells 63.
TEST(LpmStride, RowsWorkedByHand) {
  LpmResult routed;
  routed.cellResultIs(0, EntryCellResult(NexthopIndexes(5, 0, 3), 0));
  routed.cellResultIs(1, EntryCellResult(NexthopIndexes(57, 1, 70), maskLengthNull));
  routed.cellResultIs(2, EntryCellResult(NexthopIndexes(56, 0, 0), maskLengthNull));
  routed.cpuTrap = true;
  const LpmKey key32 = prefix(3, 0xC0A80104u, 30);
  const Words null32{0x7E00000, 0x807E01F8, 0x1F, 0, 0x2093B, 0};
  struct Case {
    const char* profile;
    Words words;
  };
  for (const Case& c : {Case{"default", {0x18BF02A0, 0x807C0DEA, 0x201F, 0, 0x2093B, 0xC0A80104}},
                        Case{"legacy", {0x18BF02A0, 0x807E0DE2, 0x201F, 0, 0x2093B, 0xC0A80104}}}) {
    SCOPED_TRACE(c.profile);
    auto lpm = onChip<Lpm32Table>(c.profile);
    const unsigned copies = std::string(c.profile) == "default" ? 2 : 1;
    ASSERT_EQ(lpm.conv().copies().size(), copies);
    lpm.table().entryIs(key32, routed);
    EXPECT_EQ(lpm.writes(), copies);
    for (unsigned i = 0; i < copies; ++i) {
      const auto& hw = *lpm.conv().hwTable(i);
      EXPECT_EQ(hw.name(), "lpm.Lpm32[" + std::to_string(i) + "]");
      EXPECT_EQ(hw.upper(), 8191u);
      EXPECT_EQ(rowWords(hw, 0x93B, 6), c.words);
      const std::string p = "ingress/processor_l3[" + std::to_string(i) + "]/";
      const char* names[] = {"hash_data0", "hash_data1", "hash_data2", "hash_data3", "hash_ctl"};
      for (unsigned w = 0; w < 5; ++w) EXPECT_EQ(hw.registerName(0x93B, w), p + names[w]);
      EXPECT_EQ(hw.registerName(0x93B, 5), "") << "the address word has no register";
    }
    lpm.table().entryDel(key32);
    EXPECT_EQ(rowWords(*lpm.conv().hwTable(0), 0x93B, 6), null32);
  }
  // 10.0.0.0/12: compare bits 0..1 (address bits 31..30) and 2..3 (vrfId) all 0; four null cells.
  auto lpm14 = onChip<Lpm14Table>();
  lpm14.table().entryIs(prefix(0, 0x0A000000u, 12), LpmResult());
  EXPECT_EQ(lpm14.conv().hwTable(0)->upper(), 2047u);
  EXPECT_EQ(rowWords(*lpm14.conv().hwTable(1), 0x1EA, 6),
            (Words{0x1F807F0, 0x401F807E, 0, 0, 0x1A01EA, 0x0A000000}));
}

// Every member: routing instances above 3 are refused before any change, naming the member;
// a key of another length stops the process (and is refused by the check tools use).
template <class T>
void refusesKeysOfOtherInstancesAndLengths(const char* name) {
  SCOPED_TRACE(name);
  auto lpm = onChip<T>("legacy");
  const U8 len = U8(32 - T::Layout::Entry::ipv4DipShift);
  EXPECT_EQ(lpm.table().prefixBaseLen(), len);
  EXPECT_EQ(thrownMessage<Fen::RangeException>(
                [&] { lpm.table().entryIs(prefix(4, 0, len), LpmResult()); }),
            std::string("TarnSwitchTable::") + name + "::vrfId > 3 not allowed");
  EXPECT_TRUE(lpm.table().entry().map().empty());
  EXPECT_EQ(lpm.writes(), 0u);
  EXPECT_EQ(
      thrownMessage<Fen::RangeException>([&] { lpm.table().keyCheck(prefix(0, 0, U8(len + 1))); }),
      "key.prefix().len() == prefixBaseLen() does not hold");
  EXPECT_DEATH(lpm.table().entryIs(prefix(0, 0, U8(len - 1)), LpmResult()),
               "Assertion `key.prefix\\(\\).len\\(\\) == prefixBaseLen\\(\\)' failed");
}

TEST(LpmStrideDeathTest, KeysOfOtherInstancesAndLengths) {
  refusesKeysOfOtherInstancesAndLengths<Lpm14Table>("Lpm14Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm17Table>("Lpm17Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm20Table>("Lpm20Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm23Table>("Lpm23Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm26Table>("Lpm26Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm29Table>("Lpm29Table");
  refusesKeysOfOtherInstancesAndLengths<Lpm32Table>("Lpm32Table");
}

// Filling a table: the query says yes exactly while a placement of all keys exists, and the
// table is then full to the last location (keys spread over all routing instances).
TEST(LpmStride, CapacityQueryHoldsUntilEveryLocationIsTaken) {
  auto lpm = onChip<Lpm14Table>("legacy");
  unsigned placed = 0, refused = 0;
  for (unsigned n = 0; n < 4 * 4096; ++n) {
    const LpmKey k = StrideTraits<Lpm14Table, true>::key(n * 37 % 16384);
    if (lpm.table().entryInsertable(k)) {
      lpm.table().entryIs(k, LpmResult());
      ++placed;
    } else {
      ++refused;
    }
  }
  EXPECT_EQ(placed, 2048u) << "every location holds an entry before the query says no";
  EXPECT_EQ(lpm.table().cuckooHashTableStatus()->cmdCount(), 0u);
}

TEST(LpmStride, PrefixBaseLengthNotifiesOnlyOnChange) {
  auto t = Lpm20TableIs("lpm20");
  int heard = 0;
  t->prefixBaseLenObserverIs([&] { ++heard; });
  t->prefixBaseLenIs(18);
  EXPECT_EQ(heard, 0);
  t->prefixBaseLenIs(19);
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(t->prefixBaseLen(), 19u);
}

}  // namespace
}  // namespace TarnTest
