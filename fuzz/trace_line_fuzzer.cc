// Fuzzes one line of a device trace: whatever the bytes, the line is either refused with a
// message or gives a step or device fields that apply to a device state.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/trace_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
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
