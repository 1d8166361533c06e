#pragma once
// Behavioural suite that every hashed table passes. A table instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                 // a TarnSwitchTable::HashTable
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();         // built-in chip profile to run on
//     static XKey key(unsigned n);          // distinct keys for distinct n
//     static XResult result(unsigned n);    // distinct non-empty results for distinct n
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, HashTableSuite, ::testing::Types<XTraits>);
//
// Expected words come from the layout's encoding of the cuckoo engine's placement; each table's
// own tests pin the exact words.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "TarnSwitchTable/TarnTableHashBase.h"
#include "support/Chip.h"

namespace TarnTest {

template <class Traits>
class HashTableSuite : public TableFixture<Traits> {
 protected:
  using Base = TableFixture<Traits>;
  using typename Base::HwIndex;
  using typename Base::Key;
  using typename Base::Model;
  using typename Base::Result;
  using Item = typename Traits::Table::Item;
  using Location = TarnSwitchTable::CuckooLocation;
  using Base::conv;
  using Base::table;

  HwIndex upper() const { return conv().rowUpper(); }
  Words encode(const Item& item, HwIndex row) const {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords];
    conv().encodeItem(item, row, 0, buffer);
    return Words(buffer, buffer + conv().hwEntryWords());
  }
  // The bucket of `k` in `way`, as a location.
  static Location at(const Key& k, Fen::U32 way) {
    return Location(way, Traits::Table::Layout::bucket(k, Fen::U8(way)));
  }
  // Where the cuckoo engine holds `k` (the test fails when it holds it nowhere).
  Location placed(const Key& k) const {
    const auto* owned = table().ownItem(k);
    Location where;
    EXPECT_TRUE(owned && table().cuckooHashTable()->lookupItem(
                             Fen::PtrConst<Keel::Cuckoo::HashItem>(owned), &where))
        << k;
    return where;
  }
  // Writes the encoding of (k, r) at `where` behind the library's back, to every copy.
  void plant(const Key& k, const Result& r, const Location& where) {
    const HwIndex row = conv().hwIndex(where);
    for (const auto& c : conv().copies()) plantRow(*c.table, row, encode(Item{true, k, r}, row));
  }
  // Whether `k` with a valid row sits at one of its candidate locations of the first copy.
  bool inHardware(const Key& k) const {
    for (Fen::U32 w = 0; w < conv().hashWays(); ++w) {
      const HwIndex row = conv().hwIndex(at(k, w));
      Words got = rowWords(*conv().copies().front().table, row, TarnSwitchApi::hwEntryMaxWords);
      Item e;
      if (!got.empty() && conv().decodeItem(row, got.data(), e) && e.key == k) return true;
    }
    return false;
  }

  // Every copy holds what the cuckoo engine's placement encodes, the valid rows decode to
  // exactly `model`, each key once, and every entry the engine places is the table's own.
  ::testing::AssertionResult hardwareMatches(const Model& model) const {
    Model decoded;
    for (HwIndex i = 0; i <= upper(); ++i) {
      const auto* resident = table().cuckooHashTable()->residentAt(conv().cuckooLocation(i));
      const auto* entry = static_cast<const typename Traits::Table::Entry*>(resident);
      if (entry && table().ownItem(entry->key) != entry)
        return ::testing::AssertionFailure() << entry->key << " placed but not the table's own";
      Fen::U32 want[TarnSwitchApi::hwEntryMaxWords];
      const unsigned n = conv().expectedHwRow(0, i, want);
      for (const auto& c : conv().copies()) {
        const Words got = rowWords(*c.table, i, n);
        if (got != Words(want, want + n))
          return ::testing::AssertionFailure()
                 << c.table->name() << " row " << i << " holds " << ::testing::PrintToString(got);
      }
      Item e;
      if (conv().decodeItem(i, want, e) && !decoded.emplace(e.key, e.result).second)
        return ::testing::AssertionFailure() << e.key << " twice in hardware";
    }
    if (decoded != model) return ::testing::AssertionFailure() << "hardware holds other entries";
    return ::testing::AssertionSuccess();
  }
};

TYPED_TEST_SUITE_P(HashTableSuite);

// A cold start writes every location of every copy once; locations and HwIndex convert both
// ways across the whole table.
TYPED_TEST_P(HashTableSuite, ColdStartAndLocationConversion) {
  auto& conv = this->conv();
  EXPECT_EQ(Fen::U64(this->upper()) + 1, Fen::U64(conv.hashWays()) * conv.hashBuckets());
  EXPECT_EQ(this->started_.writes, (Fen::U64(this->upper()) + 1) * conv.copies().size());
  for (TarnSwitchApi::HwIndex i = 0; i <= this->upper(); ++i)
    ASSERT_EQ(conv.hwIndex(conv.cuckooLocation(i)), i);
  EXPECT_TRUE(this->hardwareMatches({}));
}

// Changing the result of a placed key rewrites its location in every copy and moves nothing;
// a delete writes the null encoding there.
TYPED_TEST_P(HashTableSuite, UpdateRewritesInPlaceAndDeleteWritesNull) {
  const auto k = this->key(0);
  this->table().entryIs(k, this->result(1));
  const auto where = this->placed(k);
  std::vector<TarnSwitchApi::HwIndex> written;
  this->chip_->writeObserverIs(
      [&](const TarnSwitchApi::HwTableConfig&, const TarnSwitchApi::HwEntryConfig& row) {
        written.push_back(row.index());
      });
  const auto moves = this->table().cuckooHashTable()->moveCount();
  this->table().entryIs(k, this->result(2));
  this->table().handleEntry(k);  // equal words: nothing written
  const auto copies = this->conv().copies().size();
  EXPECT_EQ(written, std::vector<TarnSwitchApi::HwIndex>(copies, this->conv().hwIndex(where)));
  EXPECT_EQ(this->table().cuckooHashTable()->moveCount(), moves);
  EXPECT_EQ(this->placed(k), where);
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));

  this->table().entryDel(k);
  this->table().entryDel(k);  // absent: never placed, nothing to write
  EXPECT_EQ(written.size(), 2u * copies);
  EXPECT_TRUE(this->hardwareMatches({}));
}

// Reconcile after a restart: an entry found in hardware stays at its location (here the last
// way, not the first) and is adopted; one that differs from software or is flagged inconsistent
// is rewritten with software's result; a row at a location its key does not hash to, or a second
// row of a key, is removed; later changes and deletes reach the entries the engine holds.
TYPED_TEST_P(HashTableSuite, WarmRestartKeepsLocationsAdoptsRewritesAndRemoves) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2), k3 = this->key(3);
  const auto r = [](unsigned n) { return TypeParam::result(n); };
  const Fen::U32 last = this->conv().hashWays() - 1;
  const auto at = [&](const typename TestFixture::Key& k) { return TestFixture::at(k, last); };
  ASSERT_TRUE(at(k0) != at(k1) && at(k1) != at(k2) && at(k0) != at(k2)) << "keys 0..2 collide";
  this->plant(k0, r(3), at(k0));
  this->plant(k1, r(4), at(k1));
  this->plant(k2, r(2), at(k2));
  this->plant(k2, r(5), TestFixture::at(k2, 0));  // a second row of k2, found first
  typename TestFixture::Location wrong = at(k3);
  wrong.bucket ^= 1;  // not where k3 hashes
  this->plant(k3, r(6), wrong);
  auto fresh = TypeParam::makeTable();
  fresh->entryIs(k1, r(1));
  fresh->entryIs(k2, r(2));
  fresh->hwInconsistentEntryIs(k2, true);
  this->started_ = startTable(fresh, this->chip_, StartMode::warm);
  const typename TestFixture::Model want{{k0, r(3)}, {k1, r(1)}, {k2, r(2)}};
  EXPECT_EQ(this->software(), want);
  EXPECT_EQ(this->placed(k0), at(k0));
  EXPECT_EQ(this->placed(k1), at(k1));
  EXPECT_EQ(this->placed(k2), TestFixture::at(k2, 0)) << "the first row found wins";
  const auto copies = this->conv().copies().size();
  // k1 and k2 (whose software result differs from the row found) are rewritten, the second k2
  // row and the misplaced k3 row are emptied: one write a copy each.
  EXPECT_EQ(this->started_.writes, 4 * copies);
  EXPECT_FALSE(this->table().hwInconsistentEntry(k2));
  EXPECT_TRUE(this->hardwareMatches(want));
  EXPECT_EQ(this->traced("Recovered sw table entry from HW " + this->text(k0, r(3))), 1u);
  EXPECT_EQ(this->traced("Update entry in hardware " + this->text(k1, r(1))), 1u);
  EXPECT_EQ(this->traced("Removed misplaced entry from HW " + this->text(k2, r(2))), 1u);
  EXPECT_EQ(this->traced("Removed misplaced entry from HW " + this->text(k3, r(6))), 1u);
  // A location the cuckoo engine already holds cannot be learnt again.
  EXPECT_DEATH(this->conv().syncEntries(), "ec->oldItem\\(\\) == __null");
  // Deletes and changes reach the entries the engine holds, after restarts of both kinds.
  this->acrossWarmRestarts([&] { EXPECT_TRUE(this->hardwareMatches(want)); });
  EXPECT_EQ(this->restart(Restart::warmKeep), 0u);
  this->table().entryDel(k0);
  this->table().entryIs(k1, r(7));
  EXPECT_FALSE(this->inHardware(k0));
  EXPECT_TRUE(this->hardwareMatches({{k1, r(7)}, {k2, r(2)}}));
}

// While disabled, a warm restart adopts and places entries but writes nothing; a flag stays.
TYPED_TEST_P(HashTableSuite, DisabledWarmRestartAdoptsOnly) {
  const auto k0 = this->key(0), k1 = this->key(1);
  const auto r = [](unsigned n) { return TypeParam::result(n); };
  this->plant(k0, r(3), TestFixture::at(k0, 0));
  this->plant(k1, r(4), TestFixture::at(k1, 0));
  typename TestFixture::Location wrong = TestFixture::at(k1, 0);
  wrong.bucket ^= 1;
  this->plant(k1, r(4), wrong);
  auto off = TypeParam::makeTable();
  off->entryIs(k1, r(1));
  off->hwInconsistentEntryIs(k1, true);
  off->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(this->chip_),
                             this->chip_);
  off->doCreateHwTable(TarnSwitchApi::TableState::init, false);
  off->profileConvertor()->descriptor(0)->enabledIs(false);
  const auto start = this->writes();
  off->syncEntries();
  off->doInitComplete();
  EXPECT_EQ(this->writes(), start);
  EXPECT_EQ(off->entry().map(), (typename TestFixture::Model{{k0, r(3)}, {k1, r(1)}}));
  EXPECT_NE(off->ownItem(k1), nullptr);
  EXPECT_TRUE(off->hwInconsistentEntry(k1));
}

// Keys are inserted while the capacity query allows; the first key it refuses stops the
// process on insert, and the query itself changed nothing.
TYPED_TEST_P(HashTableSuite, InsertBeyondCapacityIsFatal) {
  unsigned n = 0;
  while (this->table().entryInsertable(this->key(n))) this->table().entryIs(this->key(n++), {});
  ASSERT_GT(n, 1u);
  const auto start = this->writes();
  EXPECT_FALSE(this->table().entryInsertable(this->key(n)));
  EXPECT_TRUE(this->table().entryInsertable(this->key(0)));
  EXPECT_EQ(this->writes(), start);
  EXPECT_DEATH(this->table().entryIs(this->key(n), this->result(1)), "success");
}

// Random sets, changes, deletes, damaged position bits and restarts of every kind against a
// std::map model, within capacity through the query. A write observer checks that no installed
// key is ever missing from hardware, even between the writes of one insert that moves residents
// (which the engine writes in the cuckoo engine's order, the new key last); after every step
// hardware equals the encoding of the placement and decodes to the model; a warm restart of an
// undamaged chip writes nothing and keeps every location.
TYPED_TEST_P(HashTableSuite, RandomOperationsMatchModel) {
  const unsigned seed = 4242;
  std::mt19937 rng(seed);
  typename TestFixture::Model model, installed;
  bool checking = false, damaged = false;
  auto observe = [&](const TarnSwitchApi::HwTableConfig& t, const TarnSwitchApi::HwEntryConfig&) {
    if (!checking || &t != this->conv().copies().front().table) return;
    for (const auto& kv : installed) ASSERT_TRUE(this->inHardware(kv.first)) << kv.first;
  };
  this->chip_->writeObserverIs(observe);
  const unsigned pool = std::min<unsigned>(this->upper() + 1, 96);
  const auto [word, mask] = *this->conv().hwStaticWord().begin();
  for (unsigned step = 0; step < 500; ++step) {
    SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
    const unsigned op = rng() % 24;
    const auto k = this->key(rng() % pool);
    installed = model;
    checking = !damaged;
    if (op < 12) {
      if (this->table().entryInsertable(k))
        this->table().entryIs(k, model[k] = this->result(rng() % 4));
    } else if (op < 18) {
      installed.erase(k);
      model.erase(k);
      this->table().entryDel(k);
    } else if (op < 20) {
      const auto& c = this->conv().copies()[rng() % this->conv().copies().size()];
      c.table->damageIs(rng() % (this->upper() + 1), word, mask & (~mask + 1u));
      damaged = true;
    } else {
      checking = false;
      const Restart how = op == 20 ? Restart::cold : op < 22 ? Restart::warmKeep : Restart::warm;
      std::map<typename TestFixture::Key, typename TestFixture::Location> where;
      for (const auto& kv : model) where[kv.first] = this->placed(kv.first);
      if (how == Restart::cold) model.clear(), where.clear();
      const Fen::U64 written = this->restart(how);
      ASSERT_TRUE(how == Restart::cold || damaged || written == 0) << written << " rows written";
      damaged = false;
      for (const auto& [key, loc] : where) ASSERT_EQ(this->placed(key), loc) << key;
    }
    checking = false;
    ASSERT_EQ(this->table().cuckooHashTableStatus()->cmdCount(), 0u) << "a command not written";
    ASSERT_EQ(this->software(), model);
    if (damaged) continue;
    ASSERT_TRUE(this->hardwareMatches(model));
  }
}

REGISTER_TYPED_TEST_SUITE_P(HashTableSuite, ColdStartAndLocationConversion,
                            UpdateRewritesInPlaceAndDeleteWritesNull,
                            WarmRestartKeepsLocationsAdoptsRewritesAndRemoves,
                            DisabledWarmRestartAdoptsOnly, InsertBeyondCapacityIsFatal,
                            RandomOperationsMatchModel);

}  // namespace TarnTest
