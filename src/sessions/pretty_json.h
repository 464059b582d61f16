// The session log's pretty-printed JSON layout.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tl::sessions {

// Appends value with members and elements one to a line, indented by two blanks a level, each
// member written as the quoted key, " : " and the value; an empty array or object is its opening
// bracket, two line feeds, the indentation and its closing bracket. Keys come in ascending byte
// order. indent is the depth at which value starts.
void AppendPretty(std::string& out, const nlohmann::json& value, int indent = 0);

}  // namespace tl::sessions
