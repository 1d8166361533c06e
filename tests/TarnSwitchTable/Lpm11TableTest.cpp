// LPM /11 table: the direct-table suite on both built-in profiles, then rows worked by hand from
// the layout (index, words, registers, copies), the refused and faulty keys, and the read-back of
// codes that no encoding writes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DirectTableSuite.h"
#include "TarnSwitchTable/TarnTableLpm11.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using TarnSwitch::LpmKey;
using TarnSwitch::NexthopIndexes;

LpmKey key11(U8 vrf, U32 address) {
  return LpmKey(vrf, Lanx::Prefix(Lanx::Ip4Addr(address), 11));
}

template <unsigned Copies>
struct Lpm11Traits {
  using Table = Lpm11Table;
  static Fen::Ptr<Lpm11Table> makeTable() { return lpm11TableFactory("lpm11"); }
  static std::string profile() { return Copies == 2 ? "default" : "legacy"; }
  static std::vector<LpmKey> sampleKeys() {
    return {key11(0, 0), key11(3, 0xFFE00000u), key11(1, 0x0A000000u), key11(2, 0xC0A00000u)};
  }
  static std::vector<LpmKey> outsideKeys() { return {}; }
  // Distinct per n, each reading back as itself: LAG cells, rewrite cells and traps in turn.
  static Lpm11Result result(unsigned n) {
    const NexthopIndexes lag(n % 56, 0, U8(n / 56 % 64)), rewrite(57, 1, U8(n % 128));
    return Lpm11Result(EntryCellResult(n % 3 ? lag : rewrite, maskLengthNull), n % 2 == 1);
  }
};

}  // namespace

using Lpm11Profiles = ::testing::Types<Lpm11Traits<2>, Lpm11Traits<1>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Lpm11, DirectTableSuite, Lpm11Profiles);

namespace {

using Lpm11OnChip = OnChip<Lpm11Table>;

// Copy `copy` of the table, found by its name on the chip.
TarnSwitchApi::HwTableConfig& hw(const Lpm11OnChip& lpm, unsigned copy) {
  return *lpm.chip->hwTable("lpm11.Lpm11Direct[" + std::to_string(copy) + "]");
}

// Word 0: cell bits 0..14 (ACL at 13), valid 12, trap 15, parity of word 0 in 16; word 1: the
// low 12 bits of the index, bits 17..20 set. Every L3 processor holds the same words.
TEST(Lpm11Table, RowsWorkedByHandOnBothProfiles) {
  struct Case {
    const char* profile;
    LpmKey key;
    Lpm11Result result;
    HwIndex index;
    Words words;
  };
  const EntryCellResult lag5(NexthopIndexes(5, 0, 3), 7), rewrite70(NexthopIndexes(57, 1, 70), 33);
  const Case cases[] = {
      {"default", key11(0, 0x0A000000u), {lag5, true}, 80, {0x1B0C5, 0x1E0050}},
      {"default", key11(3, 0xFFE00000u), {lag5, true}, 0x1FFF, {0x1B0C5, 0x1E0FFF}},
      {"default", key11(0, 0), {}, 0, {0x1103F, 0x1E0000}},  // present, null cell
      {"legacy", key11(1, 0xAC000000u), {rewrite70, false}, 0xD60, {0x111BC, 0x1E0D60}},
      {"legacy", key11(1, 0xAC000000u), {rewrite70, true}, 0xD60, {0x91BC, 0x1E0D60}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.profile) + " " + c.key.toStrep());
    Lpm11OnChip lpm(lpm11TableFactory("lpm11"), c.profile);
    const unsigned copies = std::string(c.profile) == "default" ? 2 : 1;
    ASSERT_EQ(lpm.conv().copies().size(), copies);
    EXPECT_EQ(Lpm11Layout::hwIndexFromKey(c.key), c.index);
    EXPECT_EQ(Lpm11Layout::keyFromHwIndex(c.index), c.key);
    lpm.table().entryIs(c.key, c.result);
    EXPECT_EQ(lpm.writes(), copies);
    for (unsigned i = 0; i < copies; ++i) {
      EXPECT_EQ(hw(lpm, i).upper(), 0x1FFFu);
      EXPECT_EQ(rowWords(hw(lpm, i), c.index, 2), c.words) << "copy " << i;
      const std::string p = "ingress/processor_l3[" + std::to_string(i) + "]/";
      EXPECT_EQ(hw(lpm, i).registerName(c.index, 0), p + "hash_data0");
      EXPECT_EQ(hw(lpm, i).registerName(c.index, 1), p + "hash_ctl");
    }
    lpm.table().entryDel(c.key);  // valid 0, trap 0 and the null cell, not zeros
    EXPECT_EQ(rowWords(hw(lpm, 0), c.index, 2), (Words{0x3F, c.words[1]}));
  }
}

TEST(Lpm11Table, RoutingInstancesAbove3AreRefusedBeforeAnyChange) {
  Lpm11OnChip lpm(lpm11TableFactory("lpm11"));
  for (U8 vrf : {4, 255}) {
    EXPECT_EQ(thrownMessage<Fen::RangeException>(
                  [&] { lpm.table().entryIs(key11(vrf, 0), Lpm11Result()); }),
              "TarnSwitchTable::Lpm11Table::vrfId > 3 not allowed");
    EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { lpm.table().keyCheck(key11(vrf, 0)); }),
              "TarnSwitchTable::Lpm11Table::vrfId > 3 not allowed");
  }
  EXPECT_TRUE(lpm.table().entry().map().empty());
  EXPECT_EQ(lpm.writes(), 0u);
  const LpmKey slash12(0, Lanx::Prefix(Lanx::Ip4Addr(0x0A100000u), 12));
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { lpm.table().keyCheck(slash12); }),
            "key.prefix().len() == 11 does not hold");
  EXPECT_DEATH(lpm.table().entryIs(slash12, Lpm11Result()),
               "Assertion `key.prefix\\(\\).len\\(\\) == 11' failed");
  EXPECT_DEATH(lpm.table().entryDel(LpmKey()), "Assertion `key.prefix\\(\\).len\\(\\) == 11'");
}

// On the 4.1 level codes 58 and 59 are no LAG index: decoding raises; on 4.0 they read as null.
TEST(Lpm11Table, UnwrittenCodesReadBackPerLevel) {
  for (const char* profile : {"default", "legacy"}) {
    Lpm11OnChip lpm(lpm11TableFactory("lpm11"), profile);
    plantRow(hw(lpm, 0), 5, {58 | 1u << 12 | 1u << 16, 0x1E0005});
    const std::string got =
        thrownMessage<Fen::RangeException>([&] { lpm.conv().decodeHwEntry(5); });
    if (std::string(profile) == "default") {
      EXPECT_EQ(got,
                "TarnSwitch::L3LagIndex::value < TarnSwitch::L3LagIndex::min or > "
                "TarnSwitch::L3LagIndex::null not allowed");
    } else {
      EXPECT_EQ(got, "<no exception raised>");
      EXPECT_EQ(lpm.conv().decodeHwEntry(5)->toStrep(),
                (Lpm11Entry::Item{true, key11(0, 5u << 21), Lpm11Result()}.toStrep()));
    }
  }
}

TEST(Lpm11Values, TextForms) {
  const Lpm11Result r(EntryCellResult(NexthopIndexes(2, 0, 1), 33), true);
  EXPECT_EQ(Lpm11Result::fromText(r.toStrep()), r);
  EXPECT_EQ(r.toStrep().substr(0, 57), "Value('TarnSwitchTable::Lpm11Result', ** {'cellResult': V");
  EXPECT_EQ(r.resultString(), "cellResult: " + r.cellResult.toStrep() + " cpuTrap: true");
}

}  // namespace
}  // namespace TarnTest
