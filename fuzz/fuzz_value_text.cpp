// Every field of every registered table's key and result parsed from the input's text (the
// first byte picks the field): the parse returns, or raises the framework's exception; a value
// that parses prints to a text that parses back to the same value.
#include <vector>

#include "FuzzSupport.h"

namespace {

struct Field {
  Tarnctl::ToolTable* table;
  const Tarnctl::FieldPath* path;
};

std::vector<Field>& fields() {
  static auto session = TarnFuzz::freshSession(TarnFuzz::tinyProfile());
  static std::vector<Field> all = [] {
    std::vector<Field> out;
    for (auto& t : session->tables()) {
      for (const auto& p : t->fields()) out.push_back(Field{t.get(), &p});
    }
    return out;
  }();
  return all;
}

void* place(const Field& f) {
  auto& a = f.table->access();
  void* object = f.path->key ? a.scratchKey() : a.scratchResult();
  for (std::size_t k = 0; k + 1 < f.path->chain.size(); ++k)
    object = f.path->chain[k]->nested(object);
  return object;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  TarnFuzz::Input in(data, size);
  auto& all = fields();
  if (all.empty()) return 0;
  const Field& f = all[in.u8() % all.size()];
  const std::string text = in.rest();
  const Fen::AttributeInfo& a = *f.path->chain.back();
  f.table->access().scratchReset();
  void* object = place(f);
  try {
    a.parse(object, text);
  } catch (const Fen::Exception&) {
    return 0;
  }
  const std::string printed = a.print(object);
  f.table->access().scratchReset();
  a.parse(object, printed);  // the printed form parses, to the same value
  if (a.print(object) != printed) __builtin_trap();
  return 0;
}
