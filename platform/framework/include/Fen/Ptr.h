#pragma once
// Intrusive reference counting: objects derive from PtrInterface and are held through Ptr.
// Counts are atomic when the framework is built thread-safe (FEN_THREAD_SAFE_PTR).
#include <cstddef>
#include <type_traits>
#include <utility>
#ifdef FEN_THREAD_SAFE_PTR
#include <atomic>
#endif

#include "Fen/Types.h"

namespace Fen {

class PtrInterface {
 public:
  PtrInterface() = default;
  PtrInterface(const PtrInterface&) {}
  PtrInterface& operator=(const PtrInterface&) { return *this; }

  // Whether observers of this object are told of its changes.
  virtual void hasNotificationActiveIs(bool active) { notificationActive_ = active; }
  bool hasNotificationActive() const { return notificationActive_; }
  // Called when the last reference goes; the default destroys the object.
  virtual void zeroReferencesIs() { delete this; }
  // Qualified name of the dynamic type, for diagnostics.
  virtual const char* fwkType() const { return "Fen::PtrInterface"; }
  virtual ~PtrInterface() = default;

  U32 references() const { return refs_; }
  void newRef() const { ++refs_; }
  void deleteRef() const {
    if (--refs_ == 0) const_cast<PtrInterface*>(this)->zeroReferencesIs();
  }

 private:
#ifdef FEN_THREAD_SAFE_PTR
  mutable std::atomic<U32> refs_{0};
#else
  mutable U32 refs_ = 0;
#endif
  bool notificationActive_ = false;
};

// Owning handle to a PtrInterface object; Ptr<const T> is the read-only handle.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(std::nullptr_t) {}
  explicit Ptr(T* p) : p_(p) { acquire(); }
  Ptr(const Ptr& o) : p_(o.p_) { acquire(); }
  Ptr(Ptr&& o) noexcept : p_(o.p_) { o.p_ = nullptr; }
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ptr(const Ptr<U>& o) : p_(o.ptr()) {
    acquire();
  }
  ~Ptr() { release(); }
  Ptr& operator=(Ptr o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }

  T* ptr() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  // True when this handle is the only reference, so the object may be reused in place.
  bool unique() const { return p_ != nullptr && p_->references() == 1; }
  bool operator==(const Ptr& o) const { return p_ == o.p_; }
  bool operator!=(const Ptr& o) const { return p_ != o.p_; }
  // Comparison with a raw pointer, so `p == NULL` reads as it does for plain pointers.
  bool operator==(const T* p) const { return p_ == p; }
  bool operator!=(const T* p) const { return p_ != p; }

 private:
  void acquire() {
    if (p_) p_->newRef();
  }
  void release() {
    if (p_) p_->deleteRef();
    p_ = nullptr;
  }
  T* p_ = nullptr;
};

template <class T>
using PtrConst = Ptr<const T>;

// The one way to create a reference-counted object.
template <class T, class... A>
Ptr<T> makePtr(A&&... args) {
  return Ptr<T>(new T(std::forward<A>(args)...));
}

template <class T, class U>
Ptr<T> ptrStaticCast(const Ptr<U>& p) {
  return Ptr<T>(static_cast<T*>(p.ptr()));
}

template <class T, class U>
Ptr<T> ptrDynamicCast(const Ptr<U>& p) {
  return Ptr<T>(dynamic_cast<T*>(p.ptr()));
}

}  // namespace Fen
