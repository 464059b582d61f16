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

// A string as AppendPretty writes it: quoted, escaped where needed.
void AppendQuoted(std::string& out, std::string_view text);
// What comes before a member's value: the indentation, the quoted key and kMemberSeparator.
void AppendMemberStart(std::string& out, std::string_view key, int indent);

// An object written as AppendPretty writes it, except that the value of the member named key is
// written by write(out, indent), with the indentation its value starts at.
template <typename Write>
void AppendPrettyWith(std::string& out, const nlohmann::json& object, std::string_view key,
                      Write&& write, int indent = 0) {
  if (object.empty()) {
    AppendPretty(out, object, indent);
    return;
  }
  out += "{\n";
  bool first = true;
  for (auto it = object.begin(); it != object.end(); ++it) {
    if (!first) out += ",\n";
    first = false;
    AppendMemberStart(out, it.key(), indent + 2);
    if (it.key() == key) {
      write(out, indent + 2);
    } else {
      AppendPretty(out, *it, indent + 2);
    }
  }
  out += '\n';
  out.append(static_cast<size_t>(indent), ' ');
  out += '}';
}

}  // namespace tl::sessions
