// The direct-table suite on a test table whose copies are not mirrors: ingress copies that
// each hold the rows of their own pipeline's ports as two words, and two CPU copies that hold
// every port as one narrower word compared alone.
#include <gtest/gtest.h>

#include "DirectTableSuite.h"
#include "support/TestTables.h"

namespace TarnTest {
namespace {

struct TestPortTraits {
  using Table = TestPortTable;
  static Fen::Ptr<TestPortTable> makeTable() { return Fen::makePtr<TestPortTable>("ports"); }
  static std::string profile() { return "default"; }
  static std::vector<TestPortKey> sampleKeys() {
    return {TestPortKey(0), TestPortKey(13), TestPortKey(47), TestPortKey(24)};
  }
  static std::vector<TestPortKey> outsideKeys() { return {TestPortKey(48), TestPortKey(63)}; }
  static TestPortResult result(unsigned n) { return TestPortResult(0x100 + n, n % 2 == 1); }
  static constexpr bool programsUnchanged = true;  // set again, a value repairs its row
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Copies, DirectTableSuite, ::testing::Types<TestPortTraits>);

}  // namespace TarnTest
