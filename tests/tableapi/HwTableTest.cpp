// Hardware rows, register mappings and the simulated chip's tables.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "Cairn/CorruptionDetectedException.h"
#include "TarnSwitchApi/HwTable.h"
#include "support/Chip.h"

namespace {

using namespace TarnSwitchApi;

HwEntryConfig row(HwIndex index, std::vector<U32> words) {
  HwEntryConfig r(index);
  r.dataArrayIs(words.data(), words.size());
  return r;
}

Fen::PtrConst<HwAddressColl> regs(const std::string& prefix, unsigned words) {
  auto c = Fen::makePtr<HwAddressColl>();
  for (unsigned i = 0; i < words; ++i) c->addressIs(i, prefix + std::to_string(i));
  return c;
}

TEST(HwEntryConfigTest, WordsGrowWithTheHighestWordSet) {
  HwEntryConfig r(5);
  EXPECT_EQ(r.index(), 5u);
  EXPECT_EQ(r.words(), 0u);
  r.dataIs(2, 0xDEADBEEF);
  EXPECT_EQ(r.words(), 3u);
  EXPECT_EQ(r.data(0), 0u);
  EXPECT_EQ(r.data(2), 0xDEADBEEFu);
  r.dataIs(DataArrayIndex(0), 1);  // a literal 0 would pick the array overload
  EXPECT_EQ(r.words(), 3u);
  const U32 two[] = {7, 8};
  r.dataArrayIs(two, 2);  // replaces every word
  EXPECT_EQ(r, row(5, {7, 8}));
  EXPECT_EQ(r.dataArray()[2], 0u);
  const U32 nine[9] = {};
  EXPECT_NO_THROW(r.dataArrayIs(nine, 8));
  EXPECT_THROW(r.dataArrayIs(nine, 9), Fen::RangeException);
  EXPECT_THROW(r.dataIs(8, 1), Fen::RangeException);
}

TEST(HwEntryConfigTest, EqualityComparesIndexWordCountAndWords) {
  EXPECT_EQ(row(1, {5, 6}), row(1, {5, 6}));
  EXPECT_FALSE(row(1, {5, 6}) == row(2, {5, 6}));
  EXPECT_FALSE(row(1, {5, 6}) == row(1, {5, 7}));
  EXPECT_FALSE(row(1, {5}) == row(1, {5, 0}));
  EXPECT_EQ(HwEntryConfig(3), row(3, {}));
}

TEST(RegisterMappingTest, RangeConstAndColl) {
  auto range = Fen::makePtr<HwTableRegisterMappingRange>("ranges");
  range->regsIs(9, regs("low", 2));
  range->regsIs(19, regs("high", 2));
  HwTableConfig t("t", 0, 30);
  t.mappingIs(range);
  EXPECT_EQ(t.mapping()->name(), "ranges");
  using Case = std::tuple<HwIndex, unsigned, std::string>;
  for (const auto& [index, word, name] :
       {Case{0, 0, "low0"}, Case{9, 1, "low1"}, Case{10, 0, "high0"}, Case{19, 1, "high1"},
        Case{20, 0, ""}, Case{5, 2, ""}}) {
    EXPECT_EQ(t.registerName(index, word), name) << index << " " << word;
  }
  EXPECT_EQ(range->addresses(20), nullptr);

  auto fixed = Fen::makePtr<HwTableRegisterMappingConst>("const", regs("r", 1));
  EXPECT_EQ(fixed->addresses(0), fixed->addresses(12345));
  EXPECT_EQ(fixed->addresses(7)->address(0), "r0");

  auto coll = Fen::makePtr<HwTableRegisterMappingColl>("coll");
  coll->regsIs(4, regs("four", 1));
  EXPECT_EQ(coll->addresses(4)->address(0), "four0");
  EXPECT_EQ(coll->addresses(3), nullptr);
  t.mappingIs(coll);
  EXPECT_EQ(t.registerName(3, 0), "");
  EXPECT_EQ(HwTableConfig("bare", 0, 1).registerName(0, 0), "");
}

TEST(HwTableConfigTest, ReadsWritesCountsAndObserves) {
  HwTableConfig t("t", 2, 9);
  std::vector<std::string> seen;
  t.writeObserverIs([&](const HwTableConfig& table, const HwEntryConfig& r) {
    seen.push_back(table.name() + ":" + std::to_string(r.index()));
  });
  HwEntryConfig out(7);
  EXPECT_FALSE(t.entry(2, out));
  EXPECT_EQ(out, HwEntryConfig(7));  // untouched
  EXPECT_FALSE(t.hasEntry(9));
  t.entryIs(row(2, {1, 2}));
  t.entryIs(row(9, {3}));
  t.entryIs(row(9, {3}));  // every write counts, equal or not
  EXPECT_TRUE(t.entry(9, out));
  EXPECT_EQ(out, row(9, {3}));
  EXPECT_EQ(*t.storedEntry(2), row(2, {1, 2}));
  EXPECT_EQ(t.writeCount(), 3u);
  EXPECT_EQ(seen, (std::vector<std::string>{"t:2", "t:9", "t:9"}));
  t.entryDel(9);
  EXPECT_FALSE(t.hasEntry(9));
  EXPECT_EQ(t.storedEntry(9), nullptr);
  EXPECT_EQ(t.writeCount(), 3u);
  t.writeCountReset();
  EXPECT_EQ(t.writeCount(), 0u);
}

TEST(HwTableConfigTest, IndexOutsideBoundsNamesIndexTableAndBounds) {
  HwTableConfig t("tbl", 2, 9);
  HwEntryConfig out;
  const std::vector<std::pair<HwIndex, std::function<void()>>> uses = {
      {1, [&] { t.entry(1, out); }},          {10, [&] { t.entry(10, out); }},
      {10, [&] { t.entryIs(row(10, {1})); }}, {1, [&] { t.hasEntry(1); }},
      {10, [&] { t.entryDel(10); }},          {10, [&] { t.corruptionIs(10, true); }},
      {1, [&] { t.damageIs(1, 0, 1); }},
  };
  for (const auto& [index, use] : uses) {
    try {
      use();
      ADD_FAILURE() << "no exception for " << index;
    } catch (const HwIndexException& e) {
      EXPECT_EQ(e.what(),
                "HwIndex " + std::to_string(index) + " is outside hardware table 'tbl' [2, 9]");
    }
  }
  EXPECT_EQ(t.writeCount(), 0u);
  EXPECT_THROW(HwTableConfig("bad", 5, 4), HwIndexException);
  EXPECT_NO_THROW(HwTableConfig("one", 4, 4).entryIs(row(4, {})));
}

TEST(HwTableConfigTest, CorruptRowRaisesUntilWritten) {
  HwTableConfig t("tbl", 0, 3);
  t.entryIs(row(1, {0xAB}));
  t.corruptionIs(1, true);
  t.corruptionIs(2, true);  // an absent row can be corrupt too
  HwEntryConfig out;
  for (HwIndex i : {1u, 1u, 2u}) {
    try {
      t.entry(i, out);
      ADD_FAILURE() << "read of corrupt row " << i;
    } catch (const Cairn::CorruptionDetectedException& e) {
      EXPECT_EQ(e.what(),
                "corrupted entry at HwIndex " + std::to_string(i) + " of hardware table 'tbl'");
    }
  }
  EXPECT_EQ(*t.storedEntry(1), row(1, {0xAB}));  // the chip still holds the words
  t.entryIs(row(1, {0xCD}));
  EXPECT_TRUE(t.entry(1, out));
  EXPECT_EQ(out, row(1, {0xCD}));
  t.corruptionIs(2, false);
  EXPECT_FALSE(t.entry(2, out));
}

TEST(HwTableConfigTest, DamageFlipsBitsWithoutAWrite) {
  HwTableConfig t("tbl", 0, 3);
  int observed = 0;
  t.writeObserverIs([&](const HwTableConfig&, const HwEntryConfig&) { ++observed; });
  t.entryIs(row(0, {0x0F, 0xF0}));
  t.damageIs(0, 1, 0xFF);
  t.damageIs(0, 3, 0x1);  // beyond the row's words: the row grows
  t.damageIs(2, 0, 0x80000000u);
  EXPECT_EQ(*t.storedEntry(0), row(0, {0x0F, 0x0F, 0, 1}));
  EXPECT_EQ(*t.storedEntry(2), row(2, {0x80000000u}));
  EXPECT_EQ(t.writeCount(), 1u);
  EXPECT_EQ(observed, 1);
}

TEST(HwTableCollectionTest, TablesByNameAndObserversOfEveryTable) {
  auto chip = TarnTest::makeChip("legacy");
  EXPECT_EQ(chip->profile().name, "legacy");
  std::vector<std::string> seen;
  auto note = [&](const char* who) {
    return [&seen, who](const HwTableConfig& t, const HwEntryConfig& r) {
      seen.push_back(std::string(who) + " " + t.name() + ":" + std::to_string(r.index()));
    };
  };
  chip->writeObserverIs(note("early"));
  auto b = chip->hwTableIs("b", 0, 9);
  chip->writeObserverIs(note("late"));
  auto a = chip->hwTableIs("a", 5, 6);
  EXPECT_EQ(chip->hwTableIs("b", 0, 9), b);
  EXPECT_EQ(chip->hwTable("a"), a);
  EXPECT_EQ(chip->hwTable("c"), nullptr);
  try {
    chip->hwTableIs("b", 0, 10);
    ADD_FAILURE() << "other bounds accepted";
  } catch (const HwIndexException& e) {
    EXPECT_STREQ(e.what(), "hardware table 'b' exists with bounds [0, 9], not [0, 10]");
  }
  try {
    chip->hwTableIs("two words", 0, 1);
    ADD_FAILURE() << "a name with a blank accepted";
  } catch (const HwIndexException& e) {
    EXPECT_STREQ(e.what(), "hardware table name 'two words' is empty or contains a blank");
  }
  b->entryIs(row(3, {1}));
  a->entryIs(row(6, {1}));
  EXPECT_EQ(seen, (std::vector<std::string>{"early b:3", "late b:3", "early a:6", "late a:6"}));
  EXPECT_EQ(chip->writeCount(), 2u);
  const auto tables = chip->hwTables();
  ASSERT_EQ(tables.size(), 2u);
  EXPECT_EQ(tables[0], a);
  EXPECT_EQ(tables[1], b);
}

}  // namespace
