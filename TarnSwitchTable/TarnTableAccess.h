#pragma once
// Type-erased access to the entries of a typed table, for tools that reach tables through the
// framework's registry and know neither their key nor their result type. The caller fills a
// scratch key and result field by field through the registered attributes of the key and result
// classes, then applies them; entries are listed in key order as objects the same attributes
// print. Every engine's typed table derives from EntryAccessImpl, so one dynamic_cast from the
// registry factory's handle reaches any table.
#include <cstddef>
#include <functional>
#include <string>

#include "Fen/Text.h"
#include "TarnSwitchApi/Types.h"

namespace TarnSwitchTable {

class EntryAccess {
 public:
  using EntryVisitor = std::function<void(const void* key, const void* result)>;

  virtual ~EntryAccess() = default;

  // Qualified names of the key and result value types, as their classes are registered.
  virtual const char* keyTypeName() const = 0;
  virtual const char* resultTypeName() const = 0;

  // The scratch key and result, written through the attributes of their registered classes.
  virtual void* scratchKey() = 0;
  virtual void* scratchResult() = 0;
  // Resets the scratch key and result to their default values.
  virtual void scratchReset() = 0;
  // Copies software's result for the scratch key into the scratch result; false when absent.
  virtual bool scratchResultLoad() = 0;
  // Whether the table can hold the scratch key now (a hashed table may have no room for it):
  // ask before scratchEntryIs, which stops the process when the key cannot be placed.
  virtual bool scratchInsertable() const { return true; }
  // Raises the range exception, with a message naming the key, when the table refuses the
  // scratch key (before any change: setting such a key could stop the process).
  virtual void scratchKeyCheck() const {}
  // The same for the scratch result.
  virtual void scratchResultCheck() const {}
  // Text form of the scratch key.
  virtual std::string scratchKeyStrep() const = 0;
  // Text form of the scratch result.
  virtual std::string scratchResultStrep() const = 0;
  // Stores the scratch result under the scratch key (programming hardware as entryIs does).
  virtual void scratchEntryIs() = 0;
  // Removes the scratch key (as entryDel does); an absent key changes nothing.
  virtual void scratchEntryDel() = 0;
  // Removes every entry (as entryDelAll does).
  virtual void accessEntryDelAll() = 0;
  // Stores a key and a result of this table's types (as entryIs does), e.g. entries visited on
  // another table of the same class.
  virtual void entryCopyIs(const void* key, const void* result) = 0;

  virtual std::size_t entryCount() const = 0;
  // Visits every software entry in key order.
  virtual void entryForEach(const EntryVisitor& visit) const = 0;
  // "<key text form> <result text form>" of a key and result of this table's types.
  virtual std::string entryStrep(const void* key, const void* result) const = 0;

  // The entry that row `index` of hardware table `id` decodes to, in its text form. An unknown
  // copy or a row outside the copy raises the range exception.
  virtual std::string decodeRowText(TarnSwitchApi::HwTableId id, TarnSwitchApi::HwIndex index) = 0;
};

// EntryAccess for a typed table D (deriving from this) with `entry()` (a Fen::KeyedCollection of
// K to R), `entryIs(k, r)`, `entryDel(k)` and `entryDelAll()`. The engine supplies decodeRowText.
// K and R are values with a text form (Fen::Value types, or a ranged type as key).
template <class D, class K, class R>
class EntryAccessImpl : public EntryAccess {
 public:
  const char* keyTypeName() const override { return Fen::ValueTraits<K>::typeName(); }
  const char* resultTypeName() const override { return Fen::ValueTraits<R>::typeName(); }

  void* scratchKey() override { return &scratchKey_; }
  void* scratchResult() override { return &scratchResult_; }
  void scratchReset() override {
    scratchKey_ = K();
    scratchResult_ = R();
  }
  bool scratchResultLoad() override {
    const R* r = self().entry().find(scratchKey_);
    if (r) scratchResult_ = *r;
    return r != nullptr;
  }
  std::string scratchKeyStrep() const override { return Fen::printText(scratchKey_); }
  std::string scratchResultStrep() const override { return Fen::printText(scratchResult_); }
  void scratchEntryIs() override { self().entryIs(scratchKey_, scratchResult_); }
  void scratchEntryDel() override { self().entryDel(scratchKey_); }
  void accessEntryDelAll() override { self().entryDelAll(); }
  void entryCopyIs(const void* key, const void* result) override {
    self().entryIs(*static_cast<const K*>(key), *static_cast<const R*>(result));
  }

  std::size_t entryCount() const override { return self().entry().size(); }
  void entryForEach(const EntryVisitor& visit) const override {
    self().entry().forEachOrdered([&](const K& k, const R& r) { visit(&k, &r); });
  }
  std::string entryStrep(const void* key, const void* result) const override {
    return Fen::printText(*static_cast<const K*>(key)) + " " +
           Fen::printText(*static_cast<const R*>(result));
  }

 protected:
  const K& scratchKeyValue() const { return scratchKey_; }
  const R& scratchResultValue() const { return scratchResult_; }

 private:
  D& self() { return static_cast<D&>(*this); }
  const D& self() const { return static_cast<const D&>(*this); }

  K scratchKey_;
  R scratchResult_;
};

}  // namespace TarnSwitchTable
