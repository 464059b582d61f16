// ReadTrace: line-by-line parsing and checking of a device trace.
#include "host/trace.h"

#include <cmath>
#include <fstream>

#include "host/actions.h"

namespace tl::host {

namespace {

// The step of one line, or what is wrong with it.
std::optional<std::string> ParseStep(const Json& object, TraceStep& step) {
  auto at = object.find("at");
  if (at == object.end()) return "missing \"at\"";
  if (!at->is_number() || !std::isfinite(at->get<double>()) || at->get<double>() < 0) {
    return "\"at\" must be a non-negative number of seconds";
  }
  if (object.size() != 2) return "a line holds \"at\" and exactly one action";
  for (const auto& [key, value] : object.items()) {
    if (key == "at") continue;
    const Action* action = FindAction(key);
    if (!action) return "unknown action \"" + key + "\"";
    if (auto error = action->check(value)) return "action \"" + key + "\": " + *error;
    step.action = key;
    step.value = value;
  }
  step.atNanoseconds = std::llround(at->get<double>() * 1e9);
  return std::nullopt;
}

}  // namespace

Trace ReadTrace(const std::string& path) {
  Trace trace;
  std::ifstream in(path);
  if (!in) {
    trace.error = "cannot read the trace " + path;
    trace.unreadable = true;
    return trace;
  }
  std::string text;
  int64_t last = 0;
  for (int line = 1; std::getline(in, text); ++line) {
    auto fail = [&](const std::string& what) {
      trace.error = "line " + std::to_string(line) + ": " + what;
    };
    if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
    Json object = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (object.is_discarded()) {
      fail("not valid JSON");
      break;
    }
    if (!object.is_object()) {
      fail("a line must be a JSON object");
      break;
    }
    if (object.contains("device")) {
      if (line != 1) {
        fail("the device may only be described on line 1");
        break;
      }
      if (object.size() != 1) {
        fail("the device line holds only \"device\"");
        break;
      }
      if (auto error = sim::DeviceData::validate(object["device"])) {
        fail(*error);
        break;
      }
      trace.device = object["device"];
      continue;
    }
    TraceStep step;
    step.line = line;
    if (auto error = ParseStep(object, step)) {
      fail(*error);
      break;
    }
    if (step.atNanoseconds < last) {
      fail("\"at\" goes back in time");
      break;
    }
    last = step.atNanoseconds;
    trace.steps.push_back(std::move(step));
  }
  return trace;
}

}  // namespace tl::host
