// Chip types: bit-stream packing (bit n of a stream is bit n % 32 of little-endian word n / 32),
// Ethernet addresses, parity helpers, the hardware API level and the chip profiles.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <functional>
#include <random>
#include <string>

#include "Keel/BitStream.h"
#include "Lanx/EthAddr.h"
#include "Lanx/Ip4Addr.h"
#include "TarnSwitch/ChipProfile.h"
#include "TarnSwitch/CrcHash.h"
#include "TarnSwitch/IngressPortMask.h"
#include "TarnSwitch/MrouteKey.h"
#include "TarnSwitch/Parity.h"
#include "TarnSwitch/VlanGroupId.h"

namespace {

using Fen::U32;
using Fen::U64;
using Fen::U8;
using Lanx::EthAddr;
using TarnSwitch::ProfileHwApi;
using ::testing::ThrowsMessage;

constexpr unsigned streamBits = 32 * 12;

// Sets random fields (the widest, 63 bits across nine bytes, first) and checks that each reads
// back and that every bit of the stream, inside the field or not, is where the numbering says.
TEST(BitStreamTest, RandomFieldsFollowTheNumberingAndLeaveOtherBitsAlone) {
  const unsigned seed = 1311;
  std::mt19937_64 rng(seed);
  U32 words[12], before[12];
  const unsigned widest[] = {7, 60, streamBits - 63};
  for (auto& w : words) w = U32(rng());
  for (int i = 0; i < 3000; ++i) {
    const unsigned len = i < 3 ? 63 : 1 + rng() % 63;
    const unsigned start = i < 3 ? widest[i] : rng() % (streamBits - len + 1);
    const U64 value = rng() & ((U64(1) << len) - 1);
    const std::string where = "seed " + std::to_string(seed) + " start " + std::to_string(start) +
                              " len " + std::to_string(len);
    std::copy(words, words + 12, before);
    Keel::bitStreamSet(reinterpret_cast<U8*>(words), Fen::U16(start), U8(len), value);
    ASSERT_EQ(Keel::bitStreamGet(words, start, start + len - 1), value) << where;
    for (unsigned n = 0; n < streamBits; ++n) {
      const bool inField = n >= start && n < start + len;
      const U32 want = inField ? U32(value >> (n - start)) & 1u : (before[n / 32] >> (n % 32)) & 1u;
      ASSERT_EQ((words[n / 32] >> (n % 32)) & 1u, want) << where << " bit " << n;
    }
  }
}

TEST(BitStreamDeathTest, RefusesFieldsOf64BitsOrSpanningMoreThanNineBytes) {
  U32 words[12] = {};
  EXPECT_DEATH(Keel::bitStreamSet(reinterpret_cast<U8*>(words), 0, 64, 0), "`len < 64'");
  EXPECT_DEATH(Keel::bitStreamGet(words, 0, 63), "`len < 64'");
  // A high bound past 2^31 wraps the length negative; the slice check still stops the read.
  EXPECT_DEATH(Keel::bitStreamGet(words, 0, 0x80000000u), "`startSlice >= endSlice - 8'");
}

static_assert(TarnSwitch::parity32Bit(0x7u) == 1 && TarnSwitch::parity32Bit(0x3u) == 0,
              "parity is usable at compile time");

// Both address types print and parse their text form; a bad form names what was expected and
// what came instead (the whole IPv4 address).
TEST(AddressTextTest, BothWaysRoundTripsAndBadFormsAreRefused) {
  const EthAddr a = Fen::parseText<EthAddr>("aB:1A:2b:3C:4d:F0");
  EXPECT_EQ(a.toU64(), 0xAB1A2B3C4DF0ull);
  EXPECT_EQ(Fen::printText(a), "ab:1a:2b:3c:4d:f0");
  EXPECT_EQ(EthAddr::fromU64(0xFFFF000000000001ull).toU64(), 1u);  // only the low 48 bits
  EXPECT_EQ(Fen::parseText<Lanx::Ip4Addr>("10.1.255.0").value(), 0x0A01FF00u);
  EXPECT_EQ(Fen::printText(Lanx::Ip4Addr(0xC0A80001u)), "192.168.0.1");
  EXPECT_EQ(Fen::printText(Fen::parseText<Lanx::Ip4Addr>("255.255.255.255")), "255.255.255.255");
  const unsigned seed = 4242;
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 1000; ++i) {
    const U64 v = rng() & 0xFFFFFFFFFFFFull;
    const EthAddr a = EthAddr::fromU64(v);
    ASSERT_EQ(a.toU64(), v) << "seed " << seed;
    ASSERT_EQ(Fen::parseText<EthAddr>(Fen::printText(a)), a) << "seed " << seed;
    ASSERT_EQ(a < EthAddr::fromU64(v + 1), v + 1 <= 0xFFFFFFFFFFFFull) << "seed " << seed;
  }
  const std::string eth = "\"an Ethernet address aa:bb:cc:dd:ee:ff\", instead got ";
  const std::string ip = "\"an IPv4 address a.b.c.d\", instead got ";
  const std::pair<std::function<void()>, std::string> refused[] = {
      {[] { Fen::parseText<EthAddr>("0g:00:00:00:00:00"); }, eth + "0g:00:00:00:00:00"},
      {[] { Fen::parseText<EthAddr>("00:11:22:33:44"); }, eth},
      {[] { Fen::parseText<EthAddr>("00-11-22-33-44-55"); }, eth + "-11-22-33-44-55"},
      {[] { Fen::parseText<EthAddr>("00:11:22:33:44:55:"); }, "\"end of text\", instead got :"},
      {[] { Fen::parseText<Lanx::Ip4Addr>("10.1.2.3.4"); }, "\"end of text\", instead got .4"},
  };
  for (const auto& [f, message] : refused)
    EXPECT_THAT(f, ThrowsMessage<Fen::TextFormException>(message));
  for (const std::string text : {"10.1.256.0", "10.1.2", "10..1.2", "10.1.2.0003", "a.1.2.3"}) {
    EXPECT_THAT([&] { Fen::parseText<Lanx::Ip4Addr>(text); },
                ThrowsMessage<Fen::TextFormException>(ip + text));
  }
}

TEST(ParityTest, MatchesBruteForceBitCount) {
  const unsigned seed = 77;
  std::mt19937 rng(seed);
  for (int i = 0; i < 2000; ++i) {
    U32 words[8] = {};
    const unsigned n = 1 + rng() % 8;
    std::size_t ones = 0;
    for (unsigned k = 0; k < n; ++k)
      ones += std::bitset<32>(words[k] = U32(rng()) >> (rng() % 32)).count();
    ASSERT_EQ(TarnSwitch::parityU32Array(words, n), ones % 2) << "seed " << seed << " n " << n;
  }
}

// The built-in profiles' fields are pinned by the tool's dump and its `profiles` listing.
TEST(ChipProfileTest, BuiltinProfilesByNameTextRoundTripAndTheApiLevelIsOrdered) {
  const auto& all = TarnSwitch::builtinProfiles();
  ASSERT_EQ(all.size(), 2u);
  EXPECT_TRUE(TarnSwitch::builtinProfile("default") == &all[0] &&
              TarnSwitch::builtinProfile("legacy") == &all[1] &&
              !TarnSwitch::builtinProfile("Default"));
  TarnSwitch::ChipProfile p = all[1];
  p.portCount = 65535;
  p.hwApi = ProfileHwApi{255, 10};
  EXPECT_EQ(TarnSwitch::ChipProfile::fromText(p.toStrep()), p);
  EXPECT_THROW(Fen::parseText<ProfileHwApi>("4"), Fen::TextFormException);
  EXPECT_THROW(Fen::parseText<ProfileHwApi>("4.256"), Fen::RangeException);
  auto api = [](U8 major, U8 minor) { return ProfileHwApi{major, minor}; };
  EXPECT_TRUE(api(3, 9) < api(4, 0) && api(4, 1) < api(4, 10) && api(4, 0) != api(4, 1));
  EXPECT_FALSE(api(4, 10) < api(4, 1) || api(4, 1) < api(4, 1) || api(5, 0) < api(4, 9));
}

// The chip layout of a port mask against a bit-by-bit model: hardwareBitmask(n) keeps ports
// 0..n (all 64 from n = 63 on), and a mask read back keeps the same ports.
TEST(IngressPortMaskTest, ChipLayoutKeepsPortsZeroToNAndTheTextIsHexadecimal) {
  const unsigned seed = 2026;
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 2000; ++i) {
    const U64 bits = rng();
    const U32 n = i < 70 ? U32(i) : U32(rng() % 200);
    U64 kept = 0;
    for (U32 port = 0; port <= n && port < 64; ++port) kept |= bits & (U64(1) << port);
    const TarnSwitch::IngressPortMask mask(bits);
    ASSERT_EQ(mask.hardwareBitmask(n), kept) << "seed " << seed << " n " << n;
    ASSERT_EQ(TarnSwitch::IngressPortMask::ingressPortMaskFromHw(bits, n).value(), kept)
        << "seed " << seed << " n " << n;
    ASSERT_EQ(Fen::parseText<TarnSwitch::IngressPortMask>(Fen::printText(mask)), mask);
  }
  EXPECT_EQ(Fen::printText(TarnSwitch::IngressPortMask(0x1000000000001ull)), "0x1000000000001");
  EXPECT_EQ(Fen::printText(TarnSwitch::IngressPortMask()), "0x0");
  EXPECT_EQ(Fen::parseText<TarnSwitch::IngressPortMask>("5").value(), 5u);
  EXPECT_THAT([] { Fen::parseText<TarnSwitch::IngressPortMask>("0x10000000000000000"); },
              ThrowsMessage<Fen::RangeException>("U64::value > 18446744073709551615 not allowed"));
}

// The multicast key's text form, its 12-bit qualifier and the 16-bit VLAN group.
TEST(MrouteKeyTest, TextFormQualifierAndVlanGroupBounds) {
  const TarnSwitch::MrouteKey k(Lanx::Ip4Addr(0x0A000001), Lanx::Ip4Addr(0xEFFFFFFF), 4095);
  const std::string text =
      "Value('TarnSwitch::MrouteKey', ** {'source': 10.0.0.1, 'group': 239.255.255.255, "
      "'qualifier': 4095})";
  EXPECT_EQ(k.toStrep(), text);
  EXPECT_EQ(TarnSwitch::MrouteKey::fromText(text), k);
  EXPECT_THAT([] { TarnSwitch::MrouteQualifier q(4096); },
              ThrowsMessage<Fen::RangeException>(
                  "TarnSwitch::MrouteKey::qualifier::value > 4095 not allowed"));
  EXPECT_EQ(TarnSwitch::VlanGroupId(0xFFFF).value(), 0xFFFF);
  EXPECT_THAT(
      [] { Fen::parseText<TarnSwitch::VlanGroupId>("65536"); },
      ThrowsMessage<Fen::RangeException>("TarnSwitch::VlanGroupId::value > 65535 not allowed"));
}

}  // namespace

// The bucket hashes against their check values over "123456789" (way 0 is the catalogued
// CRC-10/ATM, CRC-12/DECT and CRC-13/BBC), the register start of ways 3 and above, and the bit
// order: leading zero bits leave a zero-started register at zero, so 12 bits of 0x12 0x30 hash
// like 16 bits of 0x01 0x23.
TEST(CrcHashTest, CheckValuesWaySeedsAndBitOrder) {
  using HashFn = U32 (*)(const U8*, U8, U32);
  const U8* digits = reinterpret_cast<const U8*>("123456789");
  const struct {
    HashFn fn;
    U32 check[3];
    U32 width;
  } crcs[] = {{TarnSwitch::crc10Hash, {0x199, 0x2AC, 0x2D5}, 10},
              {TarnSwitch::crc12Hash, {0xF5B, 0x1CA, 0x4CB}, 12},
              {TarnSwitch::crc13Hash, {0x4FA, 0x1D0E, 0x1D73}, 13}};
  const U8 shifted[] = {0x12, 0x30}, aligned[] = {0x01, 0x23};
  for (const auto& c : crcs) {
    SCOPED_TRACE("width " + std::to_string(c.width));
    for (U8 way = 0; way < 3; ++way) EXPECT_EQ(c.fn(digits, way, 72), c.check[way]);
    EXPECT_EQ(c.fn(digits, 0, 0), 0u);
    EXPECT_EQ(c.fn(digits, 5, 0), 1u);  // way 5: register starts at 5 / 3
    EXPECT_EQ(c.fn(digits, 9, 0), 3u);
    EXPECT_NE(c.fn(digits, 3, 72), c.fn(digits, 0, 72));
    EXPECT_EQ(c.fn(shifted, 1, 12), c.fn(aligned, 1, 16));
    for (U8 way = 0; way < 10; ++way) EXPECT_LT(c.fn(digits, way, 72), 1u << c.width);
  }
  // The forms over a 64-bit number hash its bits as the byte forms hash its big-endian bytes.
  const U64 message = 0x3132333435363738ull;  // "12345678"
  for (U32 bits : {0u, 1u, 13u, 41u, 63u, 64u}) {
    for (U8 way : {0, 1, 2, 4}) {
      EXPECT_EQ(TarnSwitch::crc10Hash64(message, way, bits),
                TarnSwitch::crc10Hash(digits, way, bits));
      EXPECT_EQ(TarnSwitch::crc12Hash64(message, way, bits),
                TarnSwitch::crc12Hash(digits, way, bits));
    }
  }
}
