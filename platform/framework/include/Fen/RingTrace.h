#pragma once
// Bounded in-memory record of the events that must survive a crash (adoptions and repairs);
// the oldest lines fall out once the capacity is reached.
#include <deque>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Trace.h"

namespace Fen {

class RingTrace : public PtrInterface {
 public:
  explicit RingTrace(std::size_t capacity = 4096) : capacity_(capacity) {}
  const char* fwkType() const override { return "Fen::RingTrace"; }

  void write(std::string line);
  std::vector<std::string> lines() const { return {lines_.begin(), lines_.end()}; }
  std::size_t size() const { return lines_.size(); }
  // Number of lines that start with `prefix`.
  std::size_t count(std::string_view prefix) const;
  void clear() { lines_.clear(); }

  // The process's ring, used by tables that were not given one.
  static Ptr<RingTrace> process();

 private:
  std::size_t capacity_;
  std::deque<std::string> lines_;
};

// Writes to a ring trace and, when its level is on, to a module's trace handle.
class DualTrace {
 public:
  DualTrace(const TraceHandle& handle, RingTrace& ring) : handle_(handle), ring_(ring) {}
  template <class... A>
  void write(int level, const A&... parts) {
    std::ostringstream os;
    (os << ... << parts);
    std::string text = os.str();
    if (handle_.on(level)) handle_.emit(level, text);
    ring_.write(std::move(text));
  }

 private:
  const TraceHandle& handle_;
  RingTrace& ring_;
};

}  // namespace Fen
