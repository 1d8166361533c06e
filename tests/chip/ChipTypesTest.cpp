// Ethernet addresses, parity helpers, the hardware API level and the chip profiles.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "Lanx/EthAddr.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitch/Parity.h"

namespace {

using Fen::U32;
using Fen::U64;
using Lanx::EthAddr;
using TarnSwitch::ChipProfile;
using TarnSwitch::ProfileHwApi;

static_assert(TarnSwitch::parity32Bit(0x7u) == 1 && TarnSwitch::parity32Bit(0x3u) == 0,
              "parity is usable at compile time");

TEST(EthAddrTest, TextBothWays) {
  const EthAddr a = Fen::parseText<EthAddr>("00:1A:2b:3C:4d:FF");
  EXPECT_EQ(a.toU64(), 0x001A2B3C4DFFull);
  EXPECT_EQ(a.octet(0), 0x00);
  EXPECT_EQ(a.octet(5), 0xFF);
  EXPECT_EQ(Fen::printText(a), "00:1a:2b:3c:4d:ff");
  EXPECT_EQ(Fen::printText(EthAddr()), "00:00:00:00:00:00");
  EXPECT_TRUE(EthAddr().isZero());
  EXPECT_FALSE(a.isZero());
}

TEST(EthAddrTest, BadFormsAreRefused) {
  const std::string expected = "\"an Ethernet address aa:bb:cc:dd:ee:ff\", instead got ";
  struct Case {
    std::string text, message;
  };
  const std::vector<Case> cases = {
      {"", expected},
      {"0g:00:00:00:00:00", expected + "0g:00:00:00:00:00"},
      {"00:11:22:33:44:5", expected + "00:11:22:33:44:5"},
      {"00:11:22:33:44", expected},
      {"001122334455", expected + "1122334455"},
      {"00-11-22-33-44-55", expected + "-11-22-33-44-55"},
      {"000:11:22:33:44:55", expected + "0:11:22:33:44:55"},
      {"00:11:22:33:44:55:", "\"end of text\", instead got :"},
  };
  for (const auto& c : cases) {
    try {
      Fen::parseText<EthAddr>(c.text);
      ADD_FAILURE() << "accepted '" << c.text << "'";
    } catch (const Fen::TextFormException& e) {
      EXPECT_EQ(e.what(), c.message) << c.text;
    }
  }
}

TEST(EthAddrTest, U64AndTextRoundTrip) {
  const unsigned seed = 4242;
  std::mt19937_64 rng(seed);
  EXPECT_EQ(EthAddr::fromU64(0xFFFF000000000001ull).toU64(), 1u);  // only the low 48 bits
  EXPECT_EQ(EthAddr::fromU64(0x0102030405ull).octet(0), 0x00);
  EXPECT_EQ(EthAddr::fromU64(0x0102030405ull).octet(5), 0x05);
  for (int i = 0; i < 1000; ++i) {
    const U64 v = rng() & 0xFFFFFFFFFFFFull;
    const EthAddr a = EthAddr::fromU64(v);
    ASSERT_EQ(a.toU64(), v) << "seed " << seed;
    ASSERT_EQ(Fen::parseText<EthAddr>(Fen::printText(a)), a) << "seed " << seed;
    ASSERT_EQ(a < EthAddr::fromU64(v + 1), v + 1 <= 0xFFFFFFFFFFFFull) << "seed " << seed;
  }
}

unsigned bitCount(U32 w) {
  unsigned n = 0;
  for (unsigned b = 0; b < 32; ++b) n += (w >> b) & 1u;
  return n;
}

TEST(ParityTest, MatchesBruteForceBitCount) {
  const unsigned seed = 77;
  std::mt19937 rng(seed);
  std::vector<U32> values = {0, 1, 3, 0x80000000u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0x80000001u};
  for (int i = 0; i < 20000; ++i) values.push_back(U32(rng()) >> (rng() % 32));
  for (U32 w : values) {
    ASSERT_EQ(TarnSwitch::parity32Bit(w), bitCount(w) % 2) << "word " << w << " seed " << seed;
    ASSERT_EQ((bitCount(w) + TarnSwitch::parity32Bit(w)) % 2, 0u) << "even parity";
  }
  for (int i = 0; i < 2000; ++i) {
    U32 words[8] = {};
    const unsigned n = rng() % 9;
    unsigned ones = 0;
    for (unsigned k = 0; k < n; ++k) ones += bitCount(words[k] = U32(rng()));
    ASSERT_EQ(TarnSwitch::parityU32Array(words, n), ones % 2) << "seed " << seed << " n " << n;
  }
}

TEST(ChipProfileTest, BuiltinProfilesHaveTheSettledFields) {
  const auto& all = TarnSwitch::builtinProfiles();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_EQ(all[0].name, "default");
  EXPECT_EQ(all[1].name, "legacy");
  EXPECT_EQ(TarnSwitch::builtinProfile("default"), &all[0]);
  EXPECT_EQ(TarnSwitch::builtinProfile("legacy"), &all[1]);
  EXPECT_EQ(TarnSwitch::builtinProfile("Default"), nullptr);
  EXPECT_EQ(all[0].toStrep(),
            "Value('TarnSwitch::ChipProfile', ** {'name': 'default', 'portCount': 48, "
            "'pipelineCount': 4, 'portsPerPipeline': 12, 'hasCpuPipeline': true, 'revision': 2, "
            "'hwApi': 4.1})");
  EXPECT_EQ(all[1].toStrep(),
            "Value('TarnSwitch::ChipProfile', ** {'name': 'legacy', 'portCount': 24, "
            "'pipelineCount': 2, 'portsPerPipeline': 12, 'hasCpuPipeline': false, 'revision': 1, "
            "'hwApi': 4.0})");
  EXPECT_EQ(all[0].egressProcessorCount(), 24u);
  EXPECT_EQ(all[1].egressProcessorCount(), 12u);
}

TEST(ChipProfileTest, TextRoundTrip) {
  for (ChipProfile p : TarnSwitch::builtinProfiles()) {
    EXPECT_EQ(ChipProfile::fromText(p.toStrep()), p);
    p.name = "custom";
    p.portCount = 65535;
    p.hwApi = ProfileHwApi{255, 0};
    EXPECT_EQ(ChipProfile::fromText(p.toStrep()), p);
    EXPECT_NE(p, *TarnSwitch::builtinProfile("default"));
  }
}

TEST(ProfileHwApiTest, OrderedByMajorThenMinorWithDottedText) {
  const std::vector<ProfileHwApi> ascending = {{3, 9}, {4, 0}, {4, 1}, {4, 10}, {5, 0}};
  for (std::size_t i = 0; i < ascending.size(); ++i) {
    for (std::size_t j = 0; j < ascending.size(); ++j) {
      EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << " " << j;
      EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << " " << j;
    }
  }
  EXPECT_EQ(ProfileHwApi(), (ProfileHwApi{4, 1}));
  EXPECT_EQ(Fen::printText(ProfileHwApi{4, 1}), "4.1");
  EXPECT_EQ(Fen::parseText<ProfileHwApi>("4.10"), (ProfileHwApi{4, 10}));
  EXPECT_THROW(Fen::parseText<ProfileHwApi>("4"), Fen::TextFormException);
  EXPECT_THROW(Fen::parseText<ProfileHwApi>("4.1.2"), Fen::TextFormException);
  EXPECT_THROW(Fen::parseText<ProfileHwApi>("4.256"), Fen::RangeException);
}

}  // namespace
