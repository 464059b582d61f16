// Fuzzes the session log's pretty-printed layout: any JSON object the writer could be given
// comes out as text that parses back to the same value.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include "sessions/pretty_json.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // The log's objects are a few levels deep, and the layout recurses once per level: deeper
  // values are not what the writer is ever given.
  int deepest = 0;
  const auto value = nlohmann::json::parse(
      data, data + size,
      [&deepest](int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
        deepest = std::max(deepest, depth);
        return true;
      },
      /*allow_exceptions=*/false);
  if (value.is_discarded() || deepest > 64) return 0;
  std::string out;
  try {
    tl::sessions::AppendPretty(out, value);
  } catch (const nlohmann::json::exception&) {
    return 0;  // text that is not UTF-8 cannot be written as JSON
  }
  const auto back = nlohmann::json::parse(out, nullptr, /*allow_exceptions=*/false);
  if (back != value) __builtin_trap();
  return 0;
}
