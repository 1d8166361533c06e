#pragma once
// Reference-counted objects recycled instead of freed. A pool makes objects of T in chunks and
// takes each back when its last reference goes, so a steady stream of objects allocates only a
// chunk now and then. T derives from Pooled<T> and returns itself with `release(this)` from its
// zeroReferencesIs(); an object made by makePtr instead is destroyed as usual. The pool lives as
// long as its owner or any object it handed out.
#include <memory>
#include <vector>

#include "Fen/Ptr.h"

namespace Fen {

template <class T>
class PtrPool;

template <class T>
class Pooled {
 protected:
  // Gives the object back to the pool that made it, or destroys it when no pool did.
  void release(T* self) {
    if (!pool_) {
      delete self;
      return;
    }
    Ptr<PtrPool<T>> pool = std::move(pool_);
    pool->put(self);
  }

 private:
  friend class PtrPool<T>;
  Ptr<PtrPool<T>> pool_;
};

template <class T>
class PtrPool : public PtrInterface {
 public:
  static constexpr std::size_t chunkSize = 256;
  const char* fwkType() const override { return "Fen::PtrPool"; }

  // An object from the pool: a recycled one (as it was left) or a default-constructed one.
  Ptr<T> take() {
    if (free_.empty()) grow();
    T* object = free_.back();
    free_.pop_back();
    object->pool_ = Ptr<PtrPool>(this);
    return Ptr<T>(object);
  }
  // Objects made so far, and how many of them are free.
  std::size_t objectCount() const { return chunks_.size() * chunkSize; }
  std::size_t freeCount() const { return free_.size(); }
  // Heap bytes the pool holds.
  std::size_t memoryBytes() const {
    return chunks_.size() * chunkSize * sizeof(T) + free_.capacity() * sizeof(T*);
  }

 private:
  friend class Pooled<T>;
  void put(T* object) { free_.push_back(object); }
  void grow() {
    chunks_.push_back(std::make_unique<T[]>(chunkSize));
    free_.reserve(chunks_.size() * chunkSize);
    T* chunk = chunks_.back().get();
    for (std::size_t i = chunkSize; i > 0; --i) free_.push_back(&chunk[i - 1]);
  }

  std::vector<std::unique_ptr<T[]>> chunks_;
  std::vector<T*> free_;
};

}  // namespace Fen
