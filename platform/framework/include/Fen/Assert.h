#pragma once
// Fatal assertion: prints file, line, function and the expression text, then aborts.
// The expression is macro-expanded before it is printed, so NULL reads as the compiler's
// own spelling of it.

namespace Fen {
[[noreturn]] void assertionFailed(const char* expr, const char* file, int line, const char* func);
}  // namespace Fen

#define FEN_ASSERT_TEXT_(x) #x
#define FEN_ASSERT_TEXT(x) FEN_ASSERT_TEXT_(x)
#define FEN_ASSERT(expr)      \
  ((expr)                     \
       ? static_cast<void>(0) \
       : ::Fen::assertionFailed(FEN_ASSERT_TEXT(expr), __FILE__, __LINE__, __PRETTY_FUNCTION__))
