#pragma once
// Exceptions raised by the framework: every one carries a fixed message text.
#include <stdexcept>
#include <string>

namespace Fen {

// Base of every framework exception.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A value outside the range of its type; the message names the type and its bounds.
class RangeException : public Exception {
 public:
  using Exception::Exception;
};

// Text that does not match the text form of the value being built from it.
class TextFormException : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Fen
