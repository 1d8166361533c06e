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

// One attribute of a value class, printed and parsed through its text form.
struct AttributeInfo {
  std::string name;
  std::string typeName;
  std::function<std::string(const void* object)> print;
  std::function<void(void* object, std::string_view text)> parse;
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

// The attributes of value type V, derived from its field list.
template <class V>
std::vector<AttributeInfo> valueAttributes() {
  std::vector<AttributeInfo> attrs;
  std::apply(
      [&](const auto&... f) {
        (attrs.push_back(AttributeInfo{
             f.name, ValueTraits<typename std::decay_t<decltype(f)>::Type>::typeName(),
             [f](const void* o) { return printText(static_cast<const V*>(o)->*(f.member)); },
             [f](void* o, std::string_view text) {
               using T = typename std::decay_t<decltype(f)>::Type;
               static_cast<V*>(o)->*(f.member) = parseText<T>(text);
             }}),
         ...);
      },
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
