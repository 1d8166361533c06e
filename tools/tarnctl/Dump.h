#pragma once
// The JSON dump of a run: the profile, and per table its software entries in key order and its
// hardware copies with every present row.
#include <nlohmann/json.hpp>

#include "Session.h"

namespace Tarnctl {

using Json = nlohmann::ordered_json;

Json profileJson(const TarnSwitch::ChipProfile& p);
// The value of one registered value object: fields by name, numbers and booleans as JSON ones,
// other values as the text the script accepts, nested values as objects, fixed arrays as JSON
// arrays of their elements (scalars or objects).
Json valueJson(const std::vector<Fen::AttributeInfo>& attrs, const void* object);
// One attribute of `object` in the same form.
Json attributeJson(const Fen::AttributeInfo& a, const void* object);
Json dumpJson(Session& session);

}  // namespace Tarnctl
