#pragma once
// Module registry: each module registers its classes from a static initialiser when the library
// is loaded; tools look classes up by name and read or write their attributes as text.
#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "Fen/Ptr.h"
#include "Fen/Value.h"

namespace Fen {

// One attribute of a value class, printed and parsed through its text form. An attribute whose
// type is itself a value also lists that value's attributes, and a fixed array lists its elements
// as children "[0]".."[N-1]"; both are reached through `nested`, so tools can address
// "outer.inner" and "list[1]" (and "list[1].inner") field by field.
struct AttributeInfo {
  std::string name;
  std::string typeName;
  std::function<std::string(const void* object)> print;
  std::function<void(void* object, std::string_view text)> parse;
  std::vector<AttributeInfo> children;
  // The address of this attribute inside `object`; set only when `children` is not empty.
  std::function<void*(void* object)> nested;
  // Fields with a numeric form (integers, ranged integers, bool, addresses): the smallest and
  // largest value the field takes, and a setter from a number in that range. Empty otherwise.
  std::function<void(void* object, U64 number)> setNumber;
  U64 minNumber = 0;
  U64 maxNumber = 0;

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
template <class A>
AttributeInfo elementAttribute(std::size_t i);

template <class T>
struct IsStdArray : std::false_type {};
template <class T, std::size_t N>
struct IsStdArray<std::array<T, N>> : std::true_type {};

// Gives attribute `a` of type T its children when T is a value (its fields) or a fixed array
// (elements "[0]".."[N-1]"); `place` finds the T inside the object holding the attribute.
template <class T, class Place>
void describeChildren(AttributeInfo& a, Place place) {
  if constexpr (IsValue<T>::value) {
    a.children = valueAttributes<T>();
  } else if constexpr (IsStdArray<T>::value) {
    for (std::size_t i = 0; i < std::tuple_size<T>::value; ++i) {
      a.children.push_back(elementAttribute<T>(i));
    }
  }
  if (!a.children.empty()) a.nested = place;
}

// Gives attribute `a` its numeric bounds and setter when T has a numeric form
// (ValueTraits<T>::numericMin, numericMax and fromNumber); `place` finds the T inside the object.
template <class T, class Place>
void describeNumber(AttributeInfo& a, Place place) {
  if constexpr (HasNumericForm<T>::value) {
    a.minNumber = ValueTraits<T>::numericMin;
    a.maxNumber = ValueTraits<T>::numericMax;
    a.setNumber = [place](void* o, U64 n) {
      *static_cast<T*>(place(o)) = ValueTraits<T>::fromNumber(n);
    };
  }
}

// Element `i` of fixed array type A, addressed inside the array itself.
template <class A>
AttributeInfo elementAttribute(std::size_t i) {
  using T = typename A::value_type;
  AttributeInfo a{
      "[" + std::to_string(i) + "]",
      ValueTraits<T>::typeName(),
      [i](const void* o) { return printText((*static_cast<const A*>(o))[i]); },
      [i](void* o, std::string_view text) { (*static_cast<A*>(o))[i] = parseText<T>(text); },
      {},
      nullptr,
      nullptr,
      0,
      0};
  auto place = [i](void* o) -> void* { return &(*static_cast<A*>(o))[i]; };
  describeChildren<T>(a, place);
  describeNumber<T>(a, place);
  return a;
}

// The attribute of field `f` of value type V (with its children when the field is a value or a
// fixed array).
template <class V, class F>
AttributeInfo fieldAttribute(const F& f) {
  using T = typename F::Type;
  AttributeInfo a{
      f.name,
      ValueTraits<T>::typeName(),
      [f](const void* o) { return printText(static_cast<const V*>(o)->*(f.member)); },
      [f](void* o, std::string_view text) { static_cast<V*>(o)->*(f.member) = parseText<T>(text); },
      {},
      nullptr,
      nullptr,
      0,
      0};
  auto place = [f](void* o) -> void* { return &(static_cast<V*>(o)->*(f.member)); };
  describeChildren<T>(a, place);
  describeNumber<T>(a, place);
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
