// LPM value types: the cell word on both hardware API levels (worked by hand from the code
// table, including the codes that do not read back as written), the round trip of every
// encodable cell, the fatal encodings, the four-cell result, text forms and range messages; the
// chip types they rest on (next hops, prefixes, LPM keys).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "TarnSwitch/LpmKey.h"
#include "TarnSwitchTable/TarnLpmSharedTypes.h"

namespace {

using namespace TarnSwitchTable;
using TarnSwitch::NexthopIndexes;
using TarnSwitch::ProfileHwApi;
using ::testing::ThrowsMessage;

const ProfileHwApi oldLevel{4, 0}, newLevel{4, 1};
const std::string lagMessage =
    "TarnSwitch::L3LagIndex::value < TarnSwitch::L3LagIndex::min or > "
    "TarnSwitch::L3LagIndex::null not allowed";

EntryCellResult cell(U8 lag, U8 type, U8 index, U8 acl = maskLengthNull) {
  return EntryCellResult(NexthopIndexes(lag, type, index), acl);
}

// Cell -> word on both levels, with the ACL bit at 12 (stride tables) or 13 (/11 table).
TEST(LpmCellEncodingTest, WordsOfTheCodeTableOnBothLevels) {
  struct Row {
    EntryCellResult c;
    U32 oldWord, newWord;
  };
  const Row rows[] = {
      {EntryCellResult(), 63, 63},  // the null cell
      {cell(0, 0, 0), 0, 0},        // LAG 0
      {cell(55, 0, 9), 55 | 9 << 6, 55 | 9 << 6},
      {cell(56, 0, 0), 63, 62},  // LAG 56, whatever the type
      {cell(56, 1, 3), 63 | 3 << 6, 62 | 3 << 6},
      {cell(57, 0, 17), 63 | 17 << 6, 63 | 17 << 6},  // null LAG keeps its index bits
      {cell(57, 1, 5), 56 | 5 << 6, 60 | 5 << 6},     // rewrite, low index
      {cell(57, 1, 64), 60, 61},                      // rewrite, index 64: bits 6..11 zero
      {cell(57, 1, 127), 60 | 63 << 6, 61 | 63 << 6},
      {cell(57, 1, 200), 60 | 8 << 6, 61 | 8 << 6},  // 128 and up: modulo 64 under the high code
      {cell(3, 0, 70), 3 | 6 << 6, 3 | 6 << 6},      // other codes: index modulo 64
  };
  for (const Row& r : rows) {
    EXPECT_EQ(r.c.hwEncoding(false, oldLevel), r.oldWord) << r.c.toStrep();
    EXPECT_EQ(r.c.hwEncoding(true, oldLevel), r.oldWord) << r.c.toStrep();
    EXPECT_EQ(r.c.hwEncoding(false, newLevel), r.newWord) << r.c.toStrep();
    EXPECT_EQ(r.c.hwEncoding(false, ProfileHwApi{3, 9}), r.oldWord) << "3.9 is below 4.1";
    EXPECT_EQ(r.c.hwEncoding(false, ProfileHwApi{5, 0}), r.newWord) << "5.0 is above 4.1";
  }
  // aclInfo 0 is a real length: the ACL bit; 32 too; 33 (null) not.
  EXPECT_EQ(cell(57, 0, 0, 0).hwEncoding(false, newLevel), 63u | 1u << 12);
  EXPECT_EQ(cell(57, 0, 0, 32).hwEncoding(true, oldLevel), 63u | 1u << 13);
  EXPECT_EQ(cell(4, 0, 1, 0).hwEncoding(true, newLevel), 4u | 1u << 6 | 1u << 13);
}

// Word -> cell: the codes no encoding produces, and LAG 56 that reads back as null.
TEST(LpmCellEncodingTest, ReadBackOfEveryCodeOnBothLevels) {
  struct Row {
    U32 word;
    std::optional<EntryCellResult> oldCell, newCell;  // nullopt: the L3LagIndex range exception
  };
  const Row rows[] = {
      {63, EntryCellResult(), EntryCellResult()},
      {63 | 1 << 12 | 1 << 13, EntryCellResult(), EntryCellResult()},  // ACL bits are not read
      {62 | 4 << 6, cell(57, 0, 4), cell(57, 0, 4)},
      {55, cell(55, 0, 0), cell(55, 0, 0)},
      {56 | 7 << 6, cell(57, 1, 7), cell(56, 0, 7)},
      {57, cell(57, 0, 0), cell(57, 0, 0)},
      {58, cell(57, 0, 0), std::nullopt},
      {59 | 1 << 6, cell(57, 0, 1), std::nullopt},
      {60 | 2 << 6, cell(57, 1, 66), cell(57, 1, 2)},
      {61 | 2 << 6, cell(57, 0, 2), cell(57, 1, 66)},
  };
  for (const Row& r : rows) {
    for (const auto& [level, want] : {std::pair(oldLevel, r.oldCell), {newLevel, r.newCell}}) {
      auto read = [&, lvl = level] {
        return EntryCellResult::fromHwEncoding(r.word, 0, true, lvl);
      };
      if (want) {
        EXPECT_EQ(read(), *want) << r.word << " on " << Fen::printText(level);
      } else {
        EXPECT_THAT(read, ThrowsMessage<Fen::RangeException>(lagMessage)) << r.word;
      }
    }
  }
}

// Every encodable cell with aclInfo null reads back as itself, on both levels and both ACL
// positions (the second word and flag of the read are ignored).
TEST(LpmCellEncodingTest, EveryEncodableCellRoundTrips) {
  std::vector<EntryCellResult> cells;
  for (U8 i = 0; i < 64; ++i) {
    for (U8 lag = 0; lag <= 55; ++lag) cells.push_back(cell(lag, 0, i));
    cells.push_back(cell(57, 0, i));
  }
  for (U8 i = 0; i < 128; ++i) cells.push_back(cell(57, 1, i));
  for (const ProfileHwApi level : {oldLevel, newLevel}) {
    for (const bool enabledBit : {false, true}) {
      for (const EntryCellResult& c : cells) {
        const U32 word = c.hwEncoding(enabledBit, level);
        ASSERT_EQ(EntryCellResult::fromHwEncoding(word, 0xFFFFFFFFu, !enabledBit, level), c)
            << c.toStrep() << " word " << word;
      }
    }
  }
}

// Each unencodable next hop stops the process in hwEncoding itself, with the broken expression.
TEST(LpmCellEncodingDeathTest, UnencodableNextHopsStopTheProcess) {
  struct Row {
    EntryCellResult c;
    ProfileHwApi level;
    std::string printed;
  };
  const std::string in =
      ": [^\n]*TarnSwitchTable::EntryCellResult::hwEncoding\\(bool, const "
      "TarnSwitch::ProfileHwApi&\\) const: Assertion ";
  const Row rows[] = {
      {cell(3, 1, 0), newLevel,
       "TarnLpmSharedTypes.cpp:[0-9]+" + in +
           "`l3LagIndex == TarnSwitch::L3LagIndex::null\\(\\)' failed"},
      {cell(57, 2, 0), oldLevel,
       "Unhandled rewriteIndex value 2\n[^\n]*TarnLpmSharedTypes.cpp:[0-9]+" + in +
           "`false' failed"},
  };
  for (const Row& r : rows) EXPECT_DEATH(r.c.hwEncoding(true, r.level), r.printed);
  EXPECT_DEATH(LpmResult::fromText("Value('TarnSwitchTable::LpmResult', ** {})"),
               "Assertion `No String constructor for LpmResult - has collection' failed");
}

TEST(LpmResultTest, CellsAreSetAndResetOneByOneOrAll) {
  LpmResult r;
  const EntryCellResult a = cell(5, 0, 1), b = cell(57, 1, 80, 24);
  r.cellResultIs(1, a);
  r.cellResultIs(3, b);
  EXPECT_EQ(r.cellResult(1), a);
  EXPECT_EQ(r.cellResultDel(1), a);  // returns what it held
  EXPECT_EQ(r.cellResult(1), EntryCellResult());
  const LpmResult before = r;
  EXPECT_EQ(r.cellResultDel(2), EntryCellResult());  // already default: nothing changes
  EXPECT_EQ(r, before);
  r.cpuTrap = true;
  r.cellResultDelAll();
  LpmResult trapped;
  trapped.cpuTrap = true;
  EXPECT_EQ(r, trapped);
  EXPECT_NE(r, LpmResult());
  EXPECT_THAT([&] { r.cellResult(4); },
              ThrowsMessage<Fen::RangeException>(
                  "TarnSwitchTable::EntryCellIndex::value < TarnSwitchTable::EntryCellIndex::min "
                  "or > TarnSwitchTable::EntryCellIndex::max not allowed"));
}

TEST(LpmTypesTextTest, TextFormsAndTheirParsers) {
  const std::string nullCell =
      "Value('TarnSwitchTable::EntryCellResult', ** {'nexthopIndexes': "
      "Value('TarnSwitch::NexthopIndexes', ** {'l3LagIndex': 57, 'rewriteType': 0, "
      "'rewriteIndex': 0}), 'aclInfo': 33})";
  EXPECT_EQ(EntryCellResult().toStrep(), nullCell);
  EXPECT_EQ(LpmResult().toStrep(), "Value('TarnSwitchTable::LpmResult', ** {'cellResult': [" +
                                       nullCell + ", " + nullCell + ", " + nullCell + ", " +
                                       nullCell + "], 'cpuTrap': false})");
  const EntryCellResult c = cell(57, 1, 99, 20);
  EXPECT_EQ(EntryCellResult::fromText(c.toStrep()), c);
  const TarnSwitch::LpmKey key(3, Lanx::Prefix(Lanx::Ip4Addr(0x0A100000u), 12));
  EXPECT_EQ(key.toStrep(), "Value('TarnSwitch::LpmKey', ** {'vrfId': 3, 'prefix': 10.16.0.0/12})");
  EXPECT_EQ(TarnSwitch::LpmKey::fromText(key.toStrep()), key);
  EXPECT_THAT([] { Fen::parseText<MaskLength>("34"); },
              ThrowsMessage<Fen::RangeException>(
                  "TarnSwitchTable::MaskLength::value < TarnSwitchTable::MaskLength::min or > "
                  "TarnSwitchTable::MaskLength::null not allowed"));
}

// Prefixes at the lengths' boundaries print as they parse; host bits and lengths above 32 are
// refused (a parse of host bits is also tarnctl's case).
TEST(PrefixTest, HostBitsLengthsAndTextForm) {
  const std::string hostBits = "Lanx::Prefix::validAsPrefix != true not allowed";
  for (const char* text :
       {"0.0.0.0/0", "10.0.0.0/12", "10.16.0.0/12", "255.224.0.0/11", "1.2.3.4/32"})
    EXPECT_EQ(Fen::printText(Fen::parseText<Lanx::Prefix>(text)), text);
  for (const auto& [text, error] :
       {std::pair{"255.240.0.0/11", hostBits}, std::pair{"128.0.0.0/0", hostBits},
        std::pair{"0.0.0.0/33", std::string("Lanx::Prefix::len > 32 not allowed")}}) {
    EXPECT_THAT([&] { Fen::parseText<Lanx::Prefix>(text); },
                ThrowsMessage<Fen::RangeException>(error))
        << text;
  }
  EXPECT_THAT([] { Lanx::Prefix(Lanx::Ip4Addr(0x0A000001u), 31); },
              ThrowsMessage<Fen::RangeException>(hostBits));
  EXPECT_THROW(Fen::parseText<Lanx::Prefix>("10.0.0.0"), Fen::TextFormException);
  EXPECT_THROW(Fen::parseText<Lanx::Prefix>("10.0.0.0/"), Fen::TextFormException);
  EXPECT_LT(Lanx::Prefix(Lanx::Ip4Addr(1), 32), Lanx::Prefix(Lanx::Ip4Addr(2), 31));
}

}  // namespace
