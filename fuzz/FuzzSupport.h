#pragma once
// What the fuzz targets share: started sessions of every registered table, input bytes as a
// file, and the rule that an input may be refused only with the tool's or the framework's
// exception.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "Session.h"

namespace TarnFuzz {

// A small chip: the default profile with two ports, so a full table has few rows.
const TarnSwitch::ChipProfile& tinyProfile();
// A session of every registered table on a fresh chip of `profile`, started cold.
std::unique_ptr<Tarnctl::Session> freshSession(const TarnSwitch::ChipProfile& profile);
// Writes `data` to this process's scratch file and returns its path.
const std::string& scratchFile(const std::uint8_t* data, std::size_t size);

// Reads input bytes from the front: numbers and the rest as text.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  std::uint32_t u32();
  std::uint8_t u8();
  std::string rest();
  bool empty() const { return size_ == 0; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

}  // namespace TarnFuzz
