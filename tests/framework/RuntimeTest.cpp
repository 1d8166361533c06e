// Reference counting, keyed collections, tracing, the ring trace, the corruption hook, the fatal
// assertion and atomic file output.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "Fen/Assert.h"
#include "Fen/Collection.h"
#include "Fen/File.h"
#include "Fen/Ptr.h"
#include "Fen/RingTrace.h"
#include "Fen/Trace.h"
#include "Spool/SpoolMapBase.h"

namespace fs = std::filesystem;

namespace FrameworkAssertProbe {
#define PROBE_LIMIT 3
inline void checkBelowLimit(int x) {
  FEN_ASSERT(x < PROBE_LIMIT);
}
constexpr int assertLine = __LINE__ - 2;
}  // namespace FrameworkAssertProbe

namespace {

// Counts its own destructions in a counter owned by the test.
class Tracked : public Fen::PtrInterface {
 public:
  explicit Tracked(int& destroyed) : destroyed_(destroyed) {}
  ~Tracked() override { ++destroyed_; }
  const char* fwkType() const override { return "Test::Tracked"; }

 private:
  int& destroyed_;
};
class Other : public Fen::PtrInterface {};

TEST(PtrTest, LastHandleDestroysTheObjectOnce) {
  int destroyed = 0;
  {
    Fen::Ptr<Tracked> a = Fen::makePtr<Tracked>(destroyed);
    EXPECT_TRUE(a.unique());
    Fen::PtrConst<Tracked> c = a;
    Fen::Ptr<Fen::PtrInterface> base = a;
    EXPECT_EQ(a->references(), 3u);
    EXPECT_FALSE(a.unique());
    Fen::Ptr<Tracked> moved = std::move(a);
    EXPECT_FALSE(a);
    EXPECT_EQ(moved->references(), 3u);
    Fen::Ptr<Tracked>& alias = moved;
    moved = alias;  // self-assignment keeps the object
    EXPECT_EQ(Fen::ptrDynamicCast<Other>(base), nullptr);
    EXPECT_EQ(Fen::ptrDynamicCast<Tracked>(base), moved);
    base = nullptr;
    c = nullptr;
    EXPECT_TRUE(moved.unique());
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
  EXPECT_FALSE(Fen::Ptr<Tracked>().unique());
}

TEST(KeyedCollectionTest, SetAndDelReportChangesAndObserversHearNotify) {
  Fen::KeyedCollection<int, std::string> coll;
  std::vector<std::string> heard;
  coll.observerIs([&](const int& k) { heard.push_back("a" + std::to_string(k)); });
  coll.observerIs([&](const int& k) { heard.push_back("b" + std::to_string(k)); });
  EXPECT_TRUE(coll.set(2, "x"));
  EXPECT_FALSE(coll.set(2, "x"));
  EXPECT_TRUE(coll.set(2, "y"));
  EXPECT_TRUE(coll.set(1, "z"));
  EXPECT_EQ(*coll.find(2), "y");
  EXPECT_EQ(coll.begin()->first, 1);  // key order
  EXPECT_TRUE(heard.empty());         // the owner decides when to notify
  coll.notify(2);
  EXPECT_EQ(heard, (std::vector<std::string>{"a2", "b2"}));
  EXPECT_TRUE(coll.del(2));
  EXPECT_FALSE(coll.del(2));
  EXPECT_FALSE(coll.has(2));
  EXPECT_EQ(coll.size(), 1u);
}

Fen::TraceHandle traceA("FrameworkTest.A");
Fen::TraceHandle traceA2("FrameworkTest.A");
Fen::TraceHandle traceB("FrameworkTest.B");

class TraceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Fen::traceSinkIs([this](const char* module, int level, const std::string& text) {
      seen.emplace_back(module, level, text);
    });
  }
  void TearDown() override {
    Fen::traceOffAll();
    Fen::traceSinkIs(nullptr);
  }
  // Traces one message and tells whether its operand was evaluated.
  bool traced(Fen::TraceHandle& h, int level) {
    bool evaluated = false;
    auto probe = [&] {
      evaluated = true;
      return 42;
    };
    FEN_TRACE(h, level, "value " << probe());
    return evaluated;
  }
  std::vector<std::tuple<std::string, int, std::string>> seen;
};

TEST_F(TraceTest, OffByDefaultAndFormatsNothing) {
  for (int level = 0; level <= 9; ++level) EXPECT_FALSE(traced(traceA, level));
  EXPECT_TRUE(seen.empty());
}

TEST_F(TraceTest, LevelIsSelectedPerModule) {
  Fen::traceLevelIs("FrameworkTest.A", 5);
  EXPECT_TRUE(traced(traceA, 5));
  EXPECT_FALSE(traced(traceA, 6));
  EXPECT_TRUE(traced(traceA2, 0));  // every handle of the module
  EXPECT_FALSE(traced(traceB, 0));
  using Seen = std::tuple<std::string, int, std::string>;
  EXPECT_EQ(seen, (std::vector<Seen>{Seen{"FrameworkTest.A", 5, "value 42"},
                                     Seen{"FrameworkTest.A", 0, "value 42"}}));
  Fen::traceOffAll();
  EXPECT_FALSE(traced(traceA, 0));
  auto modules = Fen::traceModules();
  EXPECT_EQ(std::count(modules.begin(), modules.end(), "FrameworkTest.A"), 1);
  EXPECT_EQ(std::count(modules.begin(), modules.end(), "FrameworkTest.B"), 1);
}

TEST_F(TraceTest, UnknownModuleIsARangeError) {
  try {
    Fen::traceLevelIs("FrameworkTest.None", 1);
    FAIL() << "no exception";
  } catch (const Fen::RangeException& e) {
    EXPECT_STREQ(e.what(), "no trace module named 'FrameworkTest.None'");
  }
}

TEST_F(TraceTest, DualTraceAlwaysRecordsAndEmitsOnlyWhenOn) {
  Fen::RingTrace ring(8);
  Fen::DualTrace dual(traceB, ring);
  dual.write(3, "first ", 1);
  Fen::traceLevelIs("FrameworkTest.B", 3);
  dual.write(3, "second ", 2);
  dual.write(4, "third");
  EXPECT_EQ(ring.lines(), (std::vector<std::string>{"first 1", "second 2", "third"}));
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(std::get<2>(seen[0]), "second 2");
}

TEST(RingTraceTest, KeepsTheNewestLinesUpToCapacity) {
  Fen::RingTrace ring(3);
  for (const char* l : {"a1", "b2", "a3", "b4", "a5"}) ring.write(l);
  EXPECT_EQ(ring.lines(), (std::vector<std::string>{"a3", "b4", "a5"}));
  EXPECT_EQ(ring.count("a"), 2u);
  EXPECT_EQ(ring.count("b4"), 1u);
  EXPECT_EQ(ring.count("b45"), 0u);
  EXPECT_EQ(ring.count(""), 3u);
  ring.clear();
  EXPECT_EQ(ring.size(), 0u);
  Fen::RingTrace none(0);
  none.write("x");
  EXPECT_EQ(none.size(), 0u);
  EXPECT_EQ(Fen::RingTrace::process(), Fen::RingTrace::process());
}

TEST(SpoolMapBaseTest, RecordsEveryCorruptionMessage) {
  Spool::SpoolMapBase hook;
  hook.doCorruptionDetected("first");
  hook.doCorruptionDetected("second");
  EXPECT_EQ(hook.corruptionReports(), (std::vector<std::string>{"first", "second"}));
  hook.corruptionReportsDelAll();
  EXPECT_TRUE(hook.corruptionReports().empty());
}

// Escapes the characters that are special in a POSIX extended regular expression.
std::string regexQuote(const std::string& s) {
  std::string out;
  for (char c : s) {
    if (std::string("\\^$.|?*+()[]{}").find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

TEST(AssertDeathTest, PrintsFileLineFunctionAndExpandedExpression) {
  const std::string expected = std::string(__FILE__) + ":" +
                               std::to_string(FrameworkAssertProbe::assertLine) +
                               ": void FrameworkAssertProbe::checkBelowLimit(int): "
                               "Assertion `x < 3' failed.";
  EXPECT_DEATH(FrameworkAssertProbe::checkBelowLimit(3), regexQuote(expected));
  FrameworkAssertProbe::checkBelowLimit(2);
}

class FileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir = fs::path(::testing::TempDir()) /
          ("tarn_" + std::string(info->name()) + "_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
  }
  void TearDown() override { fs::remove_all(dir); }
  std::vector<std::string> listing() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename());
    return names;
  }
  static std::string read(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
  fs::path dir;
};

TEST_F(FileTest, WritesAndReplacesContent) {
  const std::string path = dir / "out.txt";
  Fen::writeFileAtomically(path, "first\n");
  Fen::writeFileAtomically(path, std::string("sec\0ond", 7));
  EXPECT_EQ(read(path), std::string("sec\0ond", 7));
  EXPECT_EQ(listing(), std::vector<std::string>{"out.txt"});
}

TEST_F(FileTest, FailedWriteNamesThePathAndLeavesNoTemporary) {
  for (const std::string& path : {(dir / "missing" / "out.txt").string(), (dir / "sub").string()}) {
    fs::create_directories(dir / "sub");  // a directory cannot be replaced by a file
    try {
      Fen::writeFileAtomically(path, "content");
      ADD_FAILURE() << "no exception for " << path;
    } catch (const Fen::Exception& e) {
      EXPECT_EQ(std::string(e.what()).rfind("cannot write '" + path + "': ", 0), 0u) << e.what();
    }
    EXPECT_EQ(listing(), std::vector<std::string>{"sub"});
  }
}

}  // namespace
