#pragma once
// Raised by a read of the hardware shadow whose content failed its integrity check.
#include <stdexcept>
#include <string>

namespace Cairn {

class CorruptionDetectedException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace Cairn
