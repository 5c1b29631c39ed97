#pragma once

#include <string_view>

#include "plist/value.h"
#include "premoov/json_fields.h"

namespace premoov {

// The settings dictionary of a header request from the "settings" object of a request file.
// Each of the 24 settings keys is converted to the value the movie creator reads under it
// (integers, reals, booleans, strings, time dictionaries, data); unknown keys are left out and a
// value of the wrong type under a known key fails with its key path.
Result<Value> settingsFromJson(const Json& settings, std::string_view path);

}  // namespace premoov
