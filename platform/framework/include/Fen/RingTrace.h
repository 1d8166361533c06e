#pragma once
// Bounded in-memory record of the events that must survive a crash (adoptions and repairs).
// A record keeps a static message and a small copy of its payload and is formatted only when
// read, so recording an event costs a copy, not a text. The oldest records fall out once the
// capacity is reached.
#include <cstddef>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Trace.h"

namespace Fen {

// Appends the text of a record's payload to `out`.
using RingPrint = void (*)(std::string& out, const void* payload);

// Whether `ringPrint(std::string&, const T&)` is found for T by argument-dependent lookup.
template <class T, class = void>
struct HasRingPrint : std::false_type {};
template <class T>
struct HasRingPrint<
    T, std::void_t<decltype(ringPrint(std::declval<std::string&>(), std::declval<const T&>()))>>
    : std::true_type {};

class RingTrace : public PtrInterface {
 public:
  static constexpr std::size_t maxPayload = 96;

  // Keeps the newest `capacity` records; the storage is allocated once, at the first write.
  explicit RingTrace(std::size_t capacity = 4096) : capacity_(capacity) {}
  const char* fwkType() const override { return "Fen::RingTrace"; }

  // Records `line` as it is.
  void write(std::string line);
  // Records `message` (only the pointer is kept: it must have static storage duration) followed
  // by what `print` appends for the payload. The payload's `size` bytes are copied into the
  // record, aligned for any type; more than maxPayload bytes is a fatal assertion.
  void write(const char* message, RingPrint print, const void* payload, std::size_t size);
  // Records `message` followed by the payload as `ringPrint(out, payload)` prints it.
  template <class T, std::enable_if_t<HasRingPrint<T>::value, int> = 0>
  void write(const char* message, const T& payload) {
    static_assert(std::is_trivially_copyable_v<T>, "a ring payload is kept as a copy of its bytes");
    static_assert(sizeof(T) <= maxPayload && alignof(T) <= alignof(std::max_align_t),
                  "a ring payload must fit a record");
    write(message, &printPayload<T>, &payload, sizeof(T));
  }
  // Records `message` followed by `number` in decimal.
  void write(const char* message, U64 number);

  // The text of every record, oldest first.
  std::vector<std::string> lines() const;
  std::size_t size() const { return size_; }
  // Number of records whose text starts with `prefix`.
  std::size_t count(std::string_view prefix) const;
  void clear() { first_ = size_ = 0; }

  // The process's ring, used by tables that were not given one.
  static Ptr<RingTrace> process();

 private:
  struct Record {
    const char* message = nullptr;  // nullptr: the record is the line in `text`
    RingPrint print = nullptr;      // nullptr: no payload
    std::string text;
    alignas(std::max_align_t) unsigned char payload[maxPayload];

    void appendTo(std::string& out) const;
  };

  // The payload was copied from a T as bytes, which makes it a T (it is trivially copyable).
  template <class T>
  static void printPayload(std::string& out, const void* payload) {
    ringPrint(out, *std::launder(static_cast<const T*>(payload)));
  }
  // The record a write fills: the next free one, or else the oldest. nullptr when capacity is 0.
  Record* next();
  template <class F>
  void forEachRecord(F&& f) const {
    for (std::size_t i = 0, at = first_; i < size_; ++i, at = at + 1 == capacity_ ? 0 : at + 1) {
      f(records_[at]);
    }
  }

  std::size_t capacity_;
  std::size_t first_ = 0;  // the oldest record
  std::size_t size_ = 0;
  std::vector<Record> records_;
};

// Writes to a ring trace and, when its level is on, to a module's trace handle. The compact
// forms format text only for the handle, and only when its level is on.
class DualTrace {
 public:
  DualTrace(const TraceHandle& handle, RingTrace& ring) : handle_(handle), ring_(ring) {}

  // An ad-hoc line made of `parts` as a stream prints them. (A print function is never a part:
  // such calls are the compact form below.)
  template <class... A,
            std::enable_if_t<!(std::is_convertible_v<const A&, RingPrint> || ...), int> = 0>
  void write(int level, const A&... parts) {
    std::ostringstream os;
    (os << ... << parts);
    std::string text = os.str();
    if (handle_.on(level)) handle_.emit(level, text);
    ring_.write(std::move(text));
  }
  void write(int level, const char* message, U64 number) {
    if (handle_.on(level)) handle_.emit(level, message + std::to_string(number));
    ring_.write(message, number);
  }
  void write(int level, const char* message, RingPrint print, const void* payload,
             std::size_t size) {
    if (handle_.on(level)) {
      std::string text = message;
      print(text, payload);
      handle_.emit(level, text);
    }
    ring_.write(message, print, payload, size);
  }
  template <class T, std::enable_if_t<HasRingPrint<T>::value, int> = 0>
  void write(int level, const char* message, const T& payload) {
    if (handle_.on(level)) {
      std::string text = message;
      ringPrint(text, payload);
      handle_.emit(level, text);
    }
    ring_.write(message, payload);
  }

 private:
  const TraceHandle& handle_;
  RingTrace& ring_;
};

}  // namespace Fen
