// Fuzzes one bundle record line: a session is rebuilt from whatever parses, its record array is
// written through the record writer, and the written line rebuilds the same record array.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_device.h"
#include "sessions/session_records.h"
#include "sessions/tl_bundle_session.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  tl::fuzz::MakeDeviceCurrent();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tl::sessions;
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const nlohmann::json parsed = ParseBundleRecord(line);
  if (!parsed.is_array()) return 0;
  const auto session = TLBundleSession::initWithRecordArray(parsed);
  if (!session) return 0;
  const auto array = session->recordArray();
  if (!array) return 0;  // no bundle identifier: nothing would be written
  if (array->size() != 11) __builtin_trap();
  const auto written = FormatBundleRecord(*array);
  if (!written) return 0;  // text that is not UTF-8 cannot be written as JSON
  if (written->find('\n') != std::string::npos) __builtin_trap();  // one record, one line
  const auto rebuilt = TLBundleSession::initWithRecordArray(ParseBundleRecord(*written));
  if (!rebuilt || rebuilt->recordArray() != array) __builtin_trap();
  return 0;
}
