// The framework: reference counting, keyed collections, tracing and the ring trace, the fatal
// assertion, atomic file output, ranged types, the value text form, ordering and hashing, and the
// module registry.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "Bridging/VlanId.h"
#include "Fen/Assert.h"
#include "Fen/Collection.h"
#include "Fen/File.h"
#include "Fen/PodArray.h"
#include "Fen/Registry.h"
#include "Fen/RingTrace.h"

namespace FrameworkAssertProbe {
#define PROBE_LIMIT 3
inline void checkBelowLimit(int x) {
  FEN_ASSERT(x < PROBE_LIMIT);
}
constexpr int assertLine = __LINE__ - 2;
}  // namespace FrameworkAssertProbe

// Test keys {id, hash} hash to their own second half: with a handful of hashes every key crowds
// into a few probe runs, which grow past the end of the slot array and wrap, and deletions shift
// keys back.
template <>
struct Fen::KeyHash<std::pair<Fen::U32, Fen::U32>> {
  Fen::U32 operator()(const std::pair<Fen::U32, Fen::U32>& k) const { return k.second; }
};

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;
using Fen::U16;
using Fen::U32;
using Fen::U64;
using Fen::U8;
using ::testing::HasSubstr;
using ::testing::ThrowsMessage;

// Counts its own destructions in a counter owned by the test.
struct Tracked : Fen::PtrInterface {
  explicit Tracked(int& destroyed) : destroyed(destroyed) {}
  ~Tracked() override { ++destroyed; }
  int& destroyed;
};
struct Other : Fen::PtrInterface {};

TEST(PtrTest, LastHandleDestroysTheObjectOnce) {
  int destroyed = 0;
  {
    Fen::Ptr<Tracked> a = Fen::makePtr<Tracked>(destroyed);
    Fen::PtrConst<Tracked> c = a;
    Fen::Ptr<Fen::PtrInterface> base = a;
    EXPECT_EQ(a->references(), 3u);
    EXPECT_EQ(Fen::ptrDynamicCast<Other>(base), nullptr);
    EXPECT_EQ(Fen::ptrDynamicCast<Tracked>(base), a);
    Fen::Ptr<Tracked> moved = std::move(a);
    c = nullptr;
    base = nullptr;
    EXPECT_TRUE(moved.unique());
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

// Random set/del/clear operations on a collection and on a std::map, compared after every step
// (every key's find, both iterations and the key-ordered views every 25 steps). key(i) makes
// key i.
template <class K, class MakeKey>
void expectMatchesMapModel(unsigned seed, MakeKey key) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  Fen::KeyedCollection<K, U32> coll;
  std::map<K, U32> model;
  for (int step = 0; step < 1500; ++step) {
    const K k = key(rng() % 300);
    const U32 v = rng() % 4, op = rng() % 100;
    if (op < 55) {
      ASSERT_EQ(coll.set(k, v), !model.count(k) || model[k] != v) << step;
      model[k] = v;
    } else if (op < 99) {
      ASSERT_EQ(coll.del(k), model.erase(k) == 1) << step;
    } else {
      coll.clear();
      model.clear();
    }
    ASSERT_EQ(coll.size(), model.size()) << step;
    if (step % 25 != 0) continue;
    for (U32 i = 0; i < 300; ++i) {
      const U32* found = coll.find(key(i));
      ASSERT_EQ(found ? *found : 99, model.count(key(i)) ? model.at(key(i)) : 99)
          << step << " " << i;
    }
    std::map<K, U32> stored;
    coll.forEach([&](const K& k, const U32& v) { stored.emplace(k, v); });
    ASSERT_EQ(stored, model) << step;
    ASSERT_EQ(coll.map(), model) << step;
    const std::vector<K> keys = coll.keys();
    ASSERT_TRUE(std::equal(keys.begin(), keys.end(), model.begin(), model.end(),
                           [](const K& k, const auto& entry) { return k == entry.first; }));
  }
}

TEST(KeyedCollectionTest, RandomOperationsMatchAMapModel) {
  for (unsigned seed = 1; seed <= 10; ++seed) {
    std::mt19937 pick(seed);
    const U32 hashes[2] = {U32(pick()), U32(pick())};
    expectMatchesMapModel<std::pair<U32, U32>>(seed,
                                               [&](U32 i) { return std::pair(i, hashes[i % 2]); });
  }
  expectMatchesMapModel<U32>(11, [](U32 i) { return i; });  // the default hash
}

TEST(KeyedCollectionTest, ChangesReachObserversOnlyThroughNotifyAndReserveAvoidsGrowth) {
  Fen::KeyedCollection<U32, std::string> coll;
  Strings heard;
  coll.observerIs([&](const U32& k) { heard.push_back("a" + std::to_string(k)); });
  coll.observerIs([&](const U32& k) { heard.push_back("b" + std::to_string(k)); });
  coll.set(1, "z");
  EXPECT_TRUE(heard.empty());  // the owner decides when to notify
  coll.notify(2);
  EXPECT_EQ(heard, (Strings{"a2", "b2"}));
  for (U32 k = 2; k < 100; ++k) coll.set(k, *coll.find(k - 1));  // read in place, across growth
  EXPECT_EQ(*coll.find(99), "z");
  coll.reserve(1000);
  const std::size_t bytes = coll.memoryBytes();
  for (U32 k = 0; k < 1000; ++k) coll.set(k, "v");
  EXPECT_EQ(coll.memoryBytes(), bytes);
}

Fen::TraceHandle traceA("FrameworkTest.A"), traceA2("FrameworkTest.A"), traceB("FrameworkTest.B");

// A ring payload that counts its printings in a counter of the test.
struct Hop {
  U32 port;
  int* prints;
};
void ringPrint(std::string& out, const Hop& h) {
  ++*h.prints;
  out += "port " + std::to_string(h.port);
}
// Prints a raw payload of maxPayload characters.
void printChars(std::string& out, const void* payload) {
  out.append(static_cast<const char*>(payload), Fen::RingTrace::maxPayload);
}

// FEN_TRACE evaluates its operands only when its handle's module is on at that level.
TEST(TraceTest, LevelsPerModuleAndNoFormattingWhenOff) {
  Strings seen;
  Fen::traceSinkIs([&](const char* module, int level, const std::string& text) {
    seen.push_back(module + (" " + std::to_string(level)) + " " + text);
  });
  auto traced = [](Fen::TraceHandle& h, int level) {  // whether the operand was evaluated
    bool evaluated = false;
    FEN_TRACE(h, level, "value " << (evaluated = true, 42));
    return evaluated;
  };
  for (int level = 0; level <= 9; ++level) EXPECT_FALSE(traced(traceA, level)) << level;
  Fen::traceLevelIs("FrameworkTest.A", 5);
  EXPECT_TRUE(traced(traceA, 5) && !traced(traceA, 6));
  EXPECT_TRUE(traced(traceA2, 0) && !traced(traceB, 0));  // every handle of the module, no other
  Fen::traceOffAll();
  EXPECT_FALSE(traced(traceA, 0));
  Fen::traceSinkIs(nullptr);
  EXPECT_EQ(seen, (Strings{"FrameworkTest.A 5 value 42", "FrameworkTest.A 0 value 42"}));
  EXPECT_THAT([] { Fen::traceLevelIs("FrameworkTest.None", 1); },
              ThrowsMessage<Fen::RangeException>("no trace module named 'FrameworkTest.None'"));
}

// Random writes of every form through a dual trace at random levels, while the module's level
// changes, and clears: the ring keeps the newest records, read back as the lines they stand for,
// and the sink gets exactly the writes whose level is on. A compact record is formatted only
// when it is emitted or read.
TEST(RingTraceTest, RecordsReadBackAsTheirLinesAndOnlyTheNewestStay) {
  const unsigned seed = 20240613;
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 rng(seed);
  Strings seen, emitted;
  Fen::traceSinkIs([&](const char*, int level, const std::string& text) {
    seen.push_back(std::to_string(level) + " " + text);
  });
  int prints = 0, formats = 0, on = -1;
  for (std::size_t capacity : {0, 1, 5}) {
    Fen::RingTrace ring(capacity);
    Fen::DualTrace dual(traceB, ring);
    std::deque<std::string> model;
    for (int step = 0; step < 200; ++step) {
      const U32 n = U32(rng()), kind = rng() % 25;
      const int level = int(rng() % 10);
      const std::string chars(Fen::RingTrace::maxPayload, char('a' + n % 26));
      const std::string lines[] = {"line " + std::to_string(n) + "/" + std::to_string(level),
                                   "number " + std::to_string(U64(n) << 24),
                                   "hop port " + std::to_string(n), "raw " + chars};
      if (kind % 4 == 0) dual.write(level, "line ", n, '/', level);
      if (kind % 4 == 1) dual.write(level, "number ", U64(n) << 24);
      if (kind % 4 == 2) dual.write(level, "hop ", Hop{n, &prints});
      if (kind % 4 == 3) dual.write(level, "raw ", &printChars, chars.data(), chars.size());
      if (level <= on) emitted.push_back(std::to_string(level) + " " + lines[kind % 4]);
      formats += level <= on && kind % 4 == 2;
      model.push_back(lines[kind % 4]);
      if (model.size() > capacity) model.pop_front();
      if (kind == 24) {
        ring.clear();
        model.clear();
      }
      if (kind == 23) Fen::traceLevelIs("FrameworkTest.B", on = int(rng() % 10));
      if (kind == 22) Fen::traceOffAll(), on = -1;
      ASSERT_EQ(ring.lines(), Strings(model.begin(), model.end())) << capacity << " " << step;
      ASSERT_EQ(ring.size(), model.size());
      const std::string prefix = lines[rng() % 4].substr(0, rng() % 12);
      const auto starts = [&](const std::string& l) { return l.rfind(prefix, 0) == 0; };
      ASSERT_EQ(ring.count(prefix), std::size_t(std::count_if(model.begin(), model.end(), starts)))
          << capacity << " " << step << " " << prefix;
      const auto hop = [](const std::string& l) { return l.rfind("hop ", 0) == 0; };
      formats += 2 * int(std::count_if(model.begin(), model.end(), hop));  // lines() and count()
      ASSERT_EQ(prints, formats) << capacity << " " << step;
      ASSERT_EQ(seen, emitted) << capacity << " " << step;
    }
  }
  Fen::traceOffAll();
  Fen::traceSinkIs(nullptr);
}

// A failed assertion prints file, line, function and the expression with its macros expanded;
// a ring payload larger than a record and a module registered twice are such failures.
TEST(AssertDeathTest, PrintsFileLineFunctionAndExpandedExpression) {
  EXPECT_DEATH(FrameworkAssertProbe::checkBelowLimit(3),
               HasSubstr(__FILE__ ":" + std::to_string(FrameworkAssertProbe::assertLine) +
                         ": void FrameworkAssertProbe::checkBelowLimit(int): "
                         "Assertion `x < 3' failed.\n"));
  FrameworkAssertProbe::checkBelowLimit(2);
  const std::string chars(Fen::RingTrace::maxPayload + 1, 'q');
  EXPECT_DEATH(Fen::RingTrace().write("raw ", &printChars, chars.data(), chars.size()),
               "Assertion `size <= maxPayload' failed");
  EXPECT_DEATH(Fen::Registry::instance().moduleIs(Fen::ModuleInfo{"FrameworkTestModule", {}}),
               "Assertion `inserted' failed");
}

// Outputs are whole, and a refused one leaves no temporary behind. A link stays a link with its
// target replaced; a replaced file keeps its permissions; a device is written in place, never
// replaced by a regular file. (A missing directory, a full device and a read-only target, with
// every other output left as it was, are tarnctl's cases.)
TEST(FileTest, OutputFilesFollowLinksKeepDevicesAndLeaveNoTemporary) {
  const fs::path dir = fs::path(::testing::TempDir()) / ("tarn_out_" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir / "sub");
  auto text = [](const fs::path& p) {
    std::ifstream in(p);
    return std::string(std::istreambuf_iterator<char>(in), {});
  };
  Fen::writeFileAtomically(dir / "out", std::string("sec\0ond", 7));
  EXPECT_EQ(text(dir / "out"), std::string("sec\0ond", 7));
  EXPECT_THAT([&] { Fen::writeFileAtomically(dir / "sub", "content"); },
              ThrowsMessage<Fen::Exception>("cannot write '" + (dir / "sub").string() +
                                            "': Is a directory"));
  std::ofstream(dir / "target") << "old target";
  fs::permissions(dir / "target", fs::perms::owner_read | fs::perms::owner_write);
  fs::create_symlink("target", dir / "link");
  Fen::OutputFiles files;
  files.add(dir / "link", "new target");
  files.add("/dev/null", "discarded");
  files.commit();
  EXPECT_TRUE(fs::is_symlink(dir / "link"));
  EXPECT_EQ(text(dir / "target"), "new target");
  EXPECT_EQ(fs::status(dir / "target").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 4);  // out, sub, target, link
  fs::remove_all(dir);
}

struct Inner : Fen::Value<Inner> {
  U8 a = 0;
  U16 b = 0;
  static constexpr const char* fenTypeName = "Test::Inner";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("a", &Inner::a), Fen::field("b", &Inner::b));
  }
};

struct Outer : Fen::Value<Outer> {
  Inner inner;
  bool flag = false;
  std::string label;
  Fen::TraceLevel level;
  U64 wide = 0;
  std::array<U16, 3> hops{};
  std::array<Inner, 2> inners{};
  static constexpr const char* fenTypeName = "Test::Outer";
  static constexpr auto fenFields() {
    return std::make_tuple(Fen::field("inner", &Outer::inner), Fen::field("flag", &Outer::flag),
                           Fen::field("label", &Outer::label), Fen::field("level", &Outer::level),
                           Fen::field("wide", &Outer::wide), Fen::field("hops", &Outer::hops),
                           Fen::field("inners", &Outer::inners));
  }
};

const Outer sample{{}, {{}, 1, 300}, true, "x y", 5, ~U64(0), {1, 2, 65535}, {Inner{{}, 1, 300}}};
// The text of `sample` from its field 'wide' on.
const std::string sampleTail =
    "'wide': 18446744073709551615, 'hops': [1, 2, 65535], 'inners': [Value('Test::Inner', ** "
    "{'a': 1, 'b': 300}), Value('Test::Inner', ** {'a': 0, 'b': 0})]})";
const std::string sampleText =
    "Value('Test::Outer', ** {'inner': Value('Test::Inner', ** {'a': 1, 'b': 300}), "
    "'flag': true, 'label': 'x y', 'level': 5, " +
    sampleTail;

// What `f` gives: "ok", or the kind of refusal and its message.
template <class F>
std::string outcome(F&& f) {
  try {
    f();
    return "ok";
  } catch (const Fen::RangeException& e) {
    return std::string("range: ") + e.what();
  } catch (const Fen::TextFormException& e) {
    return std::string("form: ") + e.what();
  }
}
// Parsing `text` as a T (a Ranged type parses through its checked constructor).
template <class T>
std::string parsed(const std::string& text) {
  return outcome([&] { Fen::parseText<T>(text); });
}

// Values and arrays of them print in their exact text form and parse back from it.
TEST(ValueTextTest, PrintsExactFormAndRandomValuesRoundTrip) {
  EXPECT_EQ(sample.toStrep(), sampleText);
  EXPECT_EQ(Outer::fromText(sampleText), sample);
  const unsigned seed = 20240611;
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 500; ++i) {
    const std::string label(rng() % 5, "ab'\\ "[rng() % 5]);
    Outer v{{}, {{}, U8(rng()), U16(rng())}, rng() % 2 == 1, label, rng() % 10, rng()};
    v.hops = {U16(rng()), U16(rng()), U16(rng())};
    v.inners[1] = {{}, U8(rng()), U16(rng())};
    ASSERT_EQ(Outer::fromText(v.toStrep()), v) << "seed " << seed << " text " << v.toStrep();
  }
  EXPECT_EQ(Fen::printText(std::string("it's \\")), "'it\\'s \\\\'");  // escaped, so it parses back
}

// Time stamps print in the shortest form that reads back to the same double, and random ones
// round trip; a text that is not a number names what was expected.
TEST(ValueTextTest, TimeStampsPrintShortestAndRoundTrip) {
  const std::pair<double, std::string> exact[] = {
      {0.0, "0"}, {1.5, "1.5"}, {0.1, "0.1"}, {1700000000.25, "1700000000.25"}, {1e-9, "1e-09"}};
  for (const auto& [v, text] : exact) {
    EXPECT_EQ(Fen::printText(v), text);
    EXPECT_EQ(Fen::parseText<double>(text), v);
  }
  EXPECT_EQ(Fen::ValueTraits<double>::hash(7, 0.0), Fen::ValueTraits<double>::hash(7, -0.0));
  const unsigned seed = 20261123;
  std::mt19937_64 rng(seed);
  for (int i = 0; i < 500; ++i) {
    const double v = std::ldexp(double(rng() >> 11), int(rng() % 80) - 60);
    ASSERT_EQ(Fen::parseText<double>(Fen::printText(v)), v) << "seed " << seed << " " << v;
  }
  EXPECT_EQ(parsed<double>("x1"), "form: \"a decimal number\", instead got x1");
  EXPECT_EQ(parsed<double>("1.5.2"), "form: \"a decimal number\", instead got 1.5.2");
  // Found by fuzzing: beyond the double's range the value would print as "inf", unreadable.
  EXPECT_EQ(parsed<double>("1e999"), "form: \"a finite decimal number\", instead got 1e999");
}

// Ranges at their boundaries (a pod array's capacity among them); a text that does not match
// names what was expected and the rest. (Integers one past their range and arrays of too few
// elements are pinned by the registry, chip and tool table tests.)
TEST(ValueTextTest, RefusalsNameTheRangeOrWhatWasExpectedAndTheRest) {
  auto replaced = [&](const std::string& from, const std::string& to) {
    std::string t = sampleText;
    return t.replace(t.find(from), from.size(), to);
  };
  using Hops = std::array<U16, 3>;
  const std::string vlan = "range: Bridging::VlanId::value < 1 or > 4094 not allowed";
  const std::string pod = "range: PodArray::set expected size <= 8";
  U32 words[9] = {};
  Fen::PodArray<U32, 8> p;
  const std::pair<std::string, std::string> cases[] = {
      {outcome([&] { p.set(words, 8), p.setAt(7, 1); }), "ok"},
      {outcome([&] { p.set(words, 9); }) + outcome([&] { p.setAt(8, 1); }), pod + pod},
      {parsed<Bridging::VlanId>("4094") + parsed<Bridging::VlanId>("1"), "okok"},
      {parsed<Bridging::VlanId>("4095"), vlan},
      {parsed<Bridging::VlanId>("0"), vlan},
      {parsed<U8>("0xFF") + parsed<U64>("18446744073709551615"), "okok"},
      {parsed<Outer>(replaced("'level': 5", "'level': 10")),
       "range: Fen::TraceLevel::value > 9 not allowed"},
      {parsed<Outer>(replaced("'wide'", "'wade'")),
       "form: \", 'wide': \", instead got , 'wade'" + sampleTail.substr(6)},
      {parsed<Outer>(replaced("'level': 5", "'level': x")),
       "form: \"an unsigned number\", instead got x, " + sampleTail},
      {parsed<Outer>(replaced("true", "yes")),
       "form: \"true or false\", instead got yes, 'label': 'x y', 'level': 5, " + sampleTail},
      {parsed<Outer>(sampleText + " x"), "form: \"end of text\", instead got  x"},
      {parsed<std::string>("'open\\"), "form: \"a closing quote\", instead got "},
      {parsed<Hops>("[]"), "form: U16[3] takes 3 elements, got 0"},
      {parsed<Hops>("[1, 2, 3, 4]"), "form: U16[3] takes 3 elements, got more than 3"},
      {parsed<Hops>("[1 2, 3]"), "form: \"a comma or a closing bracket\", instead got  2, 3]"},
      {parsed<Hops>("[1, 2, 3"), "form: \"a comma or a closing bracket\", instead got "},
      {parsed<Hops>("1, 2, 3"), "form: \"[\", instead got 1, 2, 3"},
  };
  for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
}

// Order, equality and hash take the fields in declaration order and array elements in index order.
TEST(ValueTest, OrderAndHashFollowTheFieldsInDeclarationOrder) {
  auto inner = [](U8 a, U16 b) { return Inner{{}, a, b}; };
  EXPECT_TRUE(inner(1, 500) < inner(2, 0) && inner(1, 5) < inner(1, 6));
  EXPECT_FALSE(inner(1, 5) < inner(1, 5) || inner(2, 0) < inner(1, 500));
  EXPECT_NE(inner(1, 5), inner(1, 6));
  EXPECT_NE(Fen::hashMix(7, 0x1234, 2), Fen::hashMix(8, 0x1234, 2));
  EXPECT_NE(Fen::hashMix(7, 0x34, 1), Fen::hashMix(7, 0x34, 2));    // width counts, not only value
  EXPECT_EQ(Fen::hashMix(7, 0xFF34, 1), Fen::hashMix(7, 0x34, 1));  // only `width` bytes count
  EXPECT_EQ(inner(3, 0x102).hash(99), Fen::hashMix(Fen::hashMix(99, 3, 1), 0x102, 2));
  EXPECT_EQ((Fen::ValueTraits<std::array<U16, 3>>::hash(7, {1, 2, 3})),
            Fen::hashMix(Fen::hashMix(Fen::hashMix(7, 1, 2), 2, 2), 3, 2));
}

const Fen::ModuleRegistrar registrar(Fen::ModuleInfo{
    "FrameworkTestModule", {Fen::valueClassInfo<Outer>(), Fen::valueClassInfo<Inner>()}});

std::vector<std::string> names(const std::vector<Fen::AttributeInfo>& attributes) {
  std::vector<std::string> out;
  for (const auto& a : attributes) out.push_back(a.name + ":" + a.typeName);
  return out;
}

// Attributes print and parse one field in place; a nested value's fields and an array's elements
// ("[i]") are its children, reached inside the outer object, and a refused text changes nothing.
// (The tool's table tests set and list array elements and their fields path by path, and see
// their range and text-form refusals.)
TEST(RegistryTest, AttributesReadAndWriteFieldsAndNestedFieldsInPlace) {
  const auto& reg = Fen::Registry::instance();
  ASSERT_NE(reg.module("FrameworkTestModule"), nullptr);
  const Fen::ClassInfo* c = reg.classInfo("Test::Outer");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(names(c->attributes),
            (Strings{"inner:Test::Inner", "flag:bool", "label:String", "level:Fen::TraceLevel",
                     "wide:U64", "hops:U16[3]", "inners:Test::Inner[2]"}));
  EXPECT_EQ(names(c->attribute("inners")->children),
            (Strings{"[0]:Test::Inner", "[1]:Test::Inner"}));
  const Fen::AttributeInfo& inner = *c->attribute("inner");
  EXPECT_EQ(names(inner.children), (Strings{"a:U8", "b:U16"}));
  Outer v = sample;
  EXPECT_EQ(inner.print(&v), "Value('Test::Inner', ** {'a': 1, 'b': 300})");
  inner.child("b")->parse(inner.nested(&v), "0x1234");
  EXPECT_EQ(v.inner, (Inner{{}, 1, 0x1234}));
  const Fen::AttributeInfo& hops = *c->attribute("hops");
  hops.parse(&v, "[4, 5, 6]");
  EXPECT_THAT([&] { hops.parse(&v, "[1, 2]"); },
              ThrowsMessage<Fen::TextFormException>("U16[3] takes 3 elements, got 2"));
  EXPECT_EQ(v.hops, (std::array<U16, 3>{4, 5, 6}));
}

}  // namespace
