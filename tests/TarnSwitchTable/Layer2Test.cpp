// The Layer-2 suite on a test table whose ingress copies partition the ports and are compared on
// their first word, beside a narrower CPU copy of every port.
#include <gtest/gtest.h>

#include "Layer2TableSuite.h"
#include "support/TestTables.h"

namespace TarnTest {
namespace {

struct TestGroupTraits {
  using Table = TestGroupTable;
  static Fen::Ptr<TestGroupTable> makeTable() { return Fen::makePtr<TestGroupTable>("groups"); }
  static std::string profile() { return "default"; }
  static TestPortKey key(unsigned n) { return TestPortKey(U16(5 + 14 * n)); }
  static TestGroupResult result(const TestPortKey&, unsigned n) {
    return TestGroupResult(0x100 + n);
  }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Groups, Layer2TableSuite, ::testing::Types<TestGroupTraits>);

}  // namespace TarnTest
