// Fuzzes one event record line: a line is read as exactly the four numbers the writer would
// have written for it, or refused; what is read writes back to a line that reads the same.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "sessions/session_records.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tl::sessions;
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const auto record = ParseEventRecord(line);
  if (!record) return 0;
  char written[kMaxEventRecordLine];
  const size_t length = FormatEventRecord(*record, written);
  const auto again = ParseEventRecord(std::string_view(written, length));
  if (!again || again->key != record->key || again->state != record->state ||
      again->duration != record->duration || again->endtime != record->endtime) {
    __builtin_trap();
  }
  // Only digits and blanks are accepted: the line holds no other byte.
  for (char c : RecordText(line)) {
    if (!(c >= '0' && c <= '9') && c != ' ' && c != '\t' && c != '\r') __builtin_trap();
  }
  return 0;
}
