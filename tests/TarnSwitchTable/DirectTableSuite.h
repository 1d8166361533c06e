#pragma once
// Behavioural suite that every direct table passes. A table instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                    // a TarnSwitchTable::DirectTable<XEntry>
//     using Entry = XEntry;
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();            // built-in chip profile to run on
//     static std::vector<XKey> sampleKeys();   // three or more keys whose rows lie in the table
//     static std::vector<XKey> outsideKeys();  // keys whose rows lie outside it (may be empty)
//     static XResult result(unsigned n);       // distinct non-empty results for distinct n
//     static constexpr unsigned copies = 1;    // mirrored hardware copies
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, DirectTableSuite, ::testing::Types<XTraits>);
//
// Expected hardware words always come from the table's own convertor (setHwBuffer,
// nullDirectEntry), so the suite holds for any row layout; each table's own tests pin the words.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "TarnSwitchTable/TarnTableDirectBase.h"
#include "support/Chip.h"

namespace TarnTest {

template <class Traits>
class DirectTableSuite : public TableFixture<Traits> {
 protected:
  using typename TableFixture<Traits>::Key;
  using typename TableFixture<Traits>::Result;
  using typename TableFixture<Traits>::Model;
  using typename TableFixture<Traits>::HwIndex;
  using TableFixture<Traits>::conv;
  using TableFixture<Traits>::copy;
  using TableFixture<Traits>::copies;

  static Key key(unsigned i) { return Traits::sampleKeys().at(i); }

  static Fen::Ptr<typename Traits::Entry> item(const Key& k, const Result& r) {
    auto e = Fen::makePtr<typename Traits::Entry>();
    e->valid = true;
    e->key = k;
    e->result = r;
    return e;
  }
  HwIndex index(const Key& k) const { return conv().hwIndexFromItem(item(k, Result())); }
  Words encode(const Fen::PtrConst<TarnSwitchTable::DirectBaseEntry>& e) const {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
    conv().setHwBuffer(e, buffer);
    return Words(buffer, buffer + conv().hwEntryWords());
  }
  // Writes the encoding of (k, r) behind the library's back to copies `from` and up.
  void plant(const Key& k, const Result& r, unsigned from = 0) {
    TarnSwitchApi::HwEntryConfig row(index(k));
    const Words words = encode(item(k, r));
    row.dataArrayIs(words.data(), words.size());
    for (unsigned c = from; c < copies; ++c) copy(c).entryIs(row);
  }

  // Whether every row of every copy holds the encoding of `model`'s entry for that row, or the
  // null encoding where it has none; names the first row that does not.
  ::testing::AssertionResult hardwareMatches(const Model& model) const {
    std::map<HwIndex, Words> want;
    for (const auto& [k, r] : model) want[index(k)] = encode(item(k, r));
    const auto& desc = *conv().descriptor(0);
    for (Fen::U64 i = desc.lower(); i <= desc.upper(); ++i) {
      auto it = want.find(HwIndex(i));
      const Words w = it != want.end() ? it->second : encode(conv().nullDirectEntry(HwIndex(i)));
      for (unsigned c = 0; c < copies; ++c) {
        const Words got = rowWords(copy(c), HwIndex(i), w.size());
        if (got != w)
          return ::testing::AssertionFailure()
                 << copy(c).name() << " row " << i << " holds " << ::testing::PrintToString(got)
                 << ", expected " << ::testing::PrintToString(w);
      }
    }
    return ::testing::AssertionSuccess();
  }
};

TYPED_TEST_SUITE_P(DirectTableSuite);

// A cold start visits every row of every copy: a fresh chip gets every row written once, a used
// one only the rows that held entries.
TYPED_TEST_P(DirectTableSuite, ColdStartEmptiesEveryRow) {
  const auto& desc = *this->conv().descriptor(0);
  ASSERT_EQ(this->conv().hwTableCount(), this->copies);
  EXPECT_EQ(this->started_.writes, (Fen::U64(desc.upper()) - desc.lower() + 1) * this->copies);
  EXPECT_TRUE(this->hardwareMatches({}));
  this->table().entryIs(this->key(0), this->result(1));
  this->table().entryIs(this->key(1), this->result(2));
  EXPECT_EQ(this->restart(StartMode::cold), 2u * this->copies);
  EXPECT_TRUE(this->software().empty());
  EXPECT_TRUE(this->hardwareMatches({}));
}

TYPED_TEST_P(DirectTableSuite, WritesOnlyChangedRows) {
  const auto k = this->key(0);
  const auto start = this->writes();
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->writes() - start, this->copies);
  this->table().entryIs(k, this->result(1));
  this->table().handleEntry(k);  // equal words: read and compare only
  EXPECT_EQ(this->writes() - start, this->copies);
  this->table().entryIs(k, this->result(2));
  EXPECT_EQ(this->writes() - start, 2u * this->copies);
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));

  this->table().entryDel(k);
  this->table().entryDel(k);  // absent already: nothing to do
  EXPECT_TRUE(this->hardwareMatches({}));
  // Keys whose rows lie outside the table are stored but never written.
  for (const auto& o : TypeParam::outsideKeys()) {
    EXPECT_FALSE(this->conv().descriptor(0)->contains(this->index(o))) << o;
    this->table().entryIs(o, this->result(1));
  }
  EXPECT_EQ(this->software().size(), TypeParam::outsideKeys().size());
  this->table().entryDelAll();
  EXPECT_EQ(this->writes() - start, 3u * this->copies);
}

TYPED_TEST_P(DirectTableSuite, WarmStartRepairsOnlyBadRows) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  const auto statics = this->conv().hwStaticWord();
  const bool damaged = !statics.empty();
  const auto [word, mask] = damaged ? *statics.begin() : std::pair<const Fen::U8, Fen::U32>{};
  // k0's result has data bits in the damaged word, so that losing them would show.
  unsigned n = 1;
  while (damaged && n < 32 && !(this->encode(this->item(k0, this->result(n))).at(word) & ~mask))
    ++n;
  ASSERT_LT(n, 32u) << "no result(n) sets a data bit in static word " << +word;
  const typename TestFixture::Model want{{k0, this->result(n)}, {k1, this->result(n + 1)}};
  for (const auto& [k, r] : want) this->table().entryIs(k, r);
  auto& last = this->copy(this->copies - 1);
  if (damaged) last.damageIs(this->index(k0), word, mask & (~mask + 1u));  // lowest static bit
  last.entryDel(this->index(k2));

  EXPECT_EQ(this->restart(StartMode::warm), damaged ? 2u : 1u);
  EXPECT_EQ(this->traced("Update hwEntry for " + std::to_string(this->index(k0))),
            damaged ? 1u : 0u);
  EXPECT_EQ(this->traced("initialize hwEntry for " + std::to_string(this->index(k2))), 1u);
  EXPECT_EQ(this->software(), want);
  EXPECT_TRUE(this->hardwareMatches(want));
}

// Reconcile after a restart: adopt rows software lacks, rewrite rows that differ or that are
// flagged inconsistent (clearing the flag), and, while the table is disabled, adopt only.
TYPED_TEST_P(DirectTableSuite, SyncAdoptsAndRewrites) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  const auto r = [](unsigned n) { return TypeParam::result(n); };
  this->conv().descriptor(0)->enabledIs(false);
  this->table().entryIs(k1, r(1));
  this->table().entryIs(k2, r(2));
  EXPECT_TRUE(this->hardwareMatches({})) << "a disabled table is never written";
  this->plant(k0, r(3));
  this->plant(k1, r(4));
  this->plant(k2, r(2));
  if (this->copies > 1) this->plant(k2, r(4), this->copies - 1);  // table 0 alone is decoded
  this->table().hwInconsistentEntryIs(k2, true);
  const typename TestFixture::Model want{{k0, r(3)}, {k1, r(1)}, {k2, r(2)}};
  const auto start = this->writes();
  this->conv().syncEntries();
  EXPECT_EQ(this->writes(), start);
  EXPECT_EQ(this->software(), want);
  EXPECT_EQ(this->traced("Update entry in hardware "), 0u);
  EXPECT_TRUE(this->table().hwInconsistentEntry(k2));

  this->conv().descriptor(0)->enabledIs(true);
  this->conv().syncEntries();
  this->conv().syncEntries();  // the second finds nothing to do
  EXPECT_EQ(this->writes() - start, this->copies + (this->copies > 1 ? 1u : 0u));
  EXPECT_EQ(this->software(), want);
  EXPECT_TRUE(this->hardwareMatches(want));
  EXPECT_FALSE(this->table().hwInconsistentEntry(k2));
  const std::string adopted = "Recovered sw table entry from HW ",
                    update = "Update entry in hardware ";
  EXPECT_EQ(this->traced(adopted + this->item(k0, r(3))->toStrep()), 1u);
  EXPECT_EQ(this->traced(update + this->item(k1, r(1))->toStrep()), 1u);
  EXPECT_EQ(this->traced(update + this->item(k2, r(2))->toStrep()), 1u);
}

TYPED_TEST_P(DirectTableSuite, CorruptedReadIsReported) {
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
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));
}

TYPED_TEST_P(DirectTableSuite, MissingDescriptorIsFatal) {
  auto t = TypeParam::makeTable();
  t->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(this->chip_),
                           this->chip_);
  EXPECT_DEATH(t->entryIs(this->key(0), this->result(1)), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->initHwEntries(true), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->syncEntries(), "desc != nullptr");
}

// Random set, delete, delete-all and warm-restart steps against a std::map model: after every
// step software equals the model and every row of every copy holds its encoding; a warm restart
// of the unchanged chip writes no row and adopts exactly the model (entries whose rows lie
// outside the table never reach hardware, so a restart forgets them).
TYPED_TEST_P(DirectTableSuite, RandomOperationsMatchModel) {
  auto keys = TypeParam::sampleKeys();
  for (const auto& k : TypeParam::outsideKeys()) keys.push_back(k);
  for (unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 rng(seed);
    this->restart(StartMode::cold);
    typename TestFixture::Model model;
    for (unsigned step = 0; step < 120; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const unsigned op = rng() % 20;
      const auto k = keys[rng() % keys.size()];
      if (op < 10) {
        this->table().entryIs(k, model[k] = this->result(rng() % 4));
      } else if (op < 16) {
        model.erase(k);
        this->table().entryDel(k);
      } else if (op < 17) {
        model.clear();
        this->table().entryDelAll();
      } else {
        for (const auto& o : TypeParam::outsideKeys()) model.erase(o);
        ASSERT_EQ(this->restart(StartMode::warm), 0u) << "unchanged chip, yet rows written";
        ASSERT_EQ(this->traced("Recovered sw table entry from HW "), model.size());
      }
      ASSERT_EQ(this->software(), model);
      ASSERT_TRUE(this->hardwareMatches(model));
    }
  }
}

REGISTER_TYPED_TEST_SUITE_P(DirectTableSuite, ColdStartEmptiesEveryRow, WritesOnlyChangedRows,
                            WarmStartRepairsOnlyBadRows, SyncAdoptsAndRewrites,
                            CorruptedReadIsReported, MissingDescriptorIsFatal,
                            RandomOperationsMatchModel);

}  // namespace TarnTest
