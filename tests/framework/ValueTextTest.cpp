// Ranged types, the value text form, value hashing and the module registry.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "Bridging/VlanId.h"
#include "Fen/PodArray.h"
#include "Fen/Ranged.h"
#include "Fen/Registry.h"
#include "Fen/Trace.h"
#include "Fen/Value.h"
#include "TarnSwitch/ChipPortId.h"
#include "TarnSwitchApi/Types.h"

namespace {

using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;

struct SmallTag {
  static constexpr const char* name = "Test::Small";
  static const std::string& message() {
    static const std::string m = Fen::rangeMessageLiteral(name, 2, 9);
    return m;
  }
};
using Small = Fen::Ranged<SmallTag, U8, 2, 9>;

struct Inner : Fen::Value<Inner> {
  U8 a = 0;
  U16 b = 0;
  static constexpr const char* fenTypeName = "Test::Inner";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("a", &Inner::a), Fen::field("b", &Inner::b));
  }
};

// Inner's fields in the other order.
struct Swapped : Fen::Value<Swapped> {
  U16 b = 0;
  U8 a = 0;
  static constexpr const char* fenTypeName = "Test::Swapped";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("b", &Swapped::b), Fen::field("a", &Swapped::a));
  }
};

struct Outer : Fen::Value<Outer> {
  Inner inner;
  bool flag = false;
  std::string label;
  Small small;
  U64 wide = 0;
  static constexpr const char* fenTypeName = "Test::Outer";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("inner", &Outer::inner), Fen::field("flag", &Outer::flag),
                           Fen::field("label", &Outer::label), Fen::field("small", &Outer::small),
                           Fen::field("wide", &Outer::wide));
  }
};

Outer sample() {
  return Outer{{}, Inner{{}, 1, 300}, true, "x y", 5, ~U64(0)};
}

const char* const sampleText =
    "Value('Test::Outer', ** {'inner': Value('Test::Inner', ** {'a': 1, 'b': 300}), "
    "'flag': true, 'label': 'x y', 'small': 5, 'wide': 18446744073709551615})";

// The message of the exception `f` raises, or "" when it raises none.
template <class E>
std::string messageOf(const std::function<void()>& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

TEST(RangedTest, MessagesAtBoundaries) {
  struct Case {
    std::function<void()> good, bad;
    std::string message;
  };
  const std::string chipPort =
      "TarnSwitch::ChipPortId::value < TarnSwitch::ChipPortId::min or > "
      "TarnSwitch::ChipPortId::null not allowed";
  const std::string vlan = "Bridging::VlanId::value < 1 or > 4094 not allowed";
  U32 words[9] = {};
  Fen::PodArray<U32, 8> pod;
  const std::vector<Case> cases = {
      {[] { TarnSwitch::ChipPortId(49); }, [] { TarnSwitch::ChipPortId(50); }, chipPort},
      {[] { Fen::parseText<TarnSwitch::ChipPortId>("49"); },
       [] { Fen::parseText<TarnSwitch::ChipPortId>("50"); }, chipPort},
      {[] { TarnSwitchApi::DataArrayIndex(7); }, [] { TarnSwitchApi::DataArrayIndex(8); },
       "TarnSwitchApi::DataArrayIndex::value < TarnSwitchApi::DataArrayIndex::min or > "
       "TarnSwitchApi::DataArrayIndex::max not allowed"},
      {[] { Bridging::VlanIdOrNone(4094); }, [] { Bridging::VlanIdOrNone(4095); },
       "Bridging::VlanIdOrNone::value > 4094 not allowed"},
      {[] { Bridging::VlanId(4094); }, [] { Bridging::VlanId(4095); }, vlan},
      {[] { Bridging::VlanId(1); }, [] { Bridging::VlanId(0); }, vlan},
      {[] { Fen::TraceLevel(9); }, [] { Fen::TraceLevel(10); },
       "Fen::TraceLevel::value > 9 not allowed"},
      {[&] { pod.set(words, 8); }, [&] { pod.set(words, 9); }, "PodArray::set expected size <= 8"},
      {[&] { pod.setAt(7, 1); }, [&] { pod.setAt(8, 1); }, "PodArray::set expected size <= 8"},
      {[] { Fen::parseText<U8>("255"); }, [] { Fen::parseText<U8>("256"); },
       "U8::value > 255 not allowed"},
      {[] { Fen::parseText<U64>("18446744073709551615"); },
       [] { Fen::parseText<U64>("18446744073709551616"); },
       "U64::value > 18446744073709551615 not allowed"},
  };
  for (std::size_t i = 0; i < cases.size(); ++i) {
    SCOPED_TRACE("case " + std::to_string(i));
    EXPECT_NO_THROW(cases[i].good());
    EXPECT_EQ(messageOf<Fen::RangeException>(cases[i].bad), cases[i].message);
  }
  EXPECT_EQ(Bridging::VlanIdOrNone(0).value(), 0);
  EXPECT_EQ(Fen::parseText<U16>("0x1F"), 31);
}

TEST(ValueTextTest, PrintsExactFormAndParsesItBack) {
  EXPECT_EQ(sample().toStrep(), sampleText);
  EXPECT_EQ(Outer::fromText(sampleText), sample());
  EXPECT_EQ(Fen::printText(sample().inner), "Value('Test::Inner', ** {'a': 1, 'b': 300})");
  // Quotes and backslashes inside a string are escaped, so the text still parses back.
  EXPECT_EQ(Fen::printText(std::string("it's \\")), "'it\\'s \\\\'");
  EXPECT_EQ(Fen::parseText<std::string>("'it\\'s \\\\'"), "it's \\");
  EXPECT_THROW(Fen::parseText<std::string>("'open\\"), Fen::TextFormException);
}

TEST(ValueTextTest, RandomValuesRoundTrip) {
  const unsigned seed = 20240611;
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 500; ++i) {
    const Outer v{{},
                  Inner{{}, U8(rng()), U16(rng())},
                  bool(rng() & 1),
                  std::string(rng() % 5, "ab'\\ "[rng() % 5]),
                  2 + rng() % 8,
                  rng()};
    const std::string text = v.toStrep();
    ASSERT_EQ(Outer::fromText(text), v) << "seed " << seed << " text " << text;
    ASSERT_EQ(Outer::fromText(text).toStrep(), text) << "seed " << seed;
  }
}

TEST(ValueTextTest, MismatchNamesWhatWasExpectedAndTheRest) {
  const std::string good = sampleText;
  auto replaced = [&](const std::string& from, const std::string& to) {
    std::string t = good;
    return t.replace(t.find(from), from.size(), to);
  };
  struct Case {
    std::string text, message;
  };
  const std::vector<Case> cases = {
      {replaced("Test::Outer", "Test::Other"),
       "\"Value('Test::Outer', ** {\", instead got " + replaced("Test::Outer", "Test::Other")},
      {replaced("'flag'", "'flog'"),
       "\", 'flag': \", instead got , 'flog': true, 'label': 'x y', 'small': 5, "
       "'wide': 18446744073709551615})"},
      {good.substr(0, good.size() - 2) + ")", "\"})\", instead got )"},
      {good + " x", "\"end of text\", instead got  x"},
      {replaced("true", "yes"),
       "\"true or false\", instead got yes, 'label': 'x y', 'small': 5, "
       "'wide': 18446744073709551615})"},
      {replaced("'small': 5", "'small': x"),
       "\"an unsigned number\", instead got x, 'wide': 18446744073709551615})"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(messageOf<Fen::TextFormException>([&] { Outer::fromText(c.text); }), c.message)
        << c.text;
  }
  EXPECT_EQ(messageOf<Fen::RangeException>(
                [&] { Outer::fromText(replaced("'small': 5", "'small': 10")); }),
            "Test::Small::value < 2 or > 9 not allowed");
}

TEST(ValueTest, OrderIsFieldByFieldInDeclarationOrder) {
  auto inner = [](U8 a, U16 b) { return Inner{{}, a, b}; };
  EXPECT_LT(inner(1, 500), inner(2, 0));
  EXPECT_LT(inner(1, 5), inner(1, 6));
  EXPECT_FALSE(inner(1, 5) < inner(1, 5));
  EXPECT_FALSE(inner(2, 0) < inner(1, 500));
  EXPECT_NE(inner(1, 5), inner(1, 6));
}

TEST(ValueHashTest, MixesEachFieldWithItsWidthInOrder) {
  EXPECT_EQ(Fen::hashMix(7, 0x1234, 2), Fen::hashMix(7, 0x1234, 2));
  EXPECT_NE(Fen::hashMix(7, 0x1234, 2), Fen::hashMix(8, 0x1234, 2));
  EXPECT_NE(Fen::hashMix(7, 0x34, 1), Fen::hashMix(7, 0x34, 2));    // width counts, not only value
  EXPECT_EQ(Fen::hashMix(7, 0xFF34, 1), Fen::hashMix(7, 0x34, 1));  // only `width` bytes count

  const Inner in{{}, 3, 0x102};
  const U32 seed = 99;
  EXPECT_EQ(in.hash(seed), Fen::hashMix(Fen::hashMix(seed, 3, 1), 0x102, 2));
  EXPECT_NE(in.hash(seed), (Swapped{{}, 0x102, 3}.hash(seed)));
  EXPECT_NE(in.hash(seed), in.hash(seed + 1));
}

const Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "FrameworkTestModule", {Fen::valueClassInfo<Outer>(), Fen::valueClassInfo<Inner>()}});

TEST(RegistryTest, FindsClassesAndReadsAttributesAsText) {
  const auto& reg = Fen::Registry::instance();
  ASSERT_NE(reg.module("FrameworkTestModule"), nullptr);
  EXPECT_EQ(reg.module("FrameworkTestModule")->classes.at(1).name, "Test::Inner");
  EXPECT_EQ(reg.module("NoSuchModule"), nullptr);
  EXPECT_EQ(reg.classInfo("Test::Nothing"), nullptr);

  const Fen::ClassInfo* c = reg.classInfo("Test::Outer");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->kind, "value");
  std::vector<std::string> names, types;
  for (const auto& a : c->attributes) {
    names.push_back(a.name);
    types.push_back(a.typeName);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"inner", "flag", "label", "small", "wide"}));
  EXPECT_EQ(types,
            (std::vector<std::string>{"Test::Inner", "bool", "String", "Test::Small", "U64"}));
  EXPECT_EQ(c->attribute("nope"), nullptr);

  Outer v = sample();
  EXPECT_EQ(c->attribute("inner")->print(&v), "Value('Test::Inner', ** {'a': 1, 'b': 300})");
  EXPECT_EQ(c->attribute("label")->print(&v), "'x y'");
  c->attribute("small")->parse(&v, "9");
  c->attribute("inner")->parse(&v, "Value('Test::Inner', ** {'a': 4, 'b': 5})");
  EXPECT_EQ(v.small, Small(9));
  EXPECT_EQ(v.inner.b, 5);
  EXPECT_THROW(c->attribute("small")->parse(&v, "10"), Fen::RangeException);
  EXPECT_THROW(c->attribute("flag")->parse(&v, "true "), Fen::TextFormException);
  EXPECT_EQ(v.small, Small(9));
}

TEST(RegistryDeathTest, SameModuleTwiceIsFatal) {
  EXPECT_DEATH(Fen::Registry::instance().moduleIs(Fen::ModuleInfo{"FrameworkTestModule", {}}),
               "Assertion `inserted' failed");
}

}  // namespace
