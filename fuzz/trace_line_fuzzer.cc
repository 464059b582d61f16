// Fuzzes one line of a device trace: whatever the bytes, the line is either refused with a
// message or gives a step or device fields that apply to a device state; and the quick JSON
// reading of the line gives what the JSON library's own parser gives.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/json/json_text.h"
#include "host/trace/trace_reader.h"

namespace {

using tl::host::Json;

// Equal values with equal kinds of number throughout (the library's == holds 1 and 1u equal).
bool Same(const Json& a, const Json& b) {
  if (a.type() != b.type()) return false;
  if (a.is_object()) {
    if (a.size() != b.size()) return false;
    for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
      if (i.key() != j.key() || !Same(*i, *j)) return false;
    }
    return true;
  }
  if (a.is_array()) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      if (!Same(a[i], b[i])) return false;
    }
    return true;
  }
  return a.is_discarded() || a == b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (!tl::host::NestsDeeperThan(text, tl::host::kMaxJsonNesting) &&
      !Same(tl::host::ParseJsonText(text), Json::parse(text, nullptr, false))) {
    __builtin_trap();
  }
  // Line 1 may describe the device; any other line may not.
  for (int line : {1, 2}) {
    tl::host::TraceLine parsed;
    const auto error = tl::host::ParseTraceLine(text, line, &parsed);
    if (error) {
      if (error->empty()) __builtin_trap();  // every refusal says why
      continue;
    }
    if (parsed.isDevice) {
      tl::sim::DeviceState state;
      parsed.device.applyTo(state);
    } else if (parsed.step.atNanoseconds < 0 || parsed.step.action.empty()) {
      __builtin_trap();
    }
  }
  return 0;
}
