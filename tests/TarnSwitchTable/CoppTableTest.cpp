// CoPP table: the Layer-2 suite on both built-in profiles, then the scaling worked by hand, the
// registers of each hardware API level, the rows a start and a change write, the read-back from
// the CPU transmit copy with its traces, and random operations against a model of every copy.
#include <gtest/gtest.h>

#include <array>
#include <map>
#include <random>

#include "Fen/Trace.h"
#include "Layer2TableSuite.h"
#include "TarnSwitchTable/TarnTableCopp.h"

namespace TarnTest {
namespace {

using namespace TarnSwitchTable;
using K = CoppEntryKey;
constexpr U32 all = 0xFFFFFFFFu;

template <bool Legacy>
struct CoppTraits {
  using Table = CoppTable;
  static Fen::Ptr<CoppTable> makeTable() { return coppTableFactory("copp"); }
  static std::string profile() { return Legacy ? "legacy" : "default"; }
  // Keys 2, 5, 8 and 10 (5, 8 and 10 have no register before hardware API 4.1).
  static CoppKey key(unsigned n) { return CoppKey(static_cast<K>(n < 3 ? 2 + 3 * n : 10)); }
  static CoppEntry result(const CoppKey&, unsigned n) { return CoppEntry(1000 + 7 * n); }
};

}  // namespace

using CoppProfiles = ::testing::Types<CoppTraits<false>, CoppTraits<true>>;
INSTANTIATE_TYPED_TEST_SUITE_P(Copp, Layer2TableSuite, CoppProfiles);

namespace {

// A CoPP table started cold on a fresh chip of a built-in profile.
struct CoppOnChip : OnChip<CoppTable> {
  explicit CoppOnChip(const std::string& profile) : OnChip(coppTableFactory("copp"), profile) {}
  unsigned pipes() const { return chip->profile().pipelineCount; }
  // Copy `id` (the pipelines 0..K-1, the CPU transmit copy K).
  TarnSwitchApi::HwTableConfig& copy(unsigned id) const {
    return *chip->hwTable("copp.Copp[" + std::to_string(id) + "]");
  }
  U32 word(unsigned id, K k) const {
    const Words w = rowWords(copy(id), HwIndex(k), 1);
    return w.empty() ? 0xDEADu : w[0];
  }
  void restart(Restart how) {
    started = restartTable(coppTableFactory("copp"), started.table.ptr(), chip, how);
  }
};

// The pipeline share: 66 % for two pipelines, 50 % for more, never 0; the interval, the special
// values 0 and all ones, and the CPU transmit copy are written as configured.
TEST(CoppEntry, ToHardwareValueScalesThePipelineCopiesOnly) {
  struct Scaling {
    K key;
    U32 value, cpu, pipes, want;
  };
  const K igmp = K::coppIgmpLimit, limit = K::coppDefault, interval = K::coppInterval;
  // clang-format off
  const Scaling cases[] = {
      {igmp, 1000, false, 2, 660}, {igmp, 151, false, 2, 99}, {igmp, 150, false, 2, 99},
      {igmp, 200, false, 2, 132},  {igmp, 2, false, 2, 1},    {igmp, 1, false, 2, 1},
      {limit, 3, false, 4, 1},     {limit, 1001, false, 4, 500}, {limit, 199, false, 4, 99},
      {limit, 1000, false, 3, 500}, {limit, 1000, false, 255, 500}, {limit, 12345, false, 1, 12345},
      {limit, 1, false, 1, 1},     {limit, all - 1, false, 2, 2834678414u},  // a 64-bit product
      {limit, all - 1, false, 1, all - 1}, {limit, 0, false, 4, 0}, {limit, all, false, 2, all},
      {interval, 1000, false, 2, 1000}, {interval, 1, false, 4, 1},
      {igmp, 1000, true, 4, 1000}, {igmp, 1, true, 2, 1}};
  // clang-format on
  for (const Scaling& c : cases) {
    EXPECT_EQ(CoppEntry(c.value).toHardwareValue(c.key, c.cpu, c.pipes), c.want)
        << Fen::printText(c.key) << " " << c.value << (c.cpu ? " cpu" : " pipeline") << " of "
        << c.pipes;
  }
  const U32 percents[][2] = {{0, 100}, {1, 100}, {2, 66}, {3, 50}, {255, 50}};
  for (const auto& [pipes, percent] : percents)
    EXPECT_EQ(CoppEntry::pipelineScalingPercent(pipes), percent) << pipes;
  EXPECT_EQ(CoppEntry::fromCpuHardwareValue(K::coppDefault, 660), CoppEntry(660));
}

// Scaling for no pipelines, and a read-back before the hardware tables are declared.
TEST(CoppEntryDeathTest, ProgrammingErrorsStopWithTheirExpression) {
  EXPECT_DEATH(CoppEntry(5).toHardwareValue(K::coppInterval, true, 0), "numPipelines");
  auto chip = makeChip("default");
  auto table = coppTableFactory("copp");
  table->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(chip), chip);
  EXPECT_DEATH(table->profileConvertor()->syncEntries(), "cpuTxHwTable");
}

// Key 4 changes its register at 4.1; five keys have none before it (empty, flag cleared); an
// index past the last key is empty with the flag set. A cold start declares the pipelines and the
// CPU transmit copy (id K), each rows 0..10 named by its level's registers behind its prefix, and
// writes every row once (the default words are the model's starting point in
// RandomOperationsMatchModel).
TEST(CoppTable, ColdStartDeclaresEveryCopyWithItsLevelsRegisters) {
  // clang-format off
  const char* before[] = {"interval_period", "reserved_mac_limit", "igmp_limit", "link_local_limit",
                          "packet_forwarding_limit", "", "", "", "", "mac_learn_limit", ""};
  const char* from41[] = {"interval_period", "reserved_mac_limit", "igmp_limit", "link_local_limit",
                          "l2_packet_limit", "l3_high_packet_limit", "l3_low_packet_limit",
                          "multicast_packet_limit", "l3_exception_limit", "mac_learn_limit",
                          "default_limit"};
  // clang-format on
  const std::string prefix = "pipeline[1]/rate_limiter/";
  auto old = coppHwTableRegisterMappingFactory("copp.Copp[1]", prefix);
  auto now = coppHwTableRegisterMappingHwApi41Factory("copp.Copp[1]", prefix);
  EXPECT_EQ(old->name() + " " + old->prefix(), "copp.Copp[1] " + prefix);
  for (HwIndex i = 0; i <= 10; ++i) {
    EXPECT_EQ(old->getRegister(i)->valid(), *before[i] != 0) << i;
    EXPECT_EQ(old->getRegister(i)->address(1), "") << i;
    EXPECT_TRUE(now->getRegister(i)->valid()) << i;
  }
  for (HwIndex i : {11u, 1000u}) {
    EXPECT_TRUE(old->getRegister(i)->empty() && old->getRegister(i)->valid()) << i;
    EXPECT_TRUE(now->getRegister(i)->empty() && now->getRegister(i)->valid()) << i;
  }
  for (const std::string profile : {"default", "legacy"}) {
    SCOPED_TRACE(profile);
    CoppOnChip copp(profile);
    const unsigned pipes = profile == "legacy" ? 2 : 4;
    EXPECT_EQ(copp.table().numPipelines(), pipes);
    EXPECT_EQ(copp.started.writes, 11u * (pipes + 1));
    EXPECT_EQ(copp.chip->hwTable("copp.Copp[" + std::to_string(pipes + 1) + "]"), nullptr);
    for (unsigned id = 0; id <= pipes; ++id) {
      const auto& hw = copp.copy(id);
      const std::string prefix = id == pipes ? "cpu_tx_pipeline[0]/rate_limiter/"
                                             : "pipeline[" + std::to_string(id) + "]/rate_limiter/";
      EXPECT_EQ(hw.lower() + hw.upper(), 10u);
      for (HwIndex i = 0; i <= 10; ++i) {
        const char* name = profile == "legacy" ? before[i] : from41[i];
        EXPECT_EQ(hw.registerName(i, 0), *name ? prefix + name : "") << id << " row " << i;
      }
    }
  }
}

// A limit reaches the CPU transmit copy as configured, then each pipeline its share; a delete
// writes 0 to every copy, not the default; a write that keeps present rows fills only gaps.
TEST(CoppTable, ChangesWriteTheCpuTransmitCopyFirstThenThePipelinesScaled) {
  for (const auto& [profile, share] :
       {std::pair<std::string, U32>{"default", 500}, {"legacy", 660}}) {
    SCOPED_TRACE(profile);
    CoppOnChip copp(profile);
    std::vector<std::string> log;
    copp.chip->writeObserverIs(
        [&](const TarnSwitchApi::HwTableConfig& t, const HwEntryConfig& row) {
          log.push_back(t.name() + " " + std::to_string(row.index()) + " " +
                        std::to_string(row.dataArray()[0]));
        });
    auto expected = [&](U32 cpu, U32 pipe) {
      std::vector<std::string> want{"copp.Copp[" + std::to_string(copp.pipes()) + "] 2 " +
                                    std::to_string(cpu)};
      for (unsigned p = 0; p < copp.pipes(); ++p)
        want.push_back("copp.Copp[" + std::to_string(p) + "] 2 " + std::to_string(pipe));
      return want;
    };
    copp.table().entryIs(K::coppIgmpLimit, CoppEntry(1000));
    EXPECT_EQ(log, expected(1000, share));
    log.clear();
    copp.table().entryDel(K::coppIgmpLimit);
    EXPECT_EQ(log, expected(0, 0));
    // Without replaceIfPresent only a copy that lacks the row is written.
    log.clear();
    copp.copy(1).entryDel(2);
    copp.conv().hwTableEntryIs(K::coppIgmpLimit, CoppEntry(7), false);
    EXPECT_EQ(log, std::vector<std::string>{"copp.Copp[1] 2 " +
                                            std::to_string(copp.pipes() == 2 ? 4 : 3)});
  }
}

// The read-back trusts the CPU transmit copy: a value other than the key's default becomes an
// entry (0, a removed key, included); a pipeline copy that differs from the share or lacks the
// row flags the key and is left alone; a key whose CPU transmit row is missing is skipped. The
// end of a start repairs what was flagged.
TEST(CoppTable, ReadBackTrustsTheCpuTransmitCopyAndFlagsPipelines) {
  CoppOnChip copp("default");  // four pipelines, CPU transmit copy 4
  copp.copy(4).entryDel(6);    // key 6: no CPU transmit row, a pipeline row of its own
  plantRow(copp.copy(0), 6, {7});
  copp.copy(1).entryDel(9);  // key 9: a pipeline row missing
  copp.conv().syncEntries();
  EXPECT_EQ(copp.table().entry().size(), 0u);
  EXPECT_EQ(copp.table().hwInconsistentEntry().map(),
            (std::map<CoppKey, bool>{{K::coppMacLearnLimit, true}}));
  EXPECT_EQ(copp.started.ring->count(
                "Missing pipeline hw table entry for key: coppMacLearnLimit, pipeline 1"),
            1u);
  U64 before = copp.chip->writeCount();
  copp.table().doInitComplete();
  EXPECT_EQ(copp.chip->writeCount() - before, 3u);
  EXPECT_EQ(copp.word(4, K::coppL3LowPriPktLimit), all);
  EXPECT_EQ(copp.word(0, K::coppL3LowPriPktLimit), all);
  EXPECT_EQ(copp.word(1, K::coppMacLearnLimit), all);

  // A warm start, step by step: key 3 configured 2000 with pipeline 2 off its share, key 2
  // removed.
  for (unsigned id = 0; id <= 4; ++id) {
    plantRow(copp.copy(id), 3, {id == 4 ? 2000u : id == 2 ? 999u : 1000u});
    plantRow(copp.copy(id), 2, {0});
  }
  auto table = coppTableFactory("copp");
  auto ring = Fen::makePtr<Fen::RingTrace>();
  table->ringTraceIs(ring);
  table->doSetProfileConvertor(Fen::makePtr<TarnSwitchApi::HwTableDescriptorConfig>(copp.chip),
                               copp.chip);
  before = copp.chip->writeCount();
  table->doCreateHwTable(TarnSwitchApi::TableState::init, false);
  table->syncEntries();
  EXPECT_EQ(copp.chip->writeCount(), before);
  EXPECT_EQ(table->entry().map(),
            (std::map<CoppKey, CoppEntry>{{K::coppIgmpLimit, CoppEntry(0)},
                                          {K::coppLinkLocalLimit, CoppEntry(2000)}}));
  EXPECT_EQ(table->hwInconsistentEntry().map(),
            (std::map<CoppKey, bool>{{K::coppLinkLocalLimit, true}}));
  EXPECT_EQ(ring->count("Inconsistent pipeline hw table entry for key: coppLinkLocalLimit, "
                        "pipeline 2"),
            1u);
  EXPECT_EQ(ring->count("Recovered sw table entry from HW Value('TarnSwitchTable::CoppEntry', ** "
                        "{'valid': true, 'key': coppLinkLocalLimit, 'value': 2000})"),
            1u);
  EXPECT_EQ(copp.word(2, K::coppLinkLocalLimit), 999u);
  table->doInitComplete();
  EXPECT_EQ(copp.chip->writeCount() - before, 1u);
  EXPECT_EQ(copp.word(2, K::coppLinkLocalLimit), 1000u);
}

// A CPU transmit row that reports corruption at a warm start is reported and read as missing;
// the start then writes the key's default to every copy.
TEST(CoppTable, CorruptedCpuTransmitRowFallsBackToTheDefault) {
  CoppOnChip copp("legacy");
  copp.table().entryIs(K::coppLinkLocalLimit, CoppEntry(2000));
  copp.copy(2).corruptionIs(3, true);
  copp.restart(Restart::warm);
  EXPECT_EQ(copp.conv().corruptionReports().size(), 2u);  // read back, then rewritten
  EXPECT_EQ(copp.table().entry().size(), 0u);
  for (unsigned id = 0; id <= 2; ++id) EXPECT_EQ(copp.word(id, K::coppLinkLocalLimit), all) << id;
}

// Every trace text names the key, hardware values in "0x%08X".
TEST(CoppTable, TracesNameTheKeyAndHardwareValues) {
  const std::string handle =
      "void TarnSwitchTable::CoppTable::handleEntry(TarnSwitchTable::CoppEntryKey)";
  auto chip = makeChip("default");
  const auto seen = tracedLines("TarnTableCopp", 0, 8, [&] {
    auto table = coppTableFactory("copp");
    table->entryIs(K::coppMcastPktLimit, CoppEntry(2000));
    startTable(table, chip, StartMode::cold);
    table->entryIs(K::coppMcastPktLimit, CoppEntry(3000));
    startTable(coppTableFactory("copp"), chip, StartMode::warm);
  });
  // Skipped before the cold start, and at the warm start's adoption.
  EXPECT_EQ(std::count(seen.begin(), seen.end(),
                       handle + " Skipped as not yet initialized - key:coppMcastPktLimit"),
            2);
  for (const std::string& line :
       {handle + " Key:coppMcastPktLimit",
        std::string("virtual void TarnSwitchTable::CoppConvertor::syncEntries()"),
        std::string("Found cpu tx pipeline hw entry for key: coppInterval"),
        std::string("Set sw table entry for key: coppMcastPktLimit value: 0x00000BB8")}) {
    EXPECT_EQ(std::count(seen.begin(), seen.end(), line), 1) << line;
  }
}

// Key and entry text forms; a key is made from its name or its number, 11 and above refused.
TEST(CoppTable, KeyNamesTextFormsAndRange) {
  // clang-format off
  const char* names[] = {"coppInterval", "coppL2ReservedLimit", "coppIgmpLimit", "coppLinkLocalLimit",
                         "coppFwdIncludesCpuLimit", "coppL3HighPriPktLimit", "coppL3LowPriPktLimit",
                         "coppMcastPktLimit", "coppL3ExceptionLimit", "coppMacLearnLimit", "coppDefault"};
  // clang-format on
  for (unsigned n = 0; n <= 10; ++n) {
    EXPECT_EQ(Fen::printText(static_cast<K>(n)), names[n]);
    EXPECT_EQ(Fen::parseText<K>(names[n]), static_cast<K>(n));
    EXPECT_EQ(Fen::parseText<K>(std::to_string(n)), static_cast<K>(n));
  }
  EXPECT_EQ(CoppKey(K::coppMcastPktLimit).toStrep(),
            "Value('TarnSwitchTable::CoppKey', ** {'key': coppMcastPktLimit})");
  EXPECT_EQ(CoppEntry(660).toStrep(), "Value('TarnSwitchTable::CoppEntry', ** {'value': 660})");
  const std::string range = "TarnSwitchTable::CoppEntryKey::value > 10 not allowed";
  EXPECT_EQ(thrownMessage<Fen::RangeException>([] { Fen::parseText<K>("11"); }), range);
  const CoppLayout layout(*TarnSwitch::builtinProfile("default"));
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { layout.keyFromHwIndex(11); }), range);
  TarnSwitch::ChipProfile none = *TarnSwitch::builtinProfile("default");
  none.pipelineCount = 0;
  EXPECT_EQ(thrownMessage<Fen::RangeException>([&] { CoppLayout{none}; }),
            "the CoPP table needs a profile with pipelines");
}

// The model's share of a configured value in one of `pipes` pipelines.
U32 share(K key, U32 v, unsigned pipes) {
  if (key == K::coppInterval || v == 0 || v == all) return v;
  const U64 scaled = U64(v) * (pipes == 1 ? 100 : pipes == 2 ? 66 : 50) / 100;
  return scaled == 0 ? 1 : U32(scaled);
}

// Random sets, deletes, warm restarts (software empty or kept) and damaged pipeline rows against
// a model: the CPU transmit copy holds the configured value (0 once removed, the default until
// set), each pipeline its share. After every step every row equals the model and the rows
// written are exactly those that changed (plus the damaged row a restart repairs).
TEST(CoppTable, RandomOperationsMatchModel) {
  const unsigned seed = 20261123;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  const U32 values[] = {0, 1, 2, 99, 100, 151, 1000, all};
  for (const std::string profile : {"default", "legacy"}) {
    SCOPED_TRACE(profile);
    CoppOnChip copp(profile);
    const unsigned pipes = copp.pipes();
    std::array<U32, 11> cpu;
    for (unsigned k = 0; k <= 10; ++k) cpu[k] = k == 0 ? 31250000 : all;
    std::map<CoppKey, CoppEntry> sw;
    // Every row, copy by copy within each key: as the model has it, or as the chip holds it.
    auto rows = [&](bool held) {
      std::vector<U32> out;
      for (unsigned k = 0; k <= 10; ++k) {
        for (unsigned c = 0; c <= pipes; ++c)
          out.push_back(held         ? copp.word(c, K(k))
                        : c == pipes ? cpu[k]
                                     : share(K(k), cpu[k], pipes));
      }
      return out;
    };
    for (int step = 0; step < 400; ++step) {
      SCOPED_TRACE("step " + std::to_string(step));
      const K k = K(rng() % 11);
      const U32 v = rng() % 4 == 0 ? U32(rng()) : values[rng() % 8];
      const std::vector<U32> before = rows(false);
      const U64 writes = copp.chip->writeCount();
      unsigned repaired = 0;
      const unsigned op = rng() % 10;
      if (op < 5) {
        copp.table().entryIs(k, CoppEntry(v));
        sw[k] = CoppEntry(v);
        cpu[U8(k)] = v;
      } else if (op < 7) {
        copp.table().entryDel(k);
        if (sw.erase(k)) cpu[U8(k)] = 0;
      } else {
        if (rng() % 2) {
          copp.copy(rng() % pipes).damageIs(HwIndex(k), 0, rng() | 1u);
          repaired = 1;
        }
        const bool keep = rng() % 2;
        copp.restart(keep ? Restart::warmKeep : Restart::warm);
        if (!keep) sw.clear();
        for (unsigned n = 0; n <= 10; ++n) {
          if (!(CoppEntry(cpu[n]) == CoppLayout::defaultResult(K(n)))) sw[K(n)] = CoppEntry(cpu[n]);
        }
      }
      const std::vector<U32> after = rows(false);
      U64 changed = repaired;
      for (std::size_t i = 0; i < after.size(); ++i) changed += before[i] != after[i];
      ASSERT_EQ(rows(true), after);
      ASSERT_EQ(copp.chip->writeCount() - writes, changed);
      ASSERT_EQ(copp.table().entry().map(), sw);
    }
  }
}

}  // namespace
}  // namespace TarnTest
