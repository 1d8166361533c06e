// Every registered table's decode fed row words: the input picks the profile, the table, the
// copy, the row and up to eight words; reading the row back returns, or raises the framework's
// range exception, and nothing else.
#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto sessions = [] {
    std::vector<std::unique_ptr<Tarnctl::Session>> s;
    for (const auto& p : TarnSwitch::builtinProfiles()) s.push_back(TarnFuzz::freshSession(p));
    return s;
  }();
  TarnFuzz::Input in(data, size);
  Tarnctl::Session& s = *sessions[in.u8() % sessions.size()];
  if (s.tables().empty()) return 0;
  Tarnctl::ToolTable& t = *s.tables()[in.u8() % s.tables().size()];
  auto& conv = t.convertor();
  const auto id = TarnSwitchApi::HwTableId(in.u8() % (conv.hwTableCount() + 1));
  const Fen::U32 pick = in.u32();
  unsigned count = in.u8() % (TarnSwitchApi::hwEntryMaxWords + 1);
  Fen::U32 words[TarnSwitchApi::hwEntryMaxWords] = {};
  for (unsigned w = 0; w < count; ++w) words[w] = in.u32();
  TarnSwitchApi::HwIndex index = pick;
  if (TarnSwitchApi::HwTableConfig* hw = conv.hwTable(id)) {
    index = TarnSwitchApi::HwIndex(hw->lower() + pick % (Fen::U64(hw->upper()) - hw->lower() + 2));
    if (index <= hw->upper()) {
      TarnSwitchApi::HwEntryConfig row(index);
      row.dataArrayIs(words, count);
      hw->entryIs(row);
    }
  }
  try {
    t.access().decodeRowText(id, index);
  } catch (const Fen::RangeException&) {
  }
  return 0;
}
