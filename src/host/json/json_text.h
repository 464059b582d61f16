// ParseJsonText: JSON text read into the library's values, quickly for the text traces hold.
#pragma once

#include <string_view>

#include "host/json/json_values.h"

namespace tl::host {

// text parsed exactly as Json::parse(text, nullptr, false) parses it: the same value, with the
// same kinds of number, or a discarded value where that would give one. Text without escapes
// is read by a vectorised parser (a replay checks every line of its trace before it starts,
// and the library's own parser reads a character at a time); whatever that parser refuses, or
// could read differently, goes to the library. Callers bound the nesting first.
Json ParseJsonText(std::string_view text);

}  // namespace tl::host
