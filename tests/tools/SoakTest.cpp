// The soak over the three engines (the test hashed, Layer-2 and port tables beside the registered
// tables) holds with no mismatch; over a table whose encoding drifts it stops at the first
// restart, prints its seed and a shrunk script that reproduces the failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "Session.h"
#include "Soak.h"
#include "TarnSwitchTable/TarnTableModules.h"
#include "support/TestTables.h"

namespace {

using Fen::U32;
using ::testing::HasSubstr;

class DriftTable;
class DriftEntry;
class DriftConvertor;

// A faulty direct table: word 1 of a valid row counts the encodings its layout made, so the
// same entry encodes differently each time it is encoded.
struct DriftLayout : TarnTest::PortCopies {
  using Key = TarnTest::TestPortKey;
  using Result = TarnTest::TestPortResult;
  using Entry = DriftEntry;
  using Table = DriftTable;
  using Convertor = DriftConvertor;
  static constexpr const char* moduleName = "TarnTestDrift";
  static constexpr const char* tableName = "TarnTest::DriftTable";
  static constexpr const char* entryName = "TarnTest::DriftEntry";
  static constexpr const char* convertorName = "TarnTest::DriftConvertor";
  static constexpr const char* hwTableWord = "Drift";
  static constexpr Fen::U8 hwEntryWords = 2;

  using PortCopies::PortCopies;
  void declare(const TarnSwitchTable::HwTables& hw) const { PortCopies::declare(hw, 2, 2, 0); }
  void setStaticBuffer(TarnSwitchTable::HwIndex, U32*) const {}
  void encodeRow(const TarnSwitchTable::RowItem<DriftLayout>& e, TarnSwitchTable::HwIndex, Fen::U8,
                 U32* b) const {
    b[0] = e.result.group;
    b[1] = e.valid ? ++encodings : 0;
  }
  bool decodeRow(TarnSwitchTable::HwIndex row, const U32* w,
                 TarnSwitchTable::RowItem<DriftLayout>& e) const {
    e.key = keyFromHwIndex(row);
    e.result = TarnTest::TestPortResult(w[0], false);
    return e.valid = w[0] != 0;
  }
  mutable U32 encodings = 0;
};

class DriftEntry : public TarnSwitchTable::DirectEntry<DriftLayout> {};
class DriftConvertor : public TarnSwitchTable::DirectConvertor<DriftLayout> {
 public:
  using DirectConvertor::DirectConvertor;
};
class DriftTable : public TarnSwitchTable::DirectTable<DriftLayout> {
 public:
  using DirectTable::DirectTable;
};

using SmallHash = TarnTest::TestHash<2, 5, 2>;  // 64 locations in two copies: it fills up

void registerTestTables() {
  static const bool done = [] {
    TarnSwitchTable::registerModules();
    TarnSwitchTable::registerTableModule<TarnTest::TestPortTable, TarnTest::TestPortLayout>();
    TarnSwitchTable::registerTableModule<TarnTest::TestGroupTable, TarnTest::TestGroupLayout>();
    TarnSwitchTable::registerTableModule<SmallHash::Table, SmallHash::Layout>();
    TarnSwitchTable::registerTableModule<DriftTable, DriftLayout>();
    return true;
  }();
  (void)done;
}

// A number from the environment (a longer run by hand: TARN_SOAK_OPS=2000000 TARN_SOAK_SEED=7).
std::uint64_t fromEnvironment(const char* name, std::uint64_t otherwise) {
  const char* v = std::getenv(name);
  return v ? std::strtoull(v, nullptr, 10) : otherwise;
}

TEST(SoakTest, EveryEngineHoldsAcrossRestartsFaultsAndProcesses) {
  registerTestTables();
  Tarnctl::SoakOptions o;
  o.seed = fromEnvironment("TARN_SOAK_SEED", 11);
  o.ops = fromEnvironment("TARN_SOAK_OPS", 40000);
  o.restarts = o.ops / 100;
  o.tables = {"arp", "testport", "testgroup", "testhash"};
  std::ostringstream out;
  const Tarnctl::SoakTotals t = Tarnctl::runSoak(o, out);
  EXPECT_EQ(t.mismatches, 0u) << out.str();
  EXPECT_GT(t.ops, o.ops * 97 / 100);
  EXPECT_GT(t.processes, o.restarts / 8);
  EXPECT_THAT(out.str(), HasSubstr(" mismatches=0 seed=" + std::to_string(o.seed) + "\n"));
}

TEST(SoakTest, AFaultIsReportedWithItsSeedAndAShrunkScript) {
  registerTestTables();
  Tarnctl::SoakOptions o;
  o.seed = 5;
  o.ops = 2000;
  o.restarts = 20;
  o.profiles = {"legacy"};
  o.tables = {"drift"};
  o.shrinkSeconds = 20;
  std::ostringstream out;
  EXPECT_EQ(Tarnctl::runSoak(o, out).mismatches, 1u);
  const std::string text = out.str();
  EXPECT_THAT(text, HasSubstr("soak: FAILED on profile legacy with seed 5 after "));
  EXPECT_THAT(text, HasSubstr(": check: after restart "));
  EXPECT_THAT(text, HasSubstr("soak: shrunk to 2 steps, failing with: check: after restart "));
  EXPECT_THAT(text, ::testing::ContainsRegex("--- soak-1.tarn\nset drift port=[0-9]+ .*\n"
                                             "restart (warm|warm keep|cold)\ncheck\n"));
  EXPECT_THAT(text, HasSubstr(" mismatches=1 seed=5\n"));
}

}  // namespace
