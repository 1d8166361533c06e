#include "Fen/Trace.h"

#include <cstdio>
#include <cstring>
#include <map>

#include "Fen/Assert.h"
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

// The payload of a number record.
void printNumber(std::string& out, const void* payload) {
  U64 number;
  std::memcpy(&number, payload, sizeof number);
  out += std::to_string(number);
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

void RingTrace::Record::appendTo(std::string& out) const {
  if (!message) {
    out += text;
    return;
  }
  out += message;
  if (print) print(out, payload);
}

RingTrace::Record* RingTrace::next() {
  if (capacity_ == 0) return nullptr;
  if (records_.empty()) records_.resize(capacity_);
  if (size_ < capacity_) {
    const std::size_t at = first_ + size_++;
    return &records_[at < capacity_ ? at : at - capacity_];
  }
  Record* oldest = &records_[first_];
  first_ = first_ + 1 == capacity_ ? 0 : first_ + 1;
  return oldest;
}

void RingTrace::write(std::string line) {
  Record* r = next();
  if (!r) return;
  r->message = nullptr;
  r->text = std::move(line);
}

void RingTrace::write(const char* message, RingPrint print, const void* payload, std::size_t size) {
  FEN_ASSERT(size <= maxPayload);
  Record* r = next();
  if (!r) return;
  r->message = message ? message : "";
  r->print = print;
  if (size != 0) std::memcpy(r->payload, payload, size);
}

void RingTrace::write(const char* message, U64 number) {
  write(message, &printNumber, &number, sizeof number);
}

std::vector<std::string> RingTrace::lines() const {
  std::vector<std::string> out;
  out.reserve(size_);
  forEachRecord([&](const Record& r) { r.appendTo(out.emplace_back()); });
  return out;
}

std::size_t RingTrace::count(std::string_view prefix) const {
  std::size_t n = 0;
  std::string text;
  forEachRecord([&](const Record& r) {
    text.clear();
    r.appendTo(text);
    if (std::string_view(text).substr(0, prefix.size()) == prefix) ++n;
  });
  return n;
}

Ptr<RingTrace> RingTrace::process() {
  static Ptr<RingTrace> ring = makePtr<RingTrace>();
  return ring;
}

}  // namespace Fen
