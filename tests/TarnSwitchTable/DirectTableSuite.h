#pragma once
// Behavioural suite that every direct table passes, whatever its copies hold. A table
// instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                    // a TarnSwitchTable::DirectTable
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();            // built-in chip profile to run on
//     static std::vector<XKey> sampleKeys();   // three or more keys whose rows lie in the table
//     static std::vector<XKey> outsideKeys();  // keys whose rows lie outside it (may be empty)
//     static XResult result(unsigned n);       // distinct non-empty results for distinct n
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, DirectTableSuite, ::testing::Types<XTraits>);
//
// Expected words come from the layout's encoding of a model of the entries, copy by copy; each
// table's own tests pin the exact words.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "TarnSwitchTable/TarnTableDirectBase.h"
#include "support/Chip.h"

namespace TarnTest {

template <class Traits>
struct DirectKeys : Traits {
  static typename Traits::Table::Key key(unsigned i) { return Traits::sampleKeys().at(i); }
};

template <class Traits>
class DirectTableSuite : public TableFixture<DirectKeys<Traits>> {
 protected:
  using Base = TableFixture<DirectKeys<Traits>>;
  using typename Base::HwIndex;
  using typename Base::Key;
  using typename Base::Model;
  using typename Base::Result;
  using Item = typename Traits::Table::Item;
  using Copy = TarnSwitchTable::Copy;
  using Base::conv;
  using Base::holding;
  using Base::row;

  const std::vector<Copy>& copies() const { return conv().copies(); }
  // The first copy holding the row of `k` that is wide enough to carry its static words: the
  // copy a row is read back from, so its damage is a position-bit repair, not a disagreement
  // between mirrored copies (which the read-back flags as an inconsistent entry).
  const Copy& damageable(const Key& k) const {
    for (const Copy* c : holding(k))
      if (c->words > conv().hwStaticWord().rbegin()->first) return *c;
    return *holding(k).front();
  }
  // What copy `c` should hold at `index` when software holds `model`.
  Words want(const Model& model, const Copy& c, HwIndex index) const {
    Item item;
    conv().nullItem(index, item);
    auto it = model.find(item.key);
    if (it != model.end()) item = Item{true, it->first, it->second};
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords];
    conv().encodeItem(item, index, c.encoding, buffer);
    return Words(buffer, buffer + c.words);
  }
  // Writes what copy `c` would hold for (k, r) behind the library's back.
  void plant(const Copy& c, const Key& k, const Result& r) {
    plantRow(*c.table, row(k), want({{k, r}}, c, row(k)));
  }
  // Whether every row of every copy holds what it should for `model`; names the first that
  // does not.
  ::testing::AssertionResult hardwareMatches(const Model& model) const {
    return this->everyRowHolds([&](const Copy& c, HwIndex i) { return want(model, c, i); });
  }
  // A bit of copy `c`'s row at `index` that is neither static nor read back: flipping it leaves
  // what the row decodes to as it was.
  std::pair<Fen::U8, Fen::U32> unreadBit(const Copy& c, HwIndex index) {
    Words held = rowWords(*c.table, index, TarnSwitchApi::hwEntryMaxWords);
    Item before, after;
    const bool valid = conv().decodeItem(index, held.data(), before);
    for (Fen::U8 w = 0; w < c.words; ++w) {
      const auto statics = conv().hwStaticWord().find(w);
      const Fen::U32 fixed = statics == conv().hwStaticWord().end() ? 0 : statics->second;
      for (Fen::U32 bit = 1; bit != 0; bit <<= 1) {
        held[w] ^= bit;
        const bool same = !(fixed & bit) && conv().decodeItem(index, held.data(), after) == valid &&
                          after.toStrep() == before.toStrep();
        held[w] ^= bit;
        if (same) return {w, bit};
      }
    }
    ADD_FAILURE() << "no unread bit in row " << index;
    return {0, 0};
  }
};

TYPED_TEST_SUITE_P(DirectTableSuite);

// A cold start writes every row of every copy once on a fresh chip; entries the table holds
// before it connects are written with the rest, each row once.
TYPED_TEST_P(DirectTableSuite, ColdStartWritesEachRowOnce) {
  Fen::U64 rows = 0;
  for (const auto& c : this->copies()) rows += Fen::U64(c.upper) - c.lower + 1;
  EXPECT_EQ(this->started_.writes, rows);
  EXPECT_TRUE(this->hardwareMatches({}));
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  this->table().entryIs(k0, this->result(1));
  this->table().entryIs(k1, this->result(2));
  auto fresh = TypeParam::makeTable();
  const typename TestFixture::Model want{{k1, this->result(3)}, {k2, this->result(4)}};
  for (const auto& [k, r] : want) fresh->entryIs(k, r);
  this->started_ = startTable(fresh, this->chip_, StartMode::cold);
  EXPECT_EQ(this->started_.writes,
            this->holding(k0).size() + this->holding(k1).size() + this->holding(k2).size());
  this->acrossWarmRestarts([&] {
    EXPECT_EQ(this->software(), want);
    EXPECT_TRUE(this->hardwareMatches(want));
  });
}

// A change writes the copies holding the row; an unchanged value writes nothing, but repairs a
// damaged row, as does deleting an absent key. A change over a row whose read is corrupted is
// reported and written like any other.
TYPED_TEST_P(DirectTableSuite, WritesOnlyChangedRowsAndRepairsOnRequest) {
  const auto k = this->key(0);
  const Fen::U64 copies = this->holding(k).size();
  auto& last = *this->holding(k).back()->table;
  const auto start = this->writes();
  this->table().entryIs(k, this->result(1));
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->writes() - start, copies);
  last.damageIs(this->row(k), 0, 1);
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->writes() - start, copies + 1);
  last.corruptionIs(this->row(k), true);
  this->table().entryIs(k, this->result(2));
  EXPECT_EQ(this->conv().corruptionReports(),
            std::vector<std::string>{"corrupted entry at HwIndex " + std::to_string(this->row(k)) +
                                     " of hardware table '" + last.name() + "'"});
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));
  this->table().entryDel(k);
  EXPECT_EQ(this->writes() - start, 3 * copies + 1);
  last.damageIs(this->row(k), 0, 1);
  this->table().entryDel(k);
  EXPECT_EQ(this->writes() - start, 3 * copies + 2);
  EXPECT_TRUE(this->hardwareMatches({}));
  // Keys whose rows lie outside the table are stored but never written.
  for (const auto& o : TypeParam::outsideKeys()) this->table().entryIs(o, this->result(1));
  EXPECT_EQ(this->software().size(), TypeParam::outsideKeys().size());
  this->table().entryDelAll();
  EXPECT_TRUE(this->software().empty());
  EXPECT_EQ(this->writes() - start, 3 * copies + 2);
}

// A warm restart writes each row that needs it once, whatever the reasons: a damaged position
// bit, a row missing from a copy, software changed while the agent was down, a corrupted read,
// stale bits that no field reads, a damaged empty row.
TYPED_TEST_P(DirectTableSuite, WarmRestartRepairsEachRowOnce) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  ASSERT_FALSE(this->conv().hwStaticWord().empty()) << "the suite needs a static word";
  const auto [word, mask] = *this->conv().hwStaticWord().begin();
  const Fen::U32 lowest = mask & (~mask + 1u);
  // Copies kept by value: restarts replace the convertor, the chip keeps its tables.
  const TarnSwitchTable::Copy c0 = this->damageable(k0), c1 = this->damageable(k1),
                              c2 = this->damageable(k2);
  typename TestFixture::Model model{{k0, this->result(1)}, {k1, this->result(2)}};
  for (const auto& [k, r] : model) this->table().entryIs(k, r);
  c0.table->damageIs(this->row(k0), word, lowest);
  c2.table->entryDel(this->row(k2));
  EXPECT_EQ(this->restart(Restart::warmKeep), 2u);
  // Repaired as a damaged position (or, in a mirror of the primary copy, as a disagreeing copy).
  EXPECT_EQ(this->traced("Update hwEntry for " + std::to_string(this->row(k0))) +
                this->traced("Update entry in hardware " + this->text(k0, this->result(1))),
            1u);
  EXPECT_EQ(this->traced("initialize hwEntry for " + std::to_string(this->row(k2))), 1u);
  EXPECT_TRUE(this->hardwareMatches(model));

  // Damaged position bits on a row whose software result changed meanwhile: one write a copy.
  c0.table->damageIs(this->row(k0), word, lowest);
  auto fresh = TypeParam::makeTable();
  model[k0] = this->result(3);
  for (const auto& [k, r] : model) fresh->entryIs(k, r);
  this->started_ = startTable(fresh, this->chip_, StartMode::warm);
  EXPECT_EQ(this->started_.writes, this->holding(k0).size());

  // A corrupted read, stale unread bits of an entry and of an empty row: one write each.
  for (const auto& [c, k] : {std::pair{c1, k1}, {c2, k2}}) {
    const auto [word, bit] = this->unreadBit(c, this->row(k));
    c.table->damageIs(this->row(k), word, bit);
  }
  this->holding(k0).front()->table->corruptionIs(this->row(k0), true);
  EXPECT_EQ(this->restart(Restart::warmKeep), 3u);
  EXPECT_FALSE(this->conv().corruptionReports().empty());
  this->acrossWarmRestarts([&] {
    EXPECT_EQ(this->software(), model);
    EXPECT_TRUE(this->hardwareMatches(model));
  });
}

// Reconcile after a restart: adopt rows software lacks, rewrite rows that differ or that are
// flagged inconsistent (copies that disagree are flagged by the read-back), clearing the flag;
// while the table is disabled, adopt only.
TYPED_TEST_P(DirectTableSuite, SyncAdoptsAndRewrites) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  const auto r = [](unsigned n) { return TypeParam::result(n); };
  this->conv().descriptor(0)->enabledIs(false);
  this->table().entryIs(k1, r(1));
  this->table().entryIs(k2, r(2));
  EXPECT_TRUE(this->hardwareMatches({})) << "a disabled table is never written";
  for (const auto& [k, res] : {std::pair{k0, r(3)}, {k1, r(4)}, {k2, r(2)}})
    for (const auto* c : this->holding(k)) this->plant(*c, k, res);
  const bool mirrored = this->holding(k2).size() > 1;
  if (mirrored) {
    this->plant(*this->holding(k2).back(), k2, r(4));  // read back from the first copy
  } else {
    this->table().hwInconsistentEntryIs(k2, true);
  }
  const typename TestFixture::Model want{{k0, r(3)}, {k1, r(1)}, {k2, r(2)}};
  const auto start = this->writes();
  this->conv().syncEntries();
  EXPECT_EQ(this->writes(), start);
  EXPECT_EQ(this->software(), want);
  EXPECT_EQ(this->traced("Update entry in hardware "), 0u);
  EXPECT_TRUE(this->table().hwInconsistentEntry(k2));

  this->conv().descriptor(0)->enabledIs(true);
  this->conv().syncEntries();
  this->table().hwInconsistentEntryIs(k1, false);  // a record of false flags nothing
  this->conv().syncEntries();                      // the second finds nothing to do
  EXPECT_EQ(this->writes() - start, this->holding(k1).size() + (mirrored ? 1u : 0u));
  EXPECT_EQ(this->software(), want);
  EXPECT_TRUE(this->hardwareMatches(want));
  EXPECT_FALSE(this->table().hwInconsistentEntry(k2));
  EXPECT_EQ(this->traced("Recovered sw table entry from HW " + this->text(k0, r(3))), 1u);
  EXPECT_EQ(this->traced("Update entry in hardware " + this->text(k1, r(1))), 1u);
  EXPECT_EQ(this->traced("Update entry in hardware " + this->text(k2, r(2))), 1u);
}

TYPED_TEST_P(DirectTableSuite, MissingDescriptorIsFatal) {
  auto t = TypeParam::makeTable();
  t->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(this->chip_),
                           this->chip_);
  EXPECT_DEATH(t->entryIs(this->key(0), this->result(1)), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->initHwEntries(true), "desc != nullptr");
  EXPECT_DEATH(t->profileConvertor()->syncEntries(), "desc != nullptr");
}

// Random sets, deletes, delete-alls, damage and restarts of every kind against a std::map model:
// after every step software equals the model and every row of every copy holds what it should;
// a warm restart of an undamaged chip writes no row.
TYPED_TEST_P(DirectTableSuite, RandomOperationsMatchModel) {
  auto keys = TypeParam::sampleKeys();
  for (const auto& k : TypeParam::outsideKeys()) keys.push_back(k);
  for (unsigned seed : {1u, 2u, 3u}) {
    std::mt19937 rng(seed);
    this->restart(Restart::cold);
    typename TestFixture::Model model;
    bool damaged = false;
    for (unsigned step = 0; step < 150; ++step) {
      SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
      const unsigned op = rng() % 20;
      const auto k = keys[rng() % keys.size()];
      if (op < 9) {
        this->table().entryIs(k, model[k] = this->result(rng() % 4));
      } else if (op < 14) {
        model.erase(k);
        this->table().entryDel(k);
      } else if (op < 15) {
        model.clear();
        this->table().entryDelAll();
      } else if (op < 17) {
        // A position bit flips behind the library's back; the next restart repairs it.
        const auto sample = this->key(rng() % TypeParam::sampleKeys().size());
        const auto [word, mask] = *this->conv().hwStaticWord().begin();
        this->damageable(sample).table->damageIs(this->row(sample), word, mask & (~mask + 1u));
        damaged = true;
        continue;
      } else {
        const Restart how = op == 17 ? Restart::cold : op == 18 ? Restart::warmKeep : Restart::warm;
        if (how == Restart::cold) model.clear();
        if (how == Restart::warm)  // keys outside the table were never in hardware: forgotten
          for (const auto& o : TypeParam::outsideKeys()) model.erase(o);
        const Fen::U64 written = this->restart(how);
        ASSERT_TRUE(how == Restart::cold || damaged || written == 0) << written << " rows written";
        damaged = false;
      }
      if (damaged) continue;
      ASSERT_EQ(this->software(), model);
      typename TestFixture::Model inside;
      for (const auto& [key, res] : model)
        if (!this->holding(key).empty()) inside.emplace(key, res);
      ASSERT_TRUE(this->hardwareMatches(inside));
    }
  }
}

REGISTER_TYPED_TEST_SUITE_P(DirectTableSuite, ColdStartWritesEachRowOnce,
                            WritesOnlyChangedRowsAndRepairsOnRequest, WarmRestartRepairsEachRowOnce,
                            SyncAdoptsAndRewrites, MissingDescriptorIsFatal,
                            RandomOperationsMatchModel);

}  // namespace TarnTest
