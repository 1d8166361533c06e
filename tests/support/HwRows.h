#pragma once
// Test helpers that read the simulated chip: the words a row holds, a log of every write, and
// the message of an expected exception.
#include <memory>
#include <string>
#include <vector>

#include "TarnSwitchApi/SwTable.h"

namespace TarnTest {

using Words = std::vector<Fen::U32>;

// The first `count` words the chip stores at `index` (missing words read 0), ignoring any
// corruption mark; empty when the row is absent.
Words rowWords(const TarnSwitchApi::HwTableConfig& table, TarnSwitchApi::HwIndex index,
               unsigned count);

// "{0x........, ...}": words in hexadecimal, for failure messages.
std::string wordsText(const Words& words);

// Records every row written to a chip from the moment it is attached.
class WriteLog {
 public:
  struct Write {
    std::string table;
    TarnSwitchApi::HwEntryConfig row;
  };
  explicit WriteLog(TarnSwitchApi::HwTableCollection& chip);
  const std::vector<Write>& writes() const { return *writes_; }
  void clear() { writes_->clear(); }

 private:
  std::shared_ptr<std::vector<Write>> writes_ = std::make_shared<std::vector<Write>>();
};

// The message of the exception of type E that `f` raises, or a text saying none was raised.
template <class E, class F>
std::string thrownMessage(F&& f) {
  try {
    f();
  } catch (const E& e) {
    return e.what();
  }
  return "<no exception raised>";
}

}  // namespace TarnTest
