// Save and load of the simulated chip's whole hardware state (a warm restart across processes).
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "TarnSwitchApi/HwTable.h"
#include "support/Chip.h"

namespace {

namespace fs = std::filesystem;
using namespace TarnSwitchApi;
using ChipPtr = Fen::Ptr<HwTableCollection>;

HwEntryConfig row(HwIndex index, std::vector<U32> words) {
  HwEntryConfig r(index);
  r.dataArrayIs(words.data(), words.size());
  return r;
}

// Same profile, same tables with the same bounds, and the same words in every row.
void expectSameChip(const HwTableCollection& a, const HwTableCollection& b,
                    const std::string& why) {
  ASSERT_EQ(a.profile(), b.profile()) << why;
  const auto ta = a.hwTables(), tb = b.hwTables();
  ASSERT_EQ(ta.size(), tb.size()) << why;
  for (std::size_t i = 0; i < ta.size(); ++i) {
    ASSERT_EQ(ta[i]->name(), tb[i]->name()) << why;
    ASSERT_EQ(ta[i]->lower(), tb[i]->lower()) << why;
    ASSERT_EQ(ta[i]->upper(), tb[i]->upper()) << why;
    for (HwIndex r = ta[i]->lower(); r <= ta[i]->upper(); ++r) {
      const HwEntryConfig *ra = ta[i]->storedEntry(r), *rb = tb[i]->storedEntry(r);
      ASSERT_EQ(ra == nullptr, rb == nullptr) << why << " " << ta[i]->name() << " row " << r;
      if (ra) {
        ASSERT_EQ(*ra, *rb) << why << " " << ta[i]->name() << " row " << r;
      }
    }
  }
}

class HwStateFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir = fs::path(::testing::TempDir()) /
          ("tarn_" + std::string(info->name()) + "_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    path = (dir / "hw.state").string();
    chip = TarnTest::makeChip();
    auto a = chip->hwTableIs("a", 0, 9);
    a->entryIs(row(0, {1, 2, 3}));
    a->entryIs(row(9, {0xFFFFFFFFu, 0, 0, 0, 0, 0, 0, 7}));
    chip->hwTableIs("b", 5, 5)->entryIs(row(5, {}));
    chip->hwTableIs("c", 100, 200);
  }
  void TearDown() override { fs::remove_all(dir); }

  std::vector<std::string> savedLines() const {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string l; std::getline(in, l);) lines.push_back(l);
    return lines;
  }
  void writeLines(const std::vector<std::string>& lines) const {
    std::ofstream out(path, std::ios::trunc);
    for (const auto& l : lines) out << l << "\n";
  }
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename());
    return names;
  }

  fs::path dir;
  std::string path;
  ChipPtr chip;
};

TEST_F(HwStateFileTest, SavesEveryTableRowAndWordAndLoadsThemBack) {
  chip->save(path);
  const std::vector<std::string> expected = {
      "tarn-hw-state 1",
      "profile " + chip->profile().toStrep(),
      "table a 0 9 2",
      "row 0 3 1 2 3",
      "row 9 8 4294967295 0 0 0 0 0 0 7",
      "table b 5 5 1",
      "row 5 0",
      "table c 100 200 0",
      "end 3 3",
  };
  EXPECT_EQ(savedLines(), expected);
  ChipPtr loaded = HwTableCollection::load(path, &chip->profile());
  expectSameChip(*chip, *loaded, "fixed chip");
  EXPECT_EQ(loaded->writeCount(), 0u);
  for (const auto& t : loaded->hwTables()) EXPECT_EQ(t->writeCount(), 0u) << t->name();
  EXPECT_TRUE(loaded->hwTable("b")->hasEntry(5));
  EXPECT_EQ(loaded->hwTable("b")->storedEntry(5)->words(), 0u);
}

TEST_F(HwStateFileTest, RandomChipsRoundTrip) {
  const unsigned seed = 9001;
  std::mt19937 rng(seed);
  for (int round = 0; round < 20; ++round) {
    ChipPtr c = TarnTest::makeChip(round % 2 ? "legacy" : "default");
    for (unsigned t = rng() % 5; t > 0; --t) {
      const HwIndex lower = rng() % 1000, upper = lower + rng() % 64;
      auto table = c->hwTableIs("t" + std::to_string(t) + "[" + std::to_string(rng() % 4) + "]",
                                lower, upper);
      for (unsigned n = rng() % 40; n > 0; --n) {
        std::vector<U32> words(rng() % 9);
        for (auto& w : words) w = U32(rng());
        table->entryIs(row(lower + rng() % (upper - lower + 1), words));
      }
    }
    c->save(path);
    ChipPtr loaded = HwTableCollection::load(path, nullptr);
    expectSameChip(*c, *loaded, "seed " + std::to_string(seed) + " round " + std::to_string(round));
    if (HasFatalFailure()) return;
  }
}

TEST_F(HwStateFileTest, RefusesDamagedFilesNamingFileAndLine) {
  chip->save(path);
  const std::vector<std::string> good = savedLines();
  auto with = [&](std::size_t line, const std::string& text) {
    auto l = good;
    l.at(line - 1) = text;
    return l;
  };
  auto cut = [&](std::size_t keep) {
    return std::vector<std::string>(good.begin(), good.begin() + keep);
  };
  auto plus = [&](const std::string& text) {
    auto l = good;
    l.push_back(text);
    return l;
  };
  struct Case {
    std::vector<std::string> lines;
    std::string message;  // after "<path>:"
  };
  const std::vector<Case> cases = {
      {cut(4), "4: truncated file"},
      {cut(8), "8: truncated file"},  // no end line
      {cut(0), "0: truncated file"},
      {with(1, "tarn-hw-state 2"), "1: not a hardware state file (no 'tarn-hw-state 1' header)"},
      {with(2, "profile Value('Nope')"),
       "2: bad profile: \"Value('TarnSwitch::ChipProfile', ** {\", instead got Value('Nope')"},
      {with(4, "row 0 3 1 2x 3"), "4: bad data word '2x'"},
      {with(4, "row 0 3 1 2 4294967296"), "4: bad data word '4294967296'"},
      {with(4, "row -1 3 1 2 3"), "4: bad row index '-1'"},
      {with(4, "row 0 3 1 2"), "4: bad data word ''"},
      {with(4, "row 0 3 1 2 3 4"), "4: unexpected '4'"},
      {with(4, "row 0 9 1 2 3 4 5 6 7 8 9"), "4: bad row 0 of table 'a'"},
      {with(5, "row 10 1 5"), "5: bad row 10 of table 'a'"},
      {with(5, "row 0 1 5"), "5: bad row 0 of table 'a'"},
      {with(7, "table b 5 5 1"), "7: expected 'row', instead got 'table b 5 5 1'"},
      {with(8, "table a 100 200 0"), "8: bad table 'a'"},
      {with(8, "table c 200 100 0"), "8: bad table 'c'"},
      {with(8, "table c 0 4294967295 0"),
       "8: hardware table 'c' would have 4294967296 rows, more than 16777216"},
      {with(9, "end 3 4"), "9: end line does not match the 3 tables and 3 rows read"},
      {with(9, "end 2 3"), "9: end line does not match the 3 tables and 3 rows read"},
      {with(9, "end 3 3 x"), "9: unexpected 'x'"},
      {plus("row 1 0"), "10: text after the end line"},
  };
  for (const auto& c : cases) {
    writeLines(c.lines);
    ChipPtr got;
    try {
      got = HwTableCollection::load(path, &chip->profile());
      ADD_FAILURE() << "loaded a file refused with " << c.message;
    } catch (const HwStateException& e) {
      EXPECT_EQ(e.what(), path + ":" + c.message);
    }
    EXPECT_FALSE(got);  // never half a chip
  }
}

TEST_F(HwStateFileTest, RefusesAnotherProfileAndAMissingFile) {
  ChipPtr legacy = TarnTest::makeChip("legacy");
  legacy->hwTableIs("a", 0, 1);
  legacy->save(path);
  try {
    HwTableCollection::load(path, &chip->profile());
    ADD_FAILURE() << "loaded another profile";
  } catch (const HwStateException& e) {
    EXPECT_EQ(e.what(), path + ":2: saved for profile 'legacy', not for profile 'default'");
  }
  EXPECT_EQ(HwTableCollection::load(path, nullptr)->profile().name, "legacy");
  EXPECT_EQ(HwTableCollection::load(path, &legacy->profile())->hwTables().size(), 1u);
  try {
    HwTableCollection::load(path + ".none", nullptr);
    ADD_FAILURE() << "loaded a missing file";
  } catch (const HwStateException& e) {
    EXPECT_EQ(e.what(), path + ".none: cannot open hardware state file");
  }
}

TEST_F(HwStateFileTest, SaveReplacesAnExistingFileWhole) {
  chip->save(path);
  ChipPtr other = TarnTest::makeChip("legacy");
  other->hwTableIs("z", 3, 4)->entryIs(row(4, {42}));
  other->save(path);
  expectSameChip(*other, *HwTableCollection::load(path, nullptr), "second save");
  EXPECT_EQ(listing(), std::vector<std::string>{"hw.state"});
  EXPECT_THROW(other->save((dir / "missing" / "hw.state").string()), Fen::Exception);
  EXPECT_EQ(listing(), std::vector<std::string>{"hw.state"});
}

}  // namespace
