#pragma once
// Module registry: each module registers its classes from a static initialiser when the library
// is loaded; tools look classes up by name and read or write their attributes as text.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Value.h"

namespace Fen {

// One attribute of a value class, printed and parsed through its text form. An attribute whose
// type is itself a value also lists that value's attributes, reached through `nested`, so tools
// can address "outer.inner" field by field.
struct AttributeInfo {
  std::string name;
  std::string typeName;
  std::function<std::string(const void* object)> print;
  std::function<void(void* object, std::string_view text)> parse;
  std::vector<AttributeInfo> children;
  // The address of this attribute inside `object`; set only when `children` is not empty.
  std::function<void*(void* object)> nested;

  const AttributeInfo* child(std::string_view childName) const;
};

struct ClassInfo {
  std::string name;  // qualified, e.g. "TarnSwitchTable::ArpKey"
  std::string kind;  // "value", "entry", "table", "convertor"
  std::vector<AttributeInfo> attributes;
  // Tables: the factory taking the table's name, and the classes of key and result.
  std::function<Ptr<PtrInterface>(const std::string& name)> factory;
  std::string keyClass;
  std::string resultClass;

  const AttributeInfo* attribute(std::string_view attrName) const;
};

struct ModuleInfo {
  std::string name;
  std::vector<ClassInfo> classes;
};

class Registry {
 public:
  static Registry& instance();

  // Adds a module; registering the same module name twice is a fatal fault.
  void moduleIs(ModuleInfo module);
  const ModuleInfo* module(std::string_view name) const;
  const ClassInfo* classInfo(std::string_view name) const;
  std::vector<const ModuleInfo*> modules() const;

 private:
  std::map<std::string, ModuleInfo, std::less<>> modules_;
};

// Registers a module from a static initialiser.
struct ModuleRegistrar {
  explicit ModuleRegistrar(ModuleInfo module) { Registry::instance().moduleIs(std::move(module)); }
};

template <class V>
std::vector<AttributeInfo> valueAttributes();

// The attribute of field `f` of value type V (with its children when the field is a value).
template <class V, class F>
AttributeInfo fieldAttribute(const F& f) {
  using T = typename F::Type;
  AttributeInfo a{
      f.name,
      ValueTraits<T>::typeName(),
      [f](const void* o) { return printText(static_cast<const V*>(o)->*(f.member)); },
      [f](void* o, std::string_view text) { static_cast<V*>(o)->*(f.member) = parseText<T>(text); },
      {},
      nullptr};
  if constexpr (IsValue<T>::value) {
    a.children = valueAttributes<T>();
    a.nested = [f](void* o) -> void* { return &(static_cast<V*>(o)->*(f.member)); };
  }
  return a;
}

// The attributes of value type V, derived from its field list.
template <class V>
std::vector<AttributeInfo> valueAttributes() {
  std::vector<AttributeInfo> attrs;
  std::apply([&](const auto&... f) { (attrs.push_back(fieldAttribute<V>(f)), ...); },
             V::fenFields());
  return attrs;
}

template <class V>
ClassInfo valueClassInfo() {
  ClassInfo c;
  c.name = V::fenTypeName;
  c.kind = "value";
  c.attributes = valueAttributes<V>();
  return c;
}

}  // namespace Fen
