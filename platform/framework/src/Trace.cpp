#include "Fen/Trace.h"

#include <cstdio>
#include <map>

#include "Fen/RingTrace.h"

namespace Fen {
namespace {

// Handles by module name; several handles may share a module name.
std::multimap<std::string, TraceHandle*>& handles() {
  static std::multimap<std::string, TraceHandle*> all;
  return all;
}

TraceSink& sink() {
  static TraceSink s;
  return s;
}

}  // namespace

const std::string& TraceLevelTag::message() {
  static const std::string m = rangeMessageLiteralMax(name, 9);
  return m;
}

TraceHandle::TraceHandle(const char* module) : module_(module) {
  handles().emplace(module, this);
}

void TraceHandle::emit(int level, const std::string& text) const {
  if (sink()) {
    sink()(module_, level, text);
  } else {
    std::fprintf(stderr, "%s[%d]: %s\n", module_, level, text.c_str());
  }
}

void traceLevelIs(const std::string& module, TraceLevel level) {
  auto range = handles().equal_range(module);
  if (range.first == range.second) throw RangeException("no trace module named '" + module + "'");
  for (auto it = range.first; it != range.second; ++it) it->second->levelIs(level);
}

void traceOffAll() {
  for (auto& [name, h] : handles()) h->off();
}

std::vector<std::string> traceModules() {
  std::vector<std::string> out;
  for (const auto& [name, h] : handles()) {
    if (out.empty() || out.back() != name) out.push_back(name);
  }
  return out;
}

void traceSinkIs(TraceSink s) {
  sink() = std::move(s);
}

void RingTrace::write(std::string line) {
  if (capacity_ == 0) return;
  if (lines_.size() == capacity_) lines_.pop_front();
  lines_.push_back(std::move(line));
}

std::size_t RingTrace::count(std::string_view prefix) const {
  std::size_t n = 0;
  for (const auto& l : lines_) {
    if (std::string_view(l).substr(0, prefix.size()) == prefix) ++n;
  }
  return n;
}

Ptr<RingTrace> RingTrace::process() {
  static Ptr<RingTrace> ring = makePtr<RingTrace>();
  return ring;
}

}  // namespace Fen
