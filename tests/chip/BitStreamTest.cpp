// Bit-stream packing: bit n of a stream is bit n % 32 of little-endian word n / 32.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "Keel/BitStream.h"

namespace {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;

constexpr unsigned streamWords = 12;

// Bit n of a word array under the settled numbering.
unsigned bitOf(const U32* words, unsigned n) {
  return (words[n / 32] >> (n % 32)) & 1u;
}

// Sets a field, then checks it reads back and that every other bit is untouched.
void checkField(U32* words, unsigned start, unsigned len, U64 value, const std::string& where) {
  U32 before[streamWords];
  std::copy(words, words + streamWords, before);
  Keel::bitStreamSet(reinterpret_cast<U8*>(words), U16(start), U8(len), value);
  ASSERT_EQ(Keel::bitStreamGet(words, start, start + len - 1), value) << where;
  for (unsigned n = 0; n < 32 * streamWords; ++n) {
    const unsigned want =
        n >= start && n < start + len ? unsigned((value >> (n - start)) & 1u) : bitOf(before, n);
    ASSERT_EQ(bitOf(words, n), want) << where << " bit " << n;
  }
}

TEST(BitStreamTest, FollowsTheSettledBitNumbering) {
  U32 words[streamWords] = {};
  Keel::bitStreamSet(reinterpret_cast<U8*>(words), 33, 1, 1);
  EXPECT_EQ(words[1], 0x2u);
  Keel::bitStreamSet(reinterpret_cast<U8*>(words), 30, 12, 0xFFF);
  EXPECT_EQ(words[0], 0xC0000000u);
  EXPECT_EQ(words[1], 0x3FFu);
  Keel::bitStreamSet(reinterpret_cast<U8*>(words), 36, 3, 0);
  EXPECT_EQ(words[1], 0x38Fu);
  EXPECT_EQ(Keel::bitStreamGet(words, 30, 41), 0xE3Fu);
  EXPECT_EQ(Keel::bitStreamGet(words, 31, 31), 1u);
  EXPECT_EQ(Keel::bitStreamGet(words, 42, 42), 0u);
}

TEST(BitStreamTest, WidestFieldsSpanNineBytes) {
  U32 words[streamWords];
  std::fill(words, words + streamWords, 0xA5A5A5A5u);
  const U64 all = (U64(1) << 63) - 1;
  checkField(words, 7, 63, all, "bits 7..69");
  checkField(words, 60, 63, 0x5555555555555555ull & all, "bits 60..122");
  checkField(words, 32 * streamWords - 63, 63, 0, "last 63 bits");
  checkField(words, 0, 63, 0x0123456789ABCDEFull, "bits 0..62");
}

TEST(BitStreamTest, RandomFieldsRoundTrip) {
  const unsigned seed = 1311;
  std::mt19937_64 rng(seed);
  U32 words[streamWords];
  for (auto& w : words) w = U32(rng());
  for (int i = 0; i < 3000; ++i) {
    const unsigned len = 1 + rng() % 63;
    const unsigned start = rng() % (32 * streamWords - len + 1);
    const U64 value = rng() & ((U64(1) << len) - 1);
    checkField(words, start, len, value,
               "seed " + std::to_string(seed) + " start " + std::to_string(start) + " len " +
                   std::to_string(len));
    if (HasFatalFailure()) return;
  }
}

TEST(BitStreamDeathTest, RefusesFieldsOf64BitsOrMore) {
  U32 words[streamWords] = {};
  EXPECT_DEATH(Keel::bitStreamSet(reinterpret_cast<U8*>(words), 0, 64, 0), "`len < 64'");
  EXPECT_DEATH(Keel::bitStreamGet(words, 0, 63), "`len < 64'");
  EXPECT_DEATH(Keel::bitStreamGet(words, 100, 200), "`len < 64'");
}

TEST(BitStreamDeathTest, RefusesFieldsSpanningMoreThanNineBytes) {
  U32 words[streamWords] = {};
  // A high bound past 2^31 wraps the length negative; the slice check still stops the read.
  EXPECT_DEATH(Keel::bitStreamGet(words, 0, 0x80000000u), "`startSlice >= endSlice - 8'");
}

}  // namespace
