// Hardware rows, register mappings, the simulated chip's tables and the save and load of its
// whole hardware state (a warm restart across processes).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "Cairn/CorruptionDetectedException.h"
#include "TarnSwitchApi/HwTable.h"
#include "support/Chip.h"

namespace {

using namespace TarnSwitchApi;
using Strings = std::vector<std::string>;
using ChipPtr = Fen::Ptr<HwTableCollection>;
using ::testing::ThrowsMessage;

HwEntryConfig row(HwIndex index, std::vector<U32> words) {
  HwEntryConfig r(index);
  r.dataArrayIs(words.data(), words.size());
  return r;
}

Fen::PtrConst<HwAddressColl> regs(const std::string& prefix) {
  auto c = Fen::makePtr<HwAddressColl>();
  for (unsigned i = 0; i < 2; ++i) c->addressIs(i, prefix + std::to_string(i));
  return c;
}

// Records "<who><table>:<index>" for every write it observes.
HwWriteObserver recorder(Strings& seen, const std::string& who = "") {
  return [&seen, who](const HwTableConfig& t, const HwEntryConfig& r) {
    seen.push_back(who + t.name() + ":" + std::to_string(r.index()));
  };
}

TEST(RegisterMappingTest, RangeAndConst) {
  auto range = Fen::makePtr<HwTableRegisterMappingRange>("ranges");
  range->regsIs(9, regs("low"));
  range->regsIs(19, regs("high"));
  HwTableConfig t("t", 0, 30);
  t.mappingIs(range);
  EXPECT_EQ((Strings{t.registerName(9, 1), t.registerName(10, 0), t.registerName(19, 1),
                     t.registerName(20, 0), t.registerName(5, 2)}),
            (Strings{"low1", "high0", "high1", "", ""}));  // last rows of ranges, words without
  EXPECT_EQ(HwTableRegisterMappingConst("c", regs("r")).addresses(12345)->address(0), "r0");
}

TEST(HwTableConfigTest, ReadsWritesCountsObservesAndChecksBounds) {
  HwTableConfig t("tbl", 2, 9);
  Strings seen;
  t.writeObserverIs(recorder(seen));
  HwEntryConfig out(7);
  out.dataIs(2, 0xDEADBEEF);  // the word count grows to cover the highest word set
  EXPECT_FALSE(t.entry(2, out));
  EXPECT_EQ(out, row(7, {0, 0, 0xDEADBEEF}));  // untouched
  EXPECT_TRUE(out != row(8, {0, 0, 0xDEADBEEF}) && out != row(7, {0, 1, 0xDEADBEEF}) &&
              out != row(7, {0, 0, 0xDEADBEEF, 0}));  // index, words and word count all count
  t.entryIs(row(2, {1, 2}));
  t.entryIs(row(9, {3}));
  t.entryIs(row(9, {3}));  // every write counts, equal or not
  EXPECT_TRUE(t.entry(9, out));
  EXPECT_EQ(out, row(9, {3}));
  EXPECT_EQ(seen, (Strings{"tbl:2", "tbl:9", "tbl:9"}));
  t.entryDel(9);
  EXPECT_FALSE(t.hasEntry(9));
  auto outside = [](HwIndex i) {
    return ThrowsMessage<HwIndexException>("HwIndex " + std::to_string(i) +
                                           " is outside hardware table 'tbl' [2, 9]");
  };
  EXPECT_THAT([&] { t.entry(1, out); }, outside(1));
  EXPECT_THAT([&] { t.entryIs(row(10, {1})); }, outside(10));
  EXPECT_THAT([&] { t.corruptionIs(10, true); }, outside(10));
  EXPECT_THAT([&] { t.damageIs(1, 0, 1); }, outside(1));
  EXPECT_EQ(t.writeCount(), 3u);
}

TEST(HwTableConfigTest, CorruptRowRaisesUntilWrittenAndDamageIsNoWrite) {
  HwTableConfig t("tbl", 0, 3);
  Strings seen;
  t.writeObserverIs(recorder(seen));
  t.entryIs(row(1, {0xAB}));
  t.corruptionIs(1, true);
  t.corruptionIs(2, true);  // an absent row can be corrupt too
  HwEntryConfig out;
  for (HwIndex i : {1u, 1u, 2u}) {
    EXPECT_THAT([&] { t.entry(i, out); }, ThrowsMessage<Cairn::CorruptionDetectedException>(
                                              "corrupted entry at HwIndex " + std::to_string(i) +
                                              " of hardware table 'tbl'"));
  }
  EXPECT_EQ(*t.storedEntry(1), row(1, {0xAB}));  // the chip still holds the words
  t.entryIs(row(1, {0xCD}));
  EXPECT_TRUE(t.entry(1, out));
  EXPECT_EQ(out, row(1, {0xCD}));
  t.corruptionIs(2, false);
  EXPECT_FALSE(t.entry(2, out));
  // Damage flips bits behind the library's back: no write is counted or observed.
  t.damageIs(1, 0, 0xFF);
  t.damageIs(1, 3, 0x1);  // beyond the row's words: the row grows
  t.damageIs(2, 0, 0x80000000u);
  EXPECT_EQ(*t.storedEntry(1), row(1, {0x32, 0, 0, 1}));
  EXPECT_EQ(*t.storedEntry(2), row(2, {0x80000000u}));
  EXPECT_EQ(t.writeCount(), 2u);
  EXPECT_EQ(seen, (Strings{"tbl:1", "tbl:1"}));
}

TEST(HwTableCollectionTest, TablesByNameAndObserversOfEveryTable) {
  auto chip = TarnTest::makeChip("legacy");
  Strings seen;
  chip->writeObserverIs(recorder(seen, "early "));
  auto b = chip->hwTableIs("b", 5, 9);
  chip->writeObserverIs(recorder(seen, "late "));
  auto a = chip->hwTableIs("a", 5, 6);
  EXPECT_EQ(chip->hwTableIs("b", 5, 9), b);
  EXPECT_EQ(chip->hwTable("c"), nullptr);
  b->entryIs(row(7, {1}));
  a->entryIs(row(6, {1}));
  EXPECT_EQ(seen, (Strings{"early b:7", "late b:7", "early a:6", "late a:6"}));
  EXPECT_EQ(chip->writeCount(), 2u);
  EXPECT_EQ(chip->hwTables(), (std::vector<Fen::Ptr<HwTableConfig>>{a, b}));
  for (const auto& [name, upper, message] :
       std::vector<std::tuple<std::string, HwIndex, std::string>>{
           {"b", 10, "hardware table 'b' exists with bounds [5, 9], not [5, 10]"},
           {"two words", 6, "hardware table name 'two words' is empty or contains a blank"},
           {"c", 4, "hardware table 'c' has upper bound 4 below its lower bound 5"}}) {
    EXPECT_THAT([&] { chip->hwTableIs(name, 5, upper); }, ThrowsMessage<HwIndexException>(message));
  }
}

class HwStateFileTest : public ::testing::Test {
 protected:
  void TearDown() override { std::remove(path.c_str()); }
  std::string saved(const HwTableCollection& c) const {
    std::remove(path.c_str());
    c.save(path);
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  // Saves `c`, loads it back and saves that again: both files must be the same.
  void expectRoundTrip(const HwTableCollection& c, const std::string& why) {
    const std::string text = saved(c);
    ChipPtr loaded = HwTableCollection::load(path, nullptr);
    EXPECT_EQ(loaded->writeCount(), 0u) << why;
    EXPECT_EQ(saved(*loaded), text) << why;
  }

  const std::string path = ::testing::TempDir() + "tarn_hw_" + std::to_string(::getpid());
  ChipPtr chip = [] {
    ChipPtr c = TarnTest::makeChip();
    auto a = c->hwTableIs("a", 0, 9);
    a->entryIs(row(0, {1, 2, 3}));
    a->entryIs(row(9, {0xFFFFFFFFu, 0, 0, 0, 0, 0, 0, 7}));
    c->hwTableIs("b", 5, 5)->entryIs(row(5, {}));
    c->hwTableIs("c", 100, 200);
    return c;
  }();
};

TEST_F(HwStateFileTest, SavesEveryTableRowAndWordAndLoadsThemBack) {
  EXPECT_EQ(saved(*chip), "tarn-hw-state 1\nprofile " + chip->profile().toStrep() +
                              "\ntable a 0 9 2\nrow 0 3 1 2 3\nrow 9 8 4294967295 0 0 0 0 0 0 7\n"
                              "table b 5 5 1\nrow 5 0\ntable c 100 200 0\nend 3 3\n");
  expectRoundTrip(*chip, "fixed chip");
}

TEST_F(HwStateFileTest, RandomChipsRoundTrip) {
  const unsigned seed = 9001;
  std::mt19937 rng(seed);
  for (int round = 0; round < 20; ++round) {
    ChipPtr c = TarnTest::makeChip(round % 2 ? "legacy" : "default");
    for (unsigned t = rng() % 5; t > 0; --t) {
      const HwIndex lower = rng() % 1000, upper = lower + rng() % 64;
      auto table = c->hwTableIs("t[" + std::to_string(t) + "]", lower, upper);
      for (unsigned n = rng() % 40; n > 0; --n) {
        std::vector<U32> words(rng() % 9);
        for (auto& w : words) w = U32(rng());
        table->entryIs(row(lower + rng() % (upper - lower + 1), words));
      }
    }
    expectRoundTrip(*c, "seed " + std::to_string(seed) + " round " + std::to_string(round));
  }
}

// A refused file raises, naming file and line; the chip is built aside, so none is half loaded.
TEST_F(HwStateFileTest, RefusesDamagedFilesNamingFileAndLine) {
  const std::string good = saved(*chip);
  auto with = [&](const std::string& from, const std::string& to) {
    std::string t = good;
    return t.replace(t.find(from), from.size(), to);
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {good.substr(0, good.find("row 9")), "4: truncated file"},
      {with("state 1", "state 2"), "1: not a hardware state file (no 'tarn-hw-state 1' header)"},
      {with(chip->profile().toStrep(), TarnSwitch::builtinProfile("legacy")->toStrep()),
       "2: saved for profile 'legacy', not for profile 'default'"},
      {with("'portCount': 48", "'portCount': 46"),  // same name, other counts
       "2: saved for profile 'default', not for profile 'default'"},
      {with("1 2 3", "1 2x 3"), "4: bad data word '2x'"},
      {with("row 9", "row 10"), "5: bad row 10 of table 'a'"},
      {with("row 9", "row 0"), "5: bad row 0 of table 'a'"},  // a row given twice
      {with("c 100 200", "c 0 4294967295"),
       "8: hardware table 'c' would have 4294967296 rows, more than 16777216"},
      {with("end 3 3", "end 3 4"), "9: end line does not match the 3 tables and 3 rows read"},
      {good + "row 1 0\n", "10: text after the end line"},
  };
  for (const auto& [damaged, message] : cases) {
    std::ofstream(path, std::ios::trunc) << damaged;
    EXPECT_THAT([&] { HwTableCollection::load(path, &chip->profile()); },
                ThrowsMessage<HwStateException>(path + ":" + message));
  }
  EXPECT_THAT([&] { HwTableCollection::load(path + ".none", nullptr); },
              ThrowsMessage<HwStateException>(path + ".none: cannot open hardware state file"));
}

}  // namespace
