#pragma once
// Behavioural suite that every Layer-2 table passes, whatever its copies hold. A table
// instantiates it with a traits struct:
//
//   struct XTraits {
//     using Table = XTable;                 // a TarnSwitchTable::Layer2Table
//     static Fen::Ptr<XTable> makeTable();
//     static std::string profile();         // built-in chip profile to run on
//     static XKey key(unsigned n);          // distinct keys with rows for n = 0, 1, 2
//     static XResult result(unsigned n);    // distinct non-default results for distinct n
//   };
//   INSTANTIATE_TYPED_TEST_SUITE_P(X, Layer2TableSuite, ::testing::Types<XTraits>);
//
// Expected words come from the layout's encoding, copy by copy; each table's own tests pin the
// exact words.
#include <gtest/gtest.h>

#include <map>
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
  using typename Base::Result;
  using Layout = typename Traits::Table::Layout;
  using Copy = TarnSwitchTable::Copy;
  using Base::conv;
  using Base::holding;
  using Base::row;

  Words encode(const Key& k, const Result& r, const Copy& c) const {
    Fen::U32 buffer[TarnSwitchApi::hwEntryMaxWords] = {};
    conv().layout().encodeRow(k, r, c.encoding, buffer);
    return Words(buffer, buffer + c.words);
  }
  // Every copy holding `k`'s row holds the encoding of `r`.
  ::testing::AssertionResult holds(const Key& k, const Result& r) const {
    for (const Copy* c : holding(k)) {
      const Words got = rowWords(*c->table, row(k), c->words), want = encode(k, r, *c);
      if (got != want)
        return ::testing::AssertionFailure()
               << c->table->name() << " row " << row(k) << " holds "
               << ::testing::PrintToString(got) << ", expected " << ::testing::PrintToString(want);
    }
    return ::testing::AssertionSuccess();
  }
  static Result none() { return Layout::defaultResult(); }
};

TYPED_TEST_SUITE_P(Layer2TableSuite);

// A value set twice writes once per copy; a delete writes the default words (not zeros); an
// equal value, or the delete of an absent key, writes nothing.
TYPED_TEST_P(Layer2TableSuite, WritesChangesOnceAndDeletesTheDefault) {
  const auto k = this->key(0);
  const Fen::U64 copies = this->holding(k).size();
  const auto start = this->writes();
  this->table().entryIs(k, this->result(1));
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->writes() - start, copies);
  EXPECT_TRUE(this->holds(k, this->result(1)));
  this->table().entryDel(k);
  this->table().entryDel(k);
  EXPECT_EQ(this->writes() - start, 2 * copies);
  EXPECT_TRUE(this->holds(k, this->none()));
  EXPECT_NE(rowWords(*this->holding(k).front()->table, this->row(k), 1), Words{0});
}

// A warm start keeps the rows of absent keys as they stand and writes software's; a reset
// writes the default to every row.
TYPED_TEST_P(Layer2TableSuite, InitKeepsRowsOfAbsentKeysUnlessReset) {
  const auto k0 = this->key(0), k1 = this->key(1);
  for (const auto* c : this->holding(k0))
    plantRow(*c->table, this->row(k0), this->encode(k0, this->result(2), *c));
  this->table().entryIs(k1, this->result(3));
  for (const auto* c : this->holding(k1))
    plantRow(*c->table, this->row(k1), this->encode(k1, this->result(4), *c));
  this->conv().initHwEntries(false);
  EXPECT_TRUE(this->holds(k0, this->result(2)));
  EXPECT_TRUE(this->holds(k1, this->result(3)));
  this->conv().initHwEntries(true);
  EXPECT_TRUE(this->holds(k0, this->none()));
  EXPECT_TRUE(this->holds(k1, this->result(3)));
}

// The read-back recreates non-default entries, creates none for defaults, and a restart over
// matching hardware writes nothing.
TYPED_TEST_P(Layer2TableSuite, ReadBackRecreatesNonDefaultEntries) {
  const typename TestFixture::Model want{{this->key(0), this->result(1)},
                                         {this->key(2), this->result(2)}};
  for (const auto& [k, r] : want) this->table().entryIs(k, r);
  this->acrossWarmRestarts([&] {
    EXPECT_EQ(this->software(), want);
    for (const auto& [k, r] : want) EXPECT_TRUE(this->holds(k, r));
  });
}

// Copies that disagree flag the key; the next read-back rewrites the flagged key from software.
TYPED_TEST_P(Layer2TableSuite, DisagreeingCopiesAreFlaggedThenRewritten) {
  const auto k = this->key(0);
  ASSERT_GT(this->holding(k).size(), 1u) << "the suite needs a key held by two copies";
  this->table().entryIs(k, this->result(1));
  const auto* other = this->holding(k).back();
  plantRow(*other->table, this->row(k), this->encode(k, this->result(2), *other));
  this->conv().syncEntries();
  EXPECT_TRUE(this->table().hwInconsistentEntry(k));
  EXPECT_FALSE(this->holds(k, this->result(1)));
  this->conv().syncEntries();
  EXPECT_TRUE(this->holds(k, this->result(1)));
}

// A copy that disagrees with the copy a key is read back from, which holds the default, is
// written before the restart that finds it completes (nothing else would write it: the flag dies
// with the table the next restart replaces).
TYPED_TEST_P(Layer2TableSuite, ARestartRepairsTheCopyThatDisagrees) {
  const auto k = this->key(0);
  ASSERT_GT(this->holding(k).size(), 1u) << "the suite needs a key held by two copies";
  for (Restart how : {Restart::warmKeep, Restart::warm}) {
    const auto* other = this->holding(k).back();
    plantRow(*other->table, this->row(k), this->encode(k, this->result(2), *other));
    EXPECT_EQ(this->restart(how), 1u);
    EXPECT_TRUE(this->table().hwInconsistentEntry(k));
    EXPECT_TRUE(this->holds(k, this->none()));
    EXPECT_EQ(this->table().entry(k), nullptr);
  }
}

TYPED_TEST_P(Layer2TableSuite, CorruptedReadIsReported) {
  const auto k = this->key(0);
  auto& last = *this->holding(k).back()->table;
  last.corruptionIs(this->row(k), true);
  this->table().entryIs(k, this->result(1));
  EXPECT_EQ(this->conv().corruptionReports(),
            std::vector<std::string>{"corrupted entry at HwIndex " + std::to_string(this->row(k)) +
                                     " of hardware table '" + last.name() + "'"});
  EXPECT_TRUE(this->holds(k, this->result(1)));
}

REGISTER_TYPED_TEST_SUITE_P(Layer2TableSuite, WritesChangesOnceAndDeletesTheDefault,
                            InitKeepsRowsOfAbsentKeysUnlessReset,
                            ReadBackRecreatesNonDefaultEntries,
                            DisagreeingCopiesAreFlaggedThenRewritten,
                            ARestartRepairsTheCopyThatDisagrees, CorruptedReadIsReported);

}  // namespace TarnTest
