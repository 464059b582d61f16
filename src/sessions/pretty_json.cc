// The pretty printer of the session log, over values held as JSON.
#include "sessions/pretty_json.h"

#include <cstring>

namespace tl::sessions {

namespace {

void AppendIndent(std::string& out, int indent) { out.append(static_cast<size_t>(indent), ' '); }

// Text that needs no escaping: printable ASCII other than the quote and the backslash.
bool Plain(std::string_view text) {
  for (unsigned char c : text) {
    if (c < 0x20 || c >= 0x7F || c == '"' || c == '\\') return false;
  }
  return true;
}

}  // namespace

void AppendQuoted(std::string& out, std::string_view text) {
  if (Plain(text)) {
    // One growth of the text for the whole piece: a log writes hundreds of thousands of them.
    const size_t at = out.size();
    out.resize(at + text.size() + 2);
    char* to = out.data() + at;
    to[0] = '"';
    if (!text.empty()) std::memcpy(to + 1, text.data(), text.size());
    to[text.size() + 1] = '"';
    return;
  }
  // Everything else gets the JSON library's escaping.
  out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void AppendMemberStart(std::string& out, std::string_view key, int indent) {
  AppendIndent(out, indent);
  AppendQuoted(out, key);
  out.append(kMemberSeparator);
}

void AppendPretty(std::string& out, const nlohmann::json& value, int indent) {
  if (value.is_object() || value.is_array()) {
    const bool object = value.is_object();
    out += object ? '{' : '[';
    if (value.empty()) {
      out += kEmptyContainerBreak;
      out += kEmptyContainerBreak;
      AppendIndent(out, indent);
    } else {
      out += '\n';
      bool first = true;
      for (auto it = value.begin(); it != value.end(); ++it) {
        if (!first) out += ",\n";
        first = false;
        if (object) {
          AppendMemberStart(out, it.key(), indent + 2);
        } else {
          AppendIndent(out, indent + 2);
        }
        AppendPretty(out, *it, indent + 2);
      }
      out += '\n';
      AppendIndent(out, indent);
    }
    out += object ? '}' : ']';
    return;
  }
  if (value.is_string()) {
    AppendQuoted(out, value.get_ref<const std::string&>());
    return;
  }
  out += value.dump();
}

}  // namespace tl::sessions
