// Reading property lists (XML or binary, through libplist): the top-level string values that
// application bundles describe themselves with.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tidyloom {

// The string value of `key` in the top-level dictionary of the property list `data`; nothing
// when the data is not a property list, its root is not a dictionary, or the value is not a string.
std::optional<std::string> propertyListString(std::string_view data, const std::string& key);

}  // namespace tidyloom
