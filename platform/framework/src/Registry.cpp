#include "Fen/Registry.h"

#include "Fen/Assert.h"

namespace Fen {

const AttributeInfo* ClassInfo::attribute(std::string_view attrName) const {
  for (const auto& a : attributes) {
    if (a.name == attrName) return &a;
  }
  return nullptr;
}

const AttributeInfo* AttributeInfo::child(std::string_view childName) const {
  for (const auto& c : children) {
    if (c.name == childName) return &c;
  }
  return nullptr;
}

Registry& Registry::instance() {
  static Registry registry;
  return registry;
}

void Registry::moduleIs(ModuleInfo module) {
  std::string name = module.name;
  bool inserted = modules_.emplace(name, std::move(module)).second;
  FEN_ASSERT(inserted);
}

const ModuleInfo* Registry::module(std::string_view name) const {
  auto it = modules_.find(name);
  return it == modules_.end() ? nullptr : &it->second;
}

const ClassInfo* Registry::classInfo(std::string_view name) const {
  for (const auto& [moduleName, m] : modules_) {
    for (const auto& c : m.classes) {
      if (c.name == name) return &c;
    }
  }
  return nullptr;
}

std::vector<const ModuleInfo*> Registry::modules() const {
  std::vector<const ModuleInfo*> out;
  for (const auto& [name, m] : modules_) out.push_back(&m);
  return out;
}

}  // namespace Fen
