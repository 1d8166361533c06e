#pragma once
// One hardware row: its index and up to 8 data words.
#include "Fen/PodArray.h"
#include "TarnSwitchApi/Types.h"

namespace TarnSwitchApi {

class HwEntryConfig {
 public:
  HwEntryConfig() = default;
  explicit HwEntryConfig(HwIndex index) : index_(index) {}

  HwIndex index() const { return index_; }
  // Count of data words set (the highest word set plus one).
  unsigned words() const { return unsigned(data_.size()); }
  U32 data(DataArrayIndex i) const { return data_[i.value()]; }
  // All 8 words; those past the count are 0.
  const U32* dataArray() const { return data_.data(); }
  // Sets word i, growing the word count to cover it.
  void dataIs(DataArrayIndex i, U32 value) { data_.setAt(i.value(), value); }
  // Sets words 0 .. n-1 and keeps the words past them; more than 8 raises as dataArrayIs.
  void dataPrefixIs(const U32* words, std::size_t n) { data_.setPrefix(words, n); }
  // Replaces all words; more than 8 raises "PodArray::set expected size <= 8".
  void dataArrayIs(const U32* words, std::size_t n) { data_.set(words, n); }

  friend bool operator==(const HwEntryConfig& a, const HwEntryConfig& b);
  friend bool operator!=(const HwEntryConfig& a, const HwEntryConfig& b) { return !(a == b); }

 private:
  HwIndex index_ = 0;
  Fen::PodArray<U32, hwEntryMaxWords> data_;
};

}  // namespace TarnSwitchApi
