#pragma once
// Per-module trace handles with levels 0..9. A handle is off until a level is selected for its
// module; a message of level L is emitted when L <= the selected level. FEN_TRACE formats
// nothing when the level is off.
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Ranged.h"

namespace Fen {

struct TraceLevelTag {
  static constexpr const char* name = "Fen::TraceLevel";
  static const std::string& message();
};
using TraceLevel = Ranged<TraceLevelTag, U8, 0, 9>;

using TraceSink = std::function<void(const char* module, int level, const std::string& text)>;

class TraceHandle {
 public:
  // Handles live as long as the program (define them at namespace scope).
  explicit TraceHandle(const char* module);
  TraceHandle(const TraceHandle&) = delete;
  TraceHandle& operator=(const TraceHandle&) = delete;

  bool on(int level) const { return level <= threshold_; }
  const char* module() const { return module_; }
  void levelIs(TraceLevel level) { threshold_ = level.value(); }
  void off() { threshold_ = -1; }
  void emit(int level, const std::string& text) const;

 private:
  const char* module_;
  int threshold_ = -1;
};

// Selects the level of a module's handle; an unknown module raises RangeException.
void traceLevelIs(const std::string& module, TraceLevel level);
void traceOffAll();
std::vector<std::string> traceModules();
// Where emitted messages go (stderr when none is set).
void traceSinkIs(TraceSink sink);

class RingTrace;

}  // namespace Fen

#define FEN_TRACE(handle, level, stream)           \
  do {                                             \
    if ((handle).on(level)) {                      \
      std::ostringstream fen_trace_os_;            \
      fen_trace_os_ << stream;                     \
      (handle).emit((level), fen_trace_os_.str()); \
    }                                              \
  } while (0)
