#pragma once
// Behavioural suite that every Layer-2 table passes, whatever its copies hold. A table
// instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                 // a TarnSwitchTable::Layer2Table
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();         // built-in chip profile to run on
//     static XKey key(unsigned n);          // distinct keys with rows for n = 0..3
//     static XResult result(const XKey&, unsigned n);  // distinct non-default results of a
//                                                      // key for distinct n
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, Layer2TableSuite, ::testing::Types<XTraits>);
//
// Expected words come from the layout's encoding, copy by copy; each table's own tests pin the
// exact words.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "TarnSwitchTable/TarnTableLayer2.h"
#include "support/Chip.h"

namespace TarnTest {

template <class Traits>
class Layer2TableSuite : public TableFixture<Traits> {
 protected:
  using Base = TableFixture<Traits>;
  using typename Base::HwIndex;
  using typename Base::Key;
  using typename Base::Model;
  using typename Base::Result;
  using Layout = typename Traits::Table::Layout;
  using Copy = TarnSwitchTable::Copy;
  using Base::conv;
  using Base::holding;
  using Base::row;
  static constexpr unsigned keys = 4;

  Words encode(const Key& k, const Result& r, const Copy& c) const {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
    conv().layout().encodeRow(k, r, c.encoding, buffer);
    return Words(buffer, buffer + c.words);
  }
  void plant(const Copy& c, const Key& k, const Result& r) {
    plantRow(*c.table, row(k), encode(k, r, c));
  }
  // Every copy holding `k`'s row holds the encoding of `r`, and `check` expects it there (a start
  // that has not read hardware back yet may keep rows `check` does not expect: `checked` false).
  ::testing::AssertionResult holds(const Key& k, const Result& r, bool checked = true) const {
    for (const Copy* c : holding(k)) {
      const Words got = rowWords(*c->table, row(k), c->words), want = encode(k, r, *c);
      Fen::U32 expected[TarnSwitchApi::hwEntryMaxWords];
      const unsigned n = conv().expectedHwRow(c->id, row(k), expected);
      if (got != want || (checked && Words(expected, expected + n) != want))
        return ::testing::AssertionFailure()
               << c->table->name() << " row " << row(k) << " holds "
               << ::testing::PrintToString(got) << ", expected " << ::testing::PrintToString(want)
               << ", check expects " << ::testing::PrintToString(Words(expected, expected + n));
    }
    return ::testing::AssertionSuccess();
  }
  // Every row of every copy holds software's result for its key, or the default, and `check`
  // expects it there.
  ::testing::AssertionResult hardwareMatches(const Model& model) const {
    return this->everyRowHolds([&](const Copy& c, HwIndex i) {
      const Key k = conv().layout().keyFromHwIndex(i);
      const auto it = model.find(k);
      return encode(k, it == model.end() ? none(k) : it->second, c);
    });
  }
  static Result none(const Key& k) { return Layout::defaultResult(k); }
  static Result value(const Key& k, unsigned n) { return Traits::result(k, n); }
  static Result removed(const Key& k) { return TarnSwitchTable::layer2Removed<Layout>(k); }
};

TYPED_TEST_SUITE_P(Layer2TableSuite);

// A value set twice writes once per copy; a delete writes the removed key's words (the default
// unless the table says otherwise, and then not zeros); an equal value, or the delete of an
// absent key, writes nothing. A change over a row whose read is corrupted is reported and
// written all the same.
TYPED_TEST_P(Layer2TableSuite, WritesChangesOnceAndDeletesTheDefault) {
  const auto k = this->key(0);
  const Fen::U64 copies = this->holding(k).size();
  const auto start = this->writes();
  this->table().entryIs(k, this->value(k, 1));
  this->table().entryIs(k, this->value(k, 1));
  EXPECT_EQ(this->writes() - start, copies);
  EXPECT_TRUE(this->holds(k, this->value(k, 1)));
  this->table().entryDel(k);
  this->table().entryDel(k);
  EXPECT_EQ(this->writes() - start, 2 * copies);
  EXPECT_TRUE(this->holds(k, this->removed(k)));
  auto& last = *this->holding(k).back()->table;
  last.corruptionIs(this->row(k), true);
  this->table().entryIs(k, this->value(k, 1));
  EXPECT_EQ(this->conv().corruptionReports(),
            std::vector<std::string>{"corrupted entry at HwIndex " + std::to_string(this->row(k)) +
                                     " of hardware table '" + last.name() + "'"});
  EXPECT_TRUE(this->holds(k, this->value(k, 1)));
  // A table of one copy never flags a key, not even one whose row cannot be read back: the
  // read-back writes software's result over that row at once.
  if (this->conv().copies().size() > 1) return;
  this->plant(*this->holding(k).front(), k, this->value(k, 2));
  last.corruptionIs(this->row(k), true);
  this->conv().syncEntries();
  EXPECT_FALSE(this->table().hwInconsistentEntry(k));
  EXPECT_TRUE(this->holds(k, this->value(k, 1)));
}

// A warm start keeps the rows of absent keys as they stand, writes software's, and writes the
// default where a copy lacks a row; a reset writes the default to every row of absent keys.
TYPED_TEST_P(Layer2TableSuite, InitKeepsRowsOfAbsentKeysUnlessReset) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  for (const auto* c : this->holding(k0)) this->plant(*c, k0, this->value(k0, 2));
  this->table().entryIs(k1, this->value(k1, 3));
  for (const auto* c : this->holding(k1)) this->plant(*c, k1, this->value(k1, 4));
  for (const auto* c : this->holding(k2)) c->table->entryDel(this->row(k2));
  this->conv().initHwEntries(false);
  EXPECT_TRUE(this->holds(k0, this->value(k0, 2), false));
  EXPECT_TRUE(this->holds(k1, this->value(k1, 3)));
  EXPECT_TRUE(this->holds(k2, this->none(k2)));
  this->conv().initHwEntries(true);
  EXPECT_TRUE(this->holds(k0, this->none(k0)));
  EXPECT_TRUE(this->holds(k1, this->value(k1, 3)));
}

// The read-back recreates non-default entries and none for rows holding the default; a restart
// over matching hardware writes nothing.
TYPED_TEST_P(Layer2TableSuite, ReadBackRecreatesNonDefaultEntries) {
  typename TestFixture::Model want{{this->key(0), this->value(this->key(0), 1)},
                                   {this->key(2), this->value(this->key(2), 2)}};
  for (const auto& [k, r] : want) this->table().entryIs(k, r);
  const auto k1 = this->key(1);
  this->table().entryIs(k1, this->value(k1, 3));
  this->table().entryIs(k1, this->none(k1));  // software holds a default
  this->table().entryDel(k1);
  if (!(this->removed(k1) == this->none(k1))) {
    // A removed key written with a result of its own reads back as that entry.
    this->restart(Restart::warmKeep);
    want[k1] = this->removed(k1);
  }
  this->acrossWarmRestarts([&] {
    EXPECT_EQ(this->software(), want);
    EXPECT_TRUE(this->hardwareMatches(want));
  });
}

// Copies that disagree flag the key (a single copy never does) and the entry read back is kept;
// a flagged key is rewritten from software before the table is back in service (by the next
// read-back, or by the end of the start), unless the table reads flagged keys back like any other.
TYPED_TEST_P(Layer2TableSuite, DisagreeingCopiesAreFlaggedThenRewritten) {
  const auto k = this->key(0);
  const auto copies = this->holding(k);
  this->table().entryIs(k, this->value(k, 1));
  this->plant(*copies.back(), k, this->value(k, 2));
  this->conv().syncEntries();
  EXPECT_EQ(this->table().hwInconsistentEntry(k), copies.size() > 1);
  EXPECT_EQ(*this->table().entry(k), this->value(k, copies.size() > 1 ? 1 : 2));
  this->table().hwInconsistentEntryIs(k, true);
  this->plant(*copies.back(), k, this->value(k, 3));
  this->conv().syncEntries();
  this->table().doInitComplete();
  const bool rewrites = TarnSwitchTable::RewritesFlagged<typename TestFixture::Layout>::value;
  const auto want = this->value(k, rewrites ? (copies.size() > 1 ? 1 : 2) : 3);
  EXPECT_EQ(*this->table().entry(k), want);
  EXPECT_TRUE(this->holds(k, want));
}

// A copy that disagrees with the copy a key is read back from, which holds the default, is
// written before the restart that finds it completes (nothing else would write it: the flag dies
// with the table the next restart replaces).
TYPED_TEST_P(Layer2TableSuite, ARestartRepairsTheCopyThatDisagrees) {
  const auto k = this->key(0);
  if (this->holding(k).size() < 2) GTEST_SKIP() << "a key held by one copy only";
  for (Restart how : {Restart::warmKeep, Restart::warm}) {
    this->plant(*this->holding(k).back(), k, this->value(k, 2));
    EXPECT_EQ(this->restart(how), 1u);
    EXPECT_TRUE(this->table().hwInconsistentEntry(k));
    EXPECT_TRUE(this->holds(k, this->none(k)));
    EXPECT_EQ(this->table().entry(k), nullptr);
  }
}

// Random sets, deletes, delete-alls, damage to one copy and restarts of every kind against a
// std::map model: software equals the model and hardware its encoding after every step; a warm
// restart over undamaged hardware writes nothing, and an agent that restores its software before
// reconnecting gets every damaged copy repaired.
TYPED_TEST_P(Layer2TableSuite, RandomOperationsMatchModel) {
  for (unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 rng(seed);
    this->restart(Restart::cold);
    // `gone`: keys removed with a result of their own, which hardware holds until a read-back
    // adopts it.
    typename TestFixture::Model model, gone;
    const auto remove = [&](const typename TestFixture::Key& k) {
      if (model.erase(k) && !(this->removed(k) == this->none(k))) gone[k] = this->removed(k);
    };
    const auto expected = [&] {
      auto all = gone;
      for (const auto& [k, r] : model) all[k] = r;
      return all;
    };
    for (unsigned step = 0; step < 80; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const unsigned op = rng() % 20;
      const auto k = this->key(rng() % this->keys);
      if (op < 9) {
        gone.erase(k);
        this->table().entryIs(k, model[k] = this->value(k, rng() % 4));
      } else if (op < 14) {
        remove(k);
        this->table().entryDel(k);
      } else if (op < 15) {
        for (const auto& key : this->table().entry().keys()) remove(key);
        this->table().entryDelAll();
      } else if (op < 17 && (model.count(k) || this->holding(k).size() > 1)) {
        // One copy is damaged (for an absent key, not the first: that one would be adopted).
        const auto copies = this->holding(k);
        const unsigned first = model.count(k) ? 0 : 1;
        const TarnSwitchTable::Copy& c = *copies[first + rng() % (copies.size() - first)];
        c.table->damageIs(this->row(k), rng() % c.compareWords, 1u << (rng() % 32));
        ASSERT_EQ(this->restart(Restart::warmKeep), 1u) << "the damaged row alone is rewritten";
        model = expected();
        gone.clear();
      } else if (op >= 17) {
        const Restart how = op == 17 ? Restart::cold : op == 18 ? Restart::warmKeep : Restart::warm;
        model = how == Restart::cold ? typename TestFixture::Model() : expected();
        gone.clear();
        const Fen::U64 written = this->restart(how);
        ASSERT_TRUE(how == Restart::cold || written == 0) << written << " rows written";
        ASSERT_TRUE(this->hardwareMatches(model));
      }
      ASSERT_EQ(this->software(), model);
      const auto all = expected();
      ASSERT_TRUE(this->holds(k, all.count(k) ? all.at(k) : this->none(k)));
    }
  }
}

REGISTER_TYPED_TEST_SUITE_P(Layer2TableSuite, WritesChangesOnceAndDeletesTheDefault,
                            InitKeepsRowsOfAbsentKeysUnlessReset,
                            ReadBackRecreatesNonDefaultEntries,
                            DisagreeingCopiesAreFlaggedThenRewritten,
                            ARestartRepairsTheCopyThatDisagrees, RandomOperationsMatchModel);

}  // namespace TarnTest
