#include "Fen/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Fen {

void assertionFailed(const char* expr, const char* file, int line, const char* func) {
  std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, func, expr);
  std::fflush(stderr);
  std::abort();
}

}  // namespace Fen
