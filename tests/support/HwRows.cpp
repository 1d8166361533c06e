#include "support/HwRows.h"

#include <cstdio>

namespace TarnTest {

Words rowWords(const TarnSwitchApi::HwTableConfig& table, TarnSwitchApi::HwIndex index,
               unsigned count) {
  const TarnSwitchApi::HwEntryConfig* row = table.storedEntry(index);
  if (!row) return {};
  Words out(count, 0);
  for (unsigned i = 0; i < count && i < row->words(); ++i) out[i] = row->dataArray()[i];
  return out;
}

std::string wordsText(const Words& words) {
  std::string out = "{";
  for (std::size_t i = 0; i < words.size(); ++i) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%s0x%08x", i ? ", " : "", unsigned(words[i]));
    out += buf;
  }
  return out + "}";
}

WriteLog::WriteLog(TarnSwitchApi::HwTableCollection& chip) {
  auto log = writes_;
  chip.writeObserverIs(
      [log](const TarnSwitchApi::HwTableConfig& table, const TarnSwitchApi::HwEntryConfig& row) {
        log->push_back(Write{table.name(), row});
      });
}

}  // namespace TarnTest
