#pragma once
// Behavioural suite that every direct table passes. A table instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                    // a TarnSwitchTable::DirectTable<XEntry>
//     using Entry = XEntry;
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();            // built-in chip profile to run on
//     static std::string hwTableWord();        // word of the table's hardware table names
//     static std::vector<XKey> sampleKeys();   // three or more keys whose rows lie in the table
//     static std::vector<XKey> outsideKeys();  // keys whose rows lie outside it (may be empty)
//     static XResult result(unsigned n);       // distinct non-empty results for distinct n
//     static constexpr unsigned copies = 1;    // mirrored hardware copies
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, DirectTableSuite, ::testing::Types<XTraits>);
//
// Expected hardware words always come from the table's own convertor (setHwBuffer,
// nullDirectEntry, hwIndexFromItem, decodeHwEntry), so the suite holds for any row layout.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "TarnSwitchTable/TarnTableDirectBase.h"
#include "support/HwRows.h"
#include "support/Print.h"
#include "support/WarmRestart.h"

namespace TarnTest {

template <class Traits>
class DirectTableSuite : public ::testing::Test {
 protected:
  using Table = typename Traits::Table;
  using Entry = typename Traits::Entry;
  using Key = typename Table::Key;
  using Result = typename Table::Result;
  using Model = std::map<Key, Result>;
  using Convertor = TarnSwitchTable::DirectBaseConvertor;
  using Item = Fen::PtrConst<TarnSwitchTable::DirectBaseEntry>;
  using HwIndex = TarnSwitchApi::HwIndex;
  static constexpr unsigned copies = Traits::copies;

  void SetUp() override {
    chip_ = makeChip(Traits::profile());
    restart(StartMode::cold);
  }

  // Replaces the table under test by a new table started on the same chip.
  Started<Table>& restart(StartMode mode) {
    started_ = startTable(Traits::makeTable(), chip_, mode);
    return started_;
  }
  Table& table() const { return *started_.table; }
  Convertor& conv() const { return *table().profileConvertor(); }
  Fen::RingTrace& ring() const { return *started_.ring; }
  Fen::U64 writes() const { return chip_->writeCount(); }
  TarnSwitchApi::HwTableConfig& copy(unsigned c) const { return *conv().hwTables().at(c); }
  Model software() const { return table().entry().map(); }
  static Key key(unsigned i) { return Traits::sampleKeys().at(i); }
  static Result result(unsigned n) { return Traits::result(n); }

  static Fen::Ptr<Entry> item(const Key& k, const Result& r) {
    auto e = Fen::makePtr<Entry>();
    e->valid = true;
    e->key = k;
    e->result = r;
    return e;
  }
  static Words encode(Convertor& c, const Item& e) {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
    c.setHwBuffer(e, buffer);
    return Words(buffer, buffer + c.hwEntryWords());
  }
  HwIndex index(const Key& k) const { return conv().hwIndexFromItem(item(k, Result())); }
  Words encoding(const Key& k, const Result& r) const { return encode(conv(), item(k, r)); }
  Words nullEncoding(HwIndex i) const { return encode(conv(), conv().nullDirectEntry(i)); }

  // Whether every copy holds `want` at row i.
  ::testing::AssertionResult rowEverywhere(HwIndex i, const Words& want) const {
    for (const auto& hw : conv().hwTables()) {
      Words got = rowWords(*hw, i, conv().hwEntryWords());
      if (got != want) {
        return ::testing::AssertionFailure() << hw->name() << " row " << i << " holds "
                                             << wordsText(got) << ", expected " << wordsText(want);
      }
    }
    return ::testing::AssertionSuccess();
  }
  // Writes `words` to row i of copy c behind the library's back (or of every copy).
  void plant(unsigned c, HwIndex i, const Words& words) {
    TarnSwitchApi::HwEntryConfig row(i);
    row.dataArrayIs(words.data(), words.size());
    copy(c).entryIs(row);
  }
  void plantEverywhere(HwIndex i, const Words& words) {
    for (unsigned c = 0; c < copies; ++c) plant(c, i, words);
  }
  bool ringHas(const std::string& line) const {
    for (const auto& l : ring().lines()) {
      if (l == line) return true;
    }
    return false;
  }

  // Whether every row of every copy of `c` holds the encoding of `model`'s entry for that row,
  // or the null encoding where it has none; names the first row that does not.
  ::testing::AssertionResult hardwareMatches(Convertor& c, const Model& model) {
    const TarnSwitchApi::HwTableDescriptor& desc = *c.descriptor(0);
    std::map<HwIndex, Words> expected;
    for (const auto& [k, r] : model) {
      HwIndex i = c.hwIndexFromItem(item(k, r));
      if (desc.contains(i)) expected[i] = encode(c, item(k, r));
    }
    if (nullRows_.empty()) {
      for (Fen::U64 i = desc.lower(); i <= desc.upper(); ++i)
        nullRows_.push_back(encode(c, c.nullDirectEntry(HwIndex(i))));
    }
    for (const auto& hw : c.hwTables()) {
      for (Fen::U64 i = desc.lower(); i <= desc.upper(); ++i) {
        auto it = expected.find(HwIndex(i));
        const Words& want = it != expected.end() ? it->second : nullRows_[i - desc.lower()];
        if (!rowHolds(*hw, HwIndex(i), want)) {
          return ::testing::AssertionFailure()
                 << hw->name() << " row " << i << " holds "
                 << wordsText(rowWords(*hw, HwIndex(i), c.hwEntryWords())) << ", expected "
                 << wordsText(want);
        }
      }
    }
    return ::testing::AssertionSuccess();
  }

  ChipPtr chip_;
  Started<Table> started_;

 private:
  static bool rowHolds(const TarnSwitchApi::HwTableConfig& hw, HwIndex i, const Words& want) {
    const TarnSwitchApi::HwEntryConfig* row = hw.storedEntry(i);
    if (!row) return false;
    for (unsigned w = 0; w < want.size(); ++w) {
      if ((w < row->words() ? row->dataArray()[w] : 0u) != want[w]) return false;
    }
    return true;
  }

  std::vector<Words> nullRows_;  // null encoding of every row, from the first full check
};

TYPED_TEST_SUITE_P(DirectTableSuite);

TYPED_TEST_P(DirectTableSuite, ColdStartWritesTheNullEncodingToEveryRowOfEveryCopy) {
  const auto& desc = *this->conv().descriptor(0);
  const Fen::U64 rows = Fen::U64(desc.upper()) - desc.lower() + 1;
  ASSERT_EQ(this->conv().hwTableCount(), this->copies);
  EXPECT_EQ(this->started_.writes, rows * this->copies);
  const std::string name = this->table().hwTableName(TypeParam::hwTableWord());
  for (unsigned c = 0; c < this->copies; ++c) {
    EXPECT_EQ(this->copy(c).name().rfind(name, 0), 0u) << this->copy(c).name();
    EXPECT_EQ(this->copy(c).writeCount(), rows) << "each row written once";
  }
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {}));

  // A cold start on a chip that holds entries empties their rows and only those.
  this->table().entryIs(this->key(0), this->result(1));
  this->table().entryIs(this->key(1), this->result(2));
  auto& again = this->restart(StartMode::cold);
  EXPECT_EQ(again.writes, 2u * this->copies);
  EXPECT_TRUE(this->software().empty());
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {}));
}

TYPED_TEST_P(DirectTableSuite, WritesEachCopyOnceAndOnlyWhenTheValueChanges) {
  const auto k = this->key(0);
  const auto i = this->index(k);
  const auto start = this->writes();
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->writes() - start, this->copies);
  EXPECT_TRUE(this->rowEverywhere(i, this->encoding(k, this->result(1))));
  this->table().entryIs(k, this->result(1));
  this->table().handleEntry(k);  // reprogramming equal words reads and compares only
  EXPECT_EQ(this->writes() - start, this->copies);
  this->table().entryIs(k, this->result(2));
  EXPECT_EQ(this->writes() - start, 2u * this->copies);
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {{k, this->result(2)}}));
}

TYPED_TEST_P(DirectTableSuite, DeleteWritesTheNullEncodingWithItsStaticBits) {
  const auto k = this->key(1);
  const auto i = this->index(k);
  auto null = this->conv().nullDirectEntry(i);
  const auto& nullEntry = static_cast<const typename TestFixture::Entry&>(*null);
  EXPECT_FALSE(nullEntry.valid);
  EXPECT_EQ(nullEntry.key, k);
  EXPECT_EQ(nullEntry.result, typename TestFixture::Result());

  this->table().entryIs(k, this->result(1));
  const auto start = this->writes();
  this->table().entryDel(k);
  EXPECT_EQ(this->writes() - start, this->copies);
  const Words nullWords = this->nullEncoding(i);
  EXPECT_TRUE(this->rowEverywhere(i, nullWords));
  Fen::U32 stat[TarnSwitchApi::hwEntryMaxWords] = {};
  this->conv().setStaticBuffer(i, stat);
  for (const auto& [word, mask] : this->conv().hwStaticWord())
    EXPECT_EQ(nullWords.at(word) & mask, stat[word] & mask) << "static bits of word " << +word;
  EXPECT_FALSE(this->conv().decodeHwEntry(i)->valid);
  this->table().entryDel(k);  // absent already: nothing to do
  EXPECT_EQ(this->writes() - start, this->copies);
}

TYPED_TEST_P(DirectTableSuite, EntryDelAllEmptiesEveryRowAndNotifiesEachKey) {
  std::set<typename TestFixture::Key> keys, notified;
  this->table().entryObserverIs([&](const auto& k) { notified.insert(k); });
  for (unsigned n = 0; n < 3; ++n) {
    keys.insert(this->key(n));
    this->table().entryIs(this->key(n), this->result(n));
    this->table().hwInconsistentEntryIs(this->key(n), true);
  }
  notified.clear();
  const auto start = this->writes();
  this->table().entryDelAll();
  EXPECT_TRUE(this->software().empty());
  EXPECT_EQ(notified, keys);
  EXPECT_EQ(this->writes() - start, 3u * this->copies);
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {}));
  this->table().hwInconsistentEntryDelAll();
  EXPECT_EQ(this->table().hwInconsistentEntry().size(), 0u);
}

TYPED_TEST_P(DirectTableSuite, WarmStartWritesOnlyAbsentOrStaticDamagedRows) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  const auto statics = this->conv().hwStaticWord();
  const bool damaged = !statics.empty();
  // For k0 take a result with data bits in the word to damage, so that losing them would show.
  auto r0 = this->result(1);
  for (unsigned n = 1; damaged && n < 32; ++n) {
    const auto [word, mask] = *statics.begin();
    if (this->encoding(k0, this->result(n)).at(word) & ~mask) {
      r0 = this->result(n);
      break;
    }
  }
  const auto r1 = this->result(2);
  this->table().entryIs(k0, r0);
  this->table().entryIs(k1, r1);
  auto& last = this->copy(this->copies - 1);
  if (damaged) {  // flip the lowest static bit of the first static word
    const Fen::U32 mask = statics.begin()->second;
    last.damageIs(this->index(k0), statics.begin()->first, mask & (~mask + 1u));
  }
  last.entryDel(this->index(k2));

  auto& warm = this->restart(StartMode::warm);
  EXPECT_EQ(warm.writes, damaged ? 2u : 1u);
  EXPECT_EQ(this->ring().count("Update hwEntry for"), damaged ? 1u : 0u);
  if (damaged) {
    EXPECT_TRUE(this->ringHas("Update hwEntry for " + std::to_string(this->index(k0))));
  }
  EXPECT_EQ(this->ring().count("initialize hwEntry for"), 1u);
  EXPECT_TRUE(this->ringHas("initialize hwEntry for " + std::to_string(this->index(k2))));
  EXPECT_EQ(this->software(), (typename TestFixture::Model{{k0, r0}, {k1, r1}}));
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {{k0, r0}, {k1, r1}}));
}

TYPED_TEST_P(DirectTableSuite, SyncAdoptsUnknownRowsAndRewritesDifferingOrFlaggedOnes) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  this->table().entryIs(k1, this->result(1));
  this->table().entryIs(k2, this->result(2));
  this->plantEverywhere(this->index(k0), this->encoding(k0, this->result(3)));
  this->plantEverywhere(this->index(k1), this->encoding(k1, this->result(4)));
  this->table().hwInconsistentEntryIs(k2, true);
  // A flagged row may differ in a copy that decoding does not read.
  if (this->copies > 1)
    this->plant(this->copies - 1, this->index(k2), this->encoding(k2, this->result(4)));
  const auto start = this->writes();
  this->conv().syncEntries();

  const typename TestFixture::Model want{
      {k0, this->result(3)}, {k1, this->result(1)}, {k2, this->result(2)}};
  EXPECT_EQ(this->software(), want);
  EXPECT_TRUE(this->hardwareMatches(this->conv(), want));
  EXPECT_FALSE(this->table().hwInconsistentEntry(k2));
  EXPECT_EQ(this->writes() - start, this->copies + (this->copies > 1 ? 1u : 0u));
  EXPECT_EQ(this->ring().count("Recovered sw table entry from HW"), 1u);
  EXPECT_TRUE(this->ringHas("Recovered sw table entry from HW " +
                            this->item(k0, this->result(3))->toStrep()));
  EXPECT_EQ(this->ring().count("Update entry in hardware"), 2u);
  EXPECT_TRUE(
      this->ringHas("Update entry in hardware " + this->item(k1, this->result(1))->toStrep()));
  EXPECT_TRUE(
      this->ringHas("Update entry in hardware " + this->item(k2, this->result(2))->toStrep()));

  const auto lines = this->ring().size();  // a second reconcile finds nothing to do
  this->conv().syncEntries();
  EXPECT_EQ(this->writes() - start, this->copies + (this->copies > 1 ? 1u : 0u));
  EXPECT_EQ(this->ring().size(), lines);
}

TYPED_TEST_P(DirectTableSuite, DisabledTableIsNeverWrittenButStillAdoptsFromHardware) {
  const auto k0 = this->key(0), k1 = this->key(1);
  this->conv().descriptor(0)->enabledIs(false);
  const auto start = this->writes();
  this->table().entryIs(k1, this->result(1));
  EXPECT_EQ(this->writes(), start);
  EXPECT_TRUE(this->rowEverywhere(this->index(k1), this->nullEncoding(this->index(k1))));

  this->plantEverywhere(this->index(k0), this->encoding(k0, this->result(3)));
  this->plantEverywhere(this->index(k1), this->encoding(k1, this->result(4)));
  this->table().hwInconsistentEntryIs(k1, true);
  const auto planted = this->writes();
  this->conv().syncEntries();
  EXPECT_EQ(this->writes(), planted);
  EXPECT_EQ(this->software(),
            (typename TestFixture::Model{{k0, this->result(3)}, {k1, this->result(1)}}));
  EXPECT_TRUE(this->rowEverywhere(this->index(k1), this->encoding(k1, this->result(4))));
  EXPECT_TRUE(this->table().hwInconsistentEntry(k1));
  EXPECT_EQ(this->ring().count("Recovered sw table entry from HW"), 1u);
  EXPECT_EQ(this->ring().count("Update entry in hardware"), 0u);
}

TYPED_TEST_P(DirectTableSuite, CorruptedRowIsReportedAndTheOperationGoesOn) {
  const auto k = this->key(0);
  const auto i = this->index(k);
  this->table().entryIs(k, this->result(1));
  auto& last = this->copy(this->copies - 1);
  last.corruptionIs(i, true);
  const auto start = this->writes();
  this->table().entryIs(k, this->result(2));
  EXPECT_EQ(this->conv().corruptionReports(),
            std::vector<std::string>{"corrupted entry at HwIndex " + std::to_string(i) +
                                     " of hardware table '" + last.name() + "'"});
  EXPECT_EQ(this->writes() - start, this->copies);
  EXPECT_TRUE(this->rowEverywhere(i, this->encoding(k, this->result(2))));
  TarnSwitchApi::HwEntryConfig read;
  EXPECT_NO_THROW(last.entry(i, read)) << "the rewrite clears the corruption";

  // A warm start cannot trust a corrupted row: it reports it and writes the row empty.
  this->copy(0).corruptionIs(i, true);
  this->restart(StartMode::warm);
  EXPECT_EQ(this->conv().corruptionReports().size(), 1u);
  EXPECT_EQ(rowWords(this->copy(0), i, this->conv().hwEntryWords()), this->nullEncoding(i));
  EXPECT_TRUE(this->ringHas("initialize hwEntry for " + std::to_string(i)));
  EXPECT_EQ(this->table().entry(k), nullptr);
}

TYPED_TEST_P(DirectTableSuite, MissingDescriptorOfTableZeroIsFatal) {
  auto t = TypeParam::makeTable();
  t->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(this->chip_),
                           this->chip_);
  ASSERT_EQ(t->profileConvertor()->descriptor(0), nullptr);
  const auto k = this->key(0);
  EXPECT_DEATH(t->entryIs(k, this->result(1)), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->initHwEntries(true), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->syncEntries(), "desc != nullptr");
}

TYPED_TEST_P(DirectTableSuite, KeysOutsideTheTableAreStoredButNeverWritten) {
  const auto outside = TypeParam::outsideKeys();
  if (outside.empty()) GTEST_SKIP() << "every key of this table has a row";
  const auto start = this->writes();
  typename TestFixture::Model want;
  for (const auto& k : outside) {
    EXPECT_FALSE(this->conv().descriptor(0)->contains(this->index(k))) << k;
    this->table().entryIs(k, this->result(1));
    this->table().entryIs(k, this->result(2));
    want[k] = this->result(2);
  }
  EXPECT_EQ(this->software(), want);
  this->table().entryDelAll();
  EXPECT_EQ(this->writes(), start);
  EXPECT_TRUE(this->hardwareMatches(this->conv(), {}));
}

TYPED_TEST_P(DirectTableSuite, UnchangedChipSurvivesAWarmRestartWithoutWrites) {
  typename TestFixture::Model want;
  for (unsigned n = 0; n < TypeParam::sampleKeys().size(); ++n)
    want[this->key(n)] = this->result(n);
  verifyAcrossWarmRestart([] { return TypeParam::makeTable(); },
                          [&](typename TestFixture::Table& t) {
                            for (const auto& [k, r] : want) t.entryIs(k, r);
                          },
                          [&](typename TestFixture::Table& t, TarnSwitchApi::HwTableCollection&) {
                            EXPECT_EQ(t.entry().map(), want);
                            EXPECT_TRUE(this->hardwareMatches(*t.profileConvertor(), want));
                          },
                          TypeParam::profile());
}

// Random set, change, delete, delete-all and warm-restart steps against a std::map model:
// after every step software equals the model and every row of every copy holds its encoding.
// Entries whose rows lie outside the table never reach hardware, so a restart forgets them.
TYPED_TEST_P(DirectTableSuite, RandomOperationsKeepHardwareEqualToTheModel) {
  std::vector<typename TestFixture::Key> keys = TypeParam::sampleKeys();
  for (const auto& k : TypeParam::outsideKeys()) keys.push_back(k);
  for (unsigned seed : {1u, 2u, 3u}) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 rng(seed);
    this->restart(StartMode::cold);
    typename TestFixture::Model model;
    for (unsigned step = 0; step < 120; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      const unsigned op = rng() % 20;
      const auto k = keys[rng() % keys.size()];
      if (op < 10) {
        model[k] = this->result(rng() % 4);
        this->table().entryIs(k, model[k]);
      } else if (op < 16) {
        model.erase(k);
        this->table().entryDel(k);
      } else if (op < 17) {
        model.clear();
        this->table().entryDelAll();
      } else {
        auto& warm = this->restart(StartMode::warm);
        for (const auto& o : TypeParam::outsideKeys()) model.erase(o);
        ASSERT_EQ(warm.writes, 0u) << "a warm restart of an unchanged chip writes no row";
        ASSERT_EQ(warm.ring->count("Recovered sw table entry from HW"), model.size());
      }
      ASSERT_EQ(this->software(), model);
      ASSERT_TRUE(this->hardwareMatches(this->conv(), model));
    }
  }
}

REGISTER_TYPED_TEST_SUITE_P(
    DirectTableSuite, ColdStartWritesTheNullEncodingToEveryRowOfEveryCopy,
    WritesEachCopyOnceAndOnlyWhenTheValueChanges, DeleteWritesTheNullEncodingWithItsStaticBits,
    EntryDelAllEmptiesEveryRowAndNotifiesEachKey, WarmStartWritesOnlyAbsentOrStaticDamagedRows,
    SyncAdoptsUnknownRowsAndRewritesDifferingOrFlaggedOnes,
    DisabledTableIsNeverWrittenButStillAdoptsFromHardware,
    CorruptedRowIsReportedAndTheOperationGoesOn, MissingDescriptorOfTableZeroIsFatal,
    KeysOutsideTheTableAreStoredButNeverWritten, UnchangedChipSurvivesAWarmRestartWithoutWrites,
    RandomOperationsKeepHardwareEqualToTheModel);

}  // namespace TarnTest
