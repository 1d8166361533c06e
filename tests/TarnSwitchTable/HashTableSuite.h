#pragma once
// Behavioural suite that every hashed table passes. A table instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                 // a TarnSwitchTable::HashTable<XEntry>
//     using Entry = XEntry;
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();         // built-in chip profile to run on
//     static XKey key(unsigned n);          // distinct keys for distinct n
//     static XResult result(unsigned n);    // distinct non-empty results for distinct n
//     static constexpr unsigned copies = 1; // mirrored hardware copies
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, HashTableSuite, ::testing::Types<XTraits>);
//
// Expected words come from the table's own convertor (setHwBuffer, nullHashEntry), so the suite
// holds for any row layout; each table's own tests pin the words.
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
  using typename TableFixture<Traits>::Key;
  using typename TableFixture<Traits>::Result;
  using typename TableFixture<Traits>::Model;
  using typename TableFixture<Traits>::HwIndex;
  using TableFixture<Traits>::conv;
  using TableFixture<Traits>::copy;
  using TableFixture<Traits>::copies;
  using TableFixture<Traits>::table;
  using Entry = typename Traits::Entry;
  using Location = TarnSwitchTable::CuckooLocation;

  static Key key(unsigned n) { return Traits::key(n); }
  HwIndex upper() const { return conv().descriptor(0)->upper(); }

  static Fen::Ptr<Entry> item(const Key& k, const Result& r, bool valid = true) {
    auto e = Fen::makePtr<Entry>();
    e->valid = valid;
    e->key = k;
    e->result = r;
    return e;
  }
  Words encode(const TarnSwitchTable::HashEntryConstPtr& e, const Location& at) const {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
    conv().setHwBuffer(e, at, buffer);
    return Words(buffer, buffer + conv().hwEntryWords());
  }
  // Where the cuckoo engine holds `k` (the test fails when it holds it nowhere).
  Location placed(const Key& k) const {
    Location at;
    EXPECT_TRUE(table().cuckooHashTable()->lookupItem(item(k, Result()), &at)) << k;
    return at;
  }
  // Writes the encoding of (k, r) at `at` behind the library's back, to every copy.
  void plant(const Key& k, const Result& r, const Location& at) {
    TarnSwitchApi::HwEntryConfig row(conv().hwIndex(at));
    const Words words = encode(item(k, r), at);
    row.dataArrayIs(words.data(), words.size());
    for (unsigned c = 0; c < copies; ++c) copy(c).entryIs(row);
  }
  // Whether `k` with a valid row sits at one of its candidate locations of copy 0.
  bool inHardware(const Key& k) const {
    auto probe = item(k, Result());
    for (Fen::U32 w = 0; w < conv().hashWays(); ++w) {
      const Location at(w, probe->getHash(Fen::U8(w)));
      const Words got = rowWords(copy(0), conv().hwIndex(at), conv().hwEntryWords());
      auto e = conv().decodeHwWords(conv().hwIndex(at), got.data());
      if (e->valid && static_cast<const Entry&>(*e).key == k) return true;
    }
    return false;
  }

  // Every copy holds what the cuckoo engine's placement encodes, and the valid rows decode to
  // exactly `model`, each key once.
  ::testing::AssertionResult hardwareMatches(const Model& model) const {
    Model decoded;
    for (HwIndex i = 0; i <= upper(); ++i) {
      Fen::U32 want[TarnSwitchApi::hwEntryMaxWords];
      const unsigned n = conv().expectedHwRow(0, i, want);
      for (unsigned c = 0; c < copies; ++c) {
        const Words got = rowWords(copy(c), i, n);
        if (got != Words(want, want + n))
          return ::testing::AssertionFailure()
                 << copy(c).name() << " row " << i << " holds " << ::testing::PrintToString(got);
      }
      auto e = conv().decodeHwWords(i, want);
      const Entry& entry = static_cast<const Entry&>(*e);
      if (e->valid && !decoded.emplace(entry.key, entry.result).second)
        return ::testing::AssertionFailure() << entry.key << " twice in hardware";
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
  EXPECT_EQ(this->started_.writes, (Fen::U64(this->upper()) + 1) * this->copies);
  for (TarnSwitchApi::HwIndex i = 0; i <= this->upper(); ++i) {
    const auto at = conv.cuckooLocation(i);
    ASSERT_EQ(conv.hwIndex(at), i);
    ASSERT_EQ(at.tableId.value(), i / conv.hashBuckets());
  }
  EXPECT_TRUE(this->hardwareMatches({}));
}

// Changing the result of a placed key rewrites its location in every copy and moves nothing;
// a delete writes the null encoding there.
TYPED_TEST_P(HashTableSuite, UpdateRewritesInPlaceAndDeleteWritesNull) {
  const auto k = this->key(0);
  this->table().entryIs(k, this->result(1));
  const auto at = this->placed(k);
  std::vector<TarnSwitchApi::HwIndex> written;
  this->chip_->writeObserverIs(
      [&](const TarnSwitchApi::HwTableConfig&, const TarnSwitchApi::HwEntryConfig& row) {
        written.push_back(row.index());
      });
  const auto moves = this->table().cuckooHashTable()->moveCount();
  this->table().entryIs(k, this->result(2));
  this->table().handleEntry(k);  // equal words: nothing written
  EXPECT_EQ(written, std::vector<TarnSwitchApi::HwIndex>(this->copies, this->conv().hwIndex(at)));
  EXPECT_EQ(this->table().cuckooHashTable()->moveCount(), moves);
  EXPECT_EQ(this->placed(k), at);
  EXPECT_EQ(this->conv().decodeHwEntry(this->conv().hwIndex(at))->toStrep(),
            this->item(k, this->result(2))->toStrep());
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));

  this->table().entryDel(k);
  this->table().entryDel(k);  // absent already: nothing to do
  EXPECT_EQ(written.size(), 2u * this->copies);
  EXPECT_EQ(rowWords(this->copy(0), this->conv().hwIndex(at), this->conv().hwEntryWords()),
            this->encode(this->conv().nullHashEntry(), at));
  EXPECT_TRUE(this->hardwareMatches({}));
}

// Reconcile after a restart: an entry found in hardware stays at its location (here the last
// way, not the first) and is adopted; one that differs from software or is flagged inconsistent
// is rewritten with software's result; while disabled, entries are adopted only.
TYPED_TEST_P(HashTableSuite, SyncKeepsLocationsAdoptsAndRewrites) {
  const auto k0 = this->key(0), k1 = this->key(1), k2 = this->key(2);
  const auto r = [](unsigned n) { return TypeParam::result(n); };
  const Fen::U32 last = this->conv().hashWays() - 1;
  auto at = [&](const typename TestFixture::Key& k) {
    return typename TestFixture::Location(last, this->item(k, r(0))->getHash(Fen::U8(last)));
  };
  ASSERT_TRUE(at(k0) != at(k1) && at(k1) != at(k2) && at(k0) != at(k2)) << "keys 0..2 collide";
  this->plant(k0, r(3), at(k0));
  this->plant(k1, r(4), at(k1));
  this->plant(k2, r(2), at(k2));
  auto fresh = TypeParam::makeTable();
  fresh->entryIs(k1, r(1));
  fresh->entryIs(k2, r(2));
  fresh->hwInconsistentEntryIs(k2, true);
  this->started_ = startTable(fresh, this->chip_, StartMode::warm);
  const typename TestFixture::Model want{{k0, r(3)}, {k1, r(1)}, {k2, r(2)}};
  EXPECT_EQ(this->software(), want);
  for (const auto& k : {k0, k1, k2}) EXPECT_EQ(this->placed(k), at(k)) << k;
  // k1 is rewritten; k2's words already equal software's, so its rewrite writes nothing.
  EXPECT_EQ(this->started_.writes, Fen::U64(this->copies));
  EXPECT_FALSE(this->table().hwInconsistentEntry(k2));
  EXPECT_TRUE(this->hardwareMatches(want));
  const std::string update = "Update entry in hardware ";
  EXPECT_EQ(this->traced("Recovered sw table entry from HW " + this->item(k0, r(3))->toStrep()),
            1u);
  EXPECT_EQ(this->traced(update + this->item(k1, r(1))->toStrep()), 1u);
  EXPECT_EQ(this->traced(update + this->item(k2, r(2))->toStrep()), 1u);
  // Later changes of adopted and rewritten keys reach the entries the cuckoo engine holds.
  this->table().entryIs(k0, r(5));
  this->table().entryIs(k1, r(6));
  EXPECT_TRUE(this->hardwareMatches({{k0, r(5)}, {k1, r(6)}, {k2, r(2)}}));
  // A location the cuckoo engine already holds cannot be learnt again.
  EXPECT_DEATH(this->conv().syncEntries(), "ec->oldItem\\(\\) == __null");

  // Disabled: a differing entry is adopted into the cuckoo engine but not rewritten, and an
  // inconsistent key stays flagged.
  this->plant(k0, r(3), at(k0));
  this->plant(k1, r(4), at(k1));
  auto off = TypeParam::makeTable();
  off->entryIs(k1, r(1));
  off->entryIs(k2, r(2));
  off->hwInconsistentEntryIs(k2, true);
  off->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(this->chip_),
                             this->chip_);
  off->doCreateHwTable(TarnSwitchApi::TableState::init, false);
  off->profileConvertor()->descriptor(0)->enabledIs(false);
  const auto start = this->writes();
  off->syncEntries();
  EXPECT_EQ(this->writes(), start);
  EXPECT_EQ(off->entry().map(), (typename TestFixture::Model{{k0, r(3)}, {k1, r(1)}, {k2, r(2)}}));
  EXPECT_TRUE(off->cuckooHashTable()->lookupItem(this->item(k1, r(0)), nullptr));
  EXPECT_TRUE(off->hwInconsistentEntry(k2));
}

TYPED_TEST_P(HashTableSuite, CorruptedReadIsReported) {
  const auto k = this->key(0);
  this->table().entryIs(k, this->result(1));
  const auto i = this->conv().hwIndex(this->placed(k));
  auto& lastCopy = this->copy(this->copies - 1);
  lastCopy.corruptionIs(i, true);
  const auto start = this->writes();
  this->table().entryIs(k, this->result(2));
  EXPECT_EQ(this->conv().corruptionReports(),
            std::vector<std::string>{"corrupted entry at HwIndex " + std::to_string(i) +
                                     " of hardware table '" + lastCopy.name() + "'"});
  EXPECT_EQ(this->writes() - start, this->copies);
  EXPECT_TRUE(this->hardwareMatches({{k, this->result(2)}}));
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

// Random sets, changes, deletes and warm restarts against a std::map model, keeping within
// capacity through the query. A write observer checks that no installed key is ever missing from
// hardware, even between the writes of one insert; after every step hardware equals the
// encoding of the placement and decodes to the model; a warm restart writes nothing, adopts the
// model and keeps every location.
TYPED_TEST_P(HashTableSuite, RandomOperationsMatchModel) {
  const unsigned seed = 4242;
  std::mt19937 rng(seed);
  typename TestFixture::Model model, installed;
  bool checking = false;
  auto observe = [&](const TarnSwitchApi::HwTableConfig& t, const TarnSwitchApi::HwEntryConfig&) {
    if (!checking || &t != &this->copy(0)) return;
    for (const auto& kv : installed) ASSERT_TRUE(this->inHardware(kv.first)) << kv.first;
  };
  this->chip_->writeObserverIs(observe);
  const unsigned pool = std::min<unsigned>(this->upper() + 1, 96);
  for (unsigned step = 0; step < 400; ++step) {
    SCOPED_TRACE("seed " + std::to_string(seed) + " step " + std::to_string(step));
    const unsigned op = rng() % 20;
    const auto k = this->key(rng() % pool);
    installed = model;
    checking = true;
    if (op < 12) {
      if (this->table().entryInsertable(k))
        this->table().entryIs(k, model[k] = this->result(rng() % 4));
    } else if (op < 19) {
      installed.erase(k);
      model.erase(k);
      this->table().entryDel(k);
    } else {
      checking = false;
      std::map<typename TestFixture::Key, typename TestFixture::Location> where;
      for (const auto& kv : model) where[kv.first] = this->placed(kv.first);
      ASSERT_EQ(this->restart(StartMode::warm), 0u) << "unchanged chip, yet rows written";
      ASSERT_EQ(this->traced("Recovered sw table entry from HW "), model.size());
      for (const auto& [key, loc] : where) ASSERT_EQ(this->placed(key), loc) << key;
    }
    checking = false;
    ASSERT_EQ(this->software(), model);
    ASSERT_TRUE(this->hardwareMatches(model));
  }
}

REGISTER_TYPED_TEST_SUITE_P(HashTableSuite, ColdStartAndLocationConversion,
                            UpdateRewritesInPlaceAndDeleteWritesNull,
                            SyncKeepsLocationsAdoptsAndRewrites, CorruptedReadIsReported,
                            InsertBeyondCapacityIsFatal, RandomOperationsMatchModel);

}  // namespace TarnTest
