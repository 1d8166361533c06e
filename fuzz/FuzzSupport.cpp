#include "FuzzSupport.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "TarnSwitchTable/TarnTableModules.h"

namespace TarnFuzz {

const TarnSwitch::ChipProfile& tinyProfile() {
  static const TarnSwitch::ChipProfile p = [] {
    TarnSwitch::ChipProfile t = *TarnSwitch::builtinProfile("default");
    t.name = "tiny";
    t.portCount = 2;
    return t;
  }();
  return p;
}

std::unique_ptr<Tarnctl::Session> freshSession(const TarnSwitch::ChipProfile& profile) {
  TarnSwitchTable::registerModules();
  auto s =
      std::make_unique<Tarnctl::Session>(Fen::makePtr<TarnSwitchApi::HwTableCollection>(profile));
  s->start(TarnSwitchApi::StartMode::cold);
  return s;
}

const std::string& scratchFile(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/tarn-fuzz-" + std::to_string(::getpid());
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) __builtin_trap();
  if (size > 0 && std::fwrite(data, 1, size, f) != size) __builtin_trap();
  std::fclose(f);
  return path;
}

std::uint32_t Input::u32() {
  std::uint32_t v = 0;
  for (int i = 0; i < 4; ++i) v = (v << 8) | u8();
  return v;
}

std::uint8_t Input::u8() {
  if (size_ == 0) return 0;
  --size_;
  return *data_++;
}

std::string Input::rest() {
  std::string s(reinterpret_cast<const char*>(data_), size_);
  size_ = 0;
  return s;
}

}  // namespace TarnFuzz
