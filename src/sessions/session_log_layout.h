// SessionLogLayout: the bytes of a session log around its bundle objects.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tl::sessions {

// A session log is a compact JSON line, then the pretty-printed header, whose "sessions_data"
// array holds the bundle objects. The header is printed with that array empty, and the objects
// are spliced in where the printer puts the two breaks of an empty array: after the first break
// come the objects, joined by separator(), then the break after the last object, and the header
// goes on after the second break. The objects keep their own indentation.
class SessionLogLayout {
 public:
  // first is the first line's object; header is the header, with "sessions_data" empty.
  SessionLogLayout(const nlohmann::json& first, const nlohmann::json& header);

  // Everything before the first bundle object.
  std::string_view head() const { return head_; }
  // Between two bundle objects.
  static constexpr std::string_view separator() { return ",\n"; }
  // Everything after the last bundle object.
  std::string_view tail() const { return tail_; }

 private:
  std::string head_;
  std::string tail_;
};

}  // namespace tl::sessions
