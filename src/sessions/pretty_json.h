// The session log's pretty-printed JSON layout.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tl::sessions {

// Between a member's quoted key and its value.
inline constexpr std::string_view kMemberSeparator = " : ";
// An empty array or object is its opening bracket, this break twice, the indentation and its
// closing bracket.
inline constexpr std::string_view kEmptyContainerBreak = "\n";

// Appends value with members and elements one to a line, indented by two blanks a level, each
// member written as the quoted key, kMemberSeparator and the value. Keys come in ascending byte
// order. indent is the depth at which value starts.
void AppendPretty(std::string& out, const nlohmann::json& value, int indent = 0);

}  // namespace tl::sessions
