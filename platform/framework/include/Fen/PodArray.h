#pragma once
// Fixed-capacity array of plain values with a size; refuses more values than it holds. The
// elements past the size are always T() (data() may be read over the whole capacity).
#include <algorithm>
#include <string>

#include "Fen/Exception.h"
#include "Fen/Types.h"

namespace Fen {

template <class T, std::size_t N>
class PodArray {
 public:
  static constexpr std::size_t capacity = N;

  std::size_t size() const { return size_; }
  const T* data() const { return data_; }
  const T& operator[](std::size_t i) const { return data_[i]; }

  // Replaces the contents with n values; more than N raises the range exception.
  void set(const T* src, std::size_t n) {
    if (n > N) throw RangeException("PodArray::set expected size <= " + std::to_string(N));
    std::copy(src, src + n, data_);
    std::fill(data_ + n, data_ + N, T());
    size_ = n;
  }
  // Sets elements 0 .. n-1 and keeps those past them, growing the size to cover n.
  void setPrefix(const T* src, std::size_t n) {
    if (n > N) tooMany();
    std::size_t i = 0;
    for (; i + 2 <= n; i += 2) {  // two at a time: a short row is a few moves, no copy call
      data_[i] = src[i];
      data_[i + 1] = src[i + 1];
    }
    if (i < n) data_[i] = src[i];
    size_ = std::max(size_, n);
  }
  // Sets element i (< N), growing the size to cover it.
  void setAt(std::size_t i, const T& v) {
    if (i >= N) throw RangeException("PodArray::set expected size <= " + std::to_string(N));
    data_[i] = v;
    size_ = std::max(size_, i + 1);
  }

 private:
  [[noreturn]] __attribute__((cold, noinline)) static void tooMany() {
    throw RangeException("PodArray::set expected size <= " + std::to_string(N));
  }

  T data_[N] = {};
  std::size_t size_ = 0;
};

}  // namespace Fen
