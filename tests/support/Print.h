#pragma once
// Lets GoogleTest print the framework's value types (keys, results) in their text form when an
// expectation on them fails.
#include <ostream>

#include "Fen/Value.h"

namespace Fen {

template <class D>
std::ostream& operator<<(std::ostream& os, const Value<D>& v) {
  return os << static_cast<const D&>(v).toStrep();
}

}  // namespace Fen
