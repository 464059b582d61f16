// The pretty printer of the session log, over values held as JSON.
#include "sessions/pretty_json.h"

namespace tl::sessions {

namespace {

void AppendIndent(std::string& out, int indent) { out.append(static_cast<size_t>(indent), ' '); }

void AppendString(std::string& out, const std::string& text) {
  // The JSON library's escaping: quotes, backslashes and control characters.
  out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

void AppendPretty(std::string& out, const nlohmann::json& value, int indent) {
  if (value.is_object() || value.is_array()) {
    const bool object = value.is_object();
    out += object ? '{' : '[';
    if (value.empty()) {
      out += "\n\n";
      AppendIndent(out, indent);
    } else {
      out += '\n';
      bool first = true;
      for (auto it = value.begin(); it != value.end(); ++it) {
        if (!first) out += ",\n";
        first = false;
        AppendIndent(out, indent + 2);
        if (object) {
          AppendString(out, it.key());
          out += " : ";
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
    AppendString(out, value.get_ref<const std::string&>());
    return;
  }
  out += value.dump();
}

}  // namespace tl::sessions
