// TraceReader: one line at a time, with its checks.
#include "host/trace/trace_reader.h"

#include <sys/types.h>

#include <cmath>
#include <cstdlib>

#include "host/json/json_text.h"
#include "host/trace/trace_format.h"

namespace tl::host {

namespace {

// The step of one line, or what is wrong with it.
std::optional<std::string> ParseStep(const Json& object, TraceStep& step) {
  auto at = object.find("at");
  if (at == object.end()) return "missing \"at\"";
  if (!at->is_number() || !std::isfinite(at->get<double>()) || at->get<double>() < 0) {
    return "\"at\" must be a non-negative number of seconds";
  }
  if (at->get<double>() > kLatestAt) {
    return "\"at\" is beyond the latest time a trace may reach, 315360000 s (ten years)";
  }
  if (object.size() != 2) return "a line holds \"at\" and exactly one action";
  for (const auto& [key, value] : object.items()) {
    if (key == "at") continue;
    const Action* action = FindAction(key);
    if (!action) {
      std::string message = "unknown action \"" + key + "\"";
      if (auto near = NearestActionName(key))
        message += " (did you mean \"" + std::string(*near) + "\"?)";
      return message;
    }
    if (auto error = action->parse(value, &step.apply)) return "action \"" + key + "\": " + *error;
    step.action = key;
    step.writesFiles = key == kSetAction && value.contains("files");
  }
  step.atNanoseconds = std::llround(at->get<double>() * 1e9);
  return std::nullopt;
}

}  // namespace

std::optional<std::string> ParseTraceLine(std::string_view text, int line, TraceLine* out) {
  if (NestsDeeperThan(text, kMaxJsonNesting)) return "nested too deeply";
  Json object = ParseJsonText(text);
  if (object.is_discarded()) return "not valid JSON";
  if (!object.is_object()) return "a line must be a JSON object";
  if (object.contains("device")) {
    if (line != 1) return "the device may only be described on line 1";
    if (object.size() != 1) return "the device line holds only \"device\"";
    out->isDevice = true;
    return ParseDeviceFields(object["device"], &out->device);
  }
  out->step.line = line;
  return ParseStep(object, out->step);
}

TraceReader::TraceReader(const std::string& path, const TracePosition& from)
    : file_(std::fopen(path.c_str(), "re")), position_(from) {
  if (file_ && ::fseeko(file_, from.offset, SEEK_SET) != 0) {
    std::fclose(file_);
    file_ = nullptr;
  }
}

TraceReader::~TraceReader() {
  if (file_) std::fclose(file_);
  std::free(buffer_);
}

TraceReader::Next TraceReader::next(TraceStep* step, sim::DeviceFields* device,
                                    std::string* error) {
  while (true) {
    const ssize_t read = ::getline(&buffer_, &capacity_, file_);
    if (read < 0) return Next::kEnd;
    const int line = ++position_.line;
    auto fail = [&](const std::string& what) {
      *error = what;
      return Next::kError;
    };
    std::string_view text(buffer_, static_cast<size_t>(read));
    if (text.ends_with('\n')) text.remove_suffix(1);
    if (text.find_first_not_of(" \t\r") == std::string_view::npos) {
      position_.offset += read;
      continue;
    }
    TraceLine parsed;
    if (auto bad = ParseTraceLine(text, line, &parsed)) return fail(*bad);
    if (parsed.isDevice) {
      *device = std::move(parsed.device);
      position_.offset += read;
      return Next::kDevice;
    }
    if (parsed.step.atNanoseconds < position_.lastAtNanoseconds) {
      return fail("\"at\" goes back in time");
    }
    position_.lastAtNanoseconds = parsed.step.atNanoseconds;
    position_.offset += read;
    *step = std::move(parsed.step);
    return Next::kStep;
  }
}

}  // namespace tl::host
