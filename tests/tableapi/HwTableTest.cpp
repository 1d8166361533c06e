// Hardware rows, register mappings, the simulated chip's tables and the save and load of its
// whole hardware state (a warm restart across processes).
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <random>
#include <set>
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

// Records "<who><table>:<index>" for every write it observes.
HwWriteObserver recorder(Strings& seen, const std::string& who = "") {
  return [&seen, who](const HwTableConfig& t, const HwEntryConfig& r) {
    seen.push_back(who + t.name() + ":" + std::to_string(r.index()));
  };
}

// A const mapping serves every row; a collection mapping answers a row's own collection, or an
// empty one for a row it has none for, valid unless the mapping cleared the flag. (Range mappings
// are pinned row by row, at each processor's edges, by the ARP table's tests.)
TEST(RegisterMappingTest, ConstAndCollectionMappingsAnswerEveryRow) {
  auto regs = Fen::makePtr<HwAddressColl>();
  regs->addressIs(0, "r0");
  HwTableConfig t("t", 0, 30);
  t.mappingIs(Fen::makePtr<HwTableRegisterMappingConst>("c", regs));
  EXPECT_EQ((Strings{t.registerName(0, 0), t.registerName(30, 0), t.registerName(30, 1)}),
            (Strings{"r0", "r0", ""}));  // a word without a register has none
  auto none = Fen::makePtr<HwAddressColl>();
  none->validIs(false);
  HwTableRegisterMappingColl m("m");
  m.regsIs(3, regs);
  m.regsIs(4, none);
  EXPECT_EQ(m.getRegister(3).ptr(), regs.ptr());
  EXPECT_TRUE(m.getRegister(4)->empty() && !m.getRegister(4)->valid());
  EXPECT_TRUE(m.getRegister(5)->empty() && m.getRegister(5)->valid());
}

// Random writes, deletes, corruption marks and damage on a table [2, 9], at indices 0..11 (so some
// lie outside), against a model of its rows: a read returns the row, leaving
// the output alone when there is none, and raises while the row is marked corrupt, present or not,
// until it is written; damage flips stored bits, growing or creating the row, and is no write.
// Every write counts and is observed, equal or not.
TEST(HwTableConfigTest, RandomOperationsMatchARowModel) {
  EXPECT_TRUE(row(7, {0, 5}) != row(8, {0, 5}) && row(7, {0, 5}) != row(7, {1, 5}) &&
              row(7, {0, 5}) != row(7, {0, 5, 0}));  // index, words and word count all count
  const unsigned seed = 4711;
  std::mt19937 rng(seed);
  HwTableConfig t("tbl", 2, 9);
  Strings seen, written;
  t.writeObserverIs(recorder(seen));
  std::map<HwIndex, std::vector<U32>> rows;  // the rows present, and their words
  std::set<HwIndex> corrupt;
  for (int step = 0; step < 3000; ++step) {
    SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
    const HwIndex i = rng() % 12;
    const unsigned op = rng() % 4, word = rng() % 8;
    std::vector<U32> words(rng() % 9);
    for (auto& w : words) w = U32(rng());
    const U32 mask = U32(rng()) | 1;
    auto apply = [&] {
      if (op == 0) t.entryIs(row(i, words));
      if (op == 1) t.entryDel(i);
      if (op == 2) t.corruptionIs(i, word % 2 == 0);
      if (op == 3) t.damageIs(i, word, mask);
    };
    HwEntryConfig out(99);
    if (i < 2 || i > 9) {
      const std::string message =
          "HwIndex " + std::to_string(i) + " is outside hardware table 'tbl' [2, 9]";
      EXPECT_THAT(apply, ThrowsMessage<HwIndexException>(message));
      EXPECT_THAT([&] { t.entry(i, out); }, ThrowsMessage<HwIndexException>(message));
      continue;
    }
    apply();
    if (op == 0) written.push_back("tbl:" + std::to_string(i));
    if (op == 0) rows[i] = words;
    if (op == 1) rows.erase(i);
    if (op == 2 && word % 2 == 0) corrupt.insert(i);
    if (op <= 1 || (op == 2 && word % 2 == 1)) corrupt.erase(i);
    if (op == 3) {
      std::vector<U32>& w = rows[i];
      w.resize(std::max<std::size_t>(w.size(), word + 1));
      w[word] ^= mask;
    }
    const HwEntryConfig want = rows.count(i) ? row(i, rows[i]) : HwEntryConfig(99);
    const HwEntryConfig* stored = t.storedEntry(i);
    ASSERT_EQ(stored ? *stored : HwEntryConfig(99), want);  // what the chip holds
    ASSERT_EQ(t.hasEntry(i), rows.count(i) == 1);           // corruption marks aside
    if (corrupt.count(i)) {
      EXPECT_THAT([&] { t.entry(i, out); }, ThrowsMessage<Cairn::CorruptionDetectedException>(
                                                "corrupted entry at HwIndex " + std::to_string(i) +
                                                " of hardware table 'tbl'"));
    } else {
      ASSERT_EQ(t.entry(i, out), rows.count(i) == 1);
      ASSERT_EQ(out, want);
    }
  }
  EXPECT_EQ(seen, written);
  EXPECT_EQ(t.writeCount(), written.size());
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

// A fixed chip's exact file, which loads back with CR LF line ends too (under the shapes of its
// tables); random chips load back, writing nothing, to the same file.
TEST_F(HwStateFileTest, SavesEveryTableRowAndWordAndLoadsThemBack) {
  const std::string good = saved(*chip);
  EXPECT_EQ(good, "tarn-hw-state 1\nprofile " + chip->profile().toStrep() +
                      "\ntable a 0 9 2\nrow 0 3 1 2 3\nrow 9 8 4294967295 0 0 0 0 0 0 7\n"
                      "table b 5 5 1\nrow 5 0\ntable c 100 200 0\nend 3 3\n");
  const HwTableShapes shapes = {{"a", {0, 9, 8}}, {"b", {5, 5, 1}}, {"c", {100, 200, 2}}};
  std::string crlf;
  for (char c : good) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
  std::ofstream(path, std::ios::trunc) << crlf;
  EXPECT_EQ(saved(*HwTableCollection::load(path, &chip->profile(), &shapes)), good);
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
    const std::string text = saved(*c);
    ChipPtr loaded = HwTableCollection::load(path, nullptr);
    EXPECT_EQ(loaded->writeCount(), 0u) << "seed " << seed << " round " << round;
    EXPECT_EQ(saved(*loaded), text) << "seed " << seed << " round " << round;
  }
}

// A refused file raises, naming file and line; the chip is built aside, so none is half loaded.
// (A snapshot of another profile, a missing file, a directory and a file that does not fit the
// shapes of the registered tables are the tool tests' --hw-in cases.)
TEST_F(HwStateFileTest, RefusesDamagedFilesNamingFileAndLine) {
  const std::string good = saved(*chip);
  auto with = [&](const std::string& from, const std::string& to) {
    std::string t = good;
    return t.replace(t.find(from), from.size(), to);
  };
  const std::vector<std::pair<std::string, std::string>> cases = {
      {good.substr(0, good.find("row 9")), "4: truncated file"},
      {with("state 1", "state 2"),
       "1: not a hardware state file (no 'tarn-hw-state 1' header; got 'tarn-hw-state 2')"},
      {with("1 2 3", std::string("1 2\0 3", 7)), "4: bad data word '2\\x00'"},
      {with("row 9", "row 9" + std::string(5000, ' ')), "5: line longer than 4096 bytes"},
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
}

}  // namespace
