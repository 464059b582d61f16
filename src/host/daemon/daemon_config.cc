// DaemonConfig: JSON settings to the Linux device's settings, with errors that say where.
#include "host/daemon/daemon_config.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "host/exit_codes.h"
#include "host/json/json_values.h"

namespace tl::host {

namespace {

platform::Dictionary ObjectOf(const Json& json, const std::string& what,
                              const std::string& source) {
  if (!json.is_object())
    throw CommandError(kExitBadInput, source + ": " + what + " must be an object");
  platform::Dictionary out;
  for (const auto& [key, value] : json.items()) out[key] = ToValue(value);
  return out;
}

}  // namespace

linuxdev::Settings ParseDaemonConfig(const std::string& text, const std::string& source) {
  if (NestsDeeperThan(text, kMaxJsonNesting)) {
    throw CommandError(kExitBadInput, source + ": nested too deeply");
  }
  Json json = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (json.is_discarded()) throw CommandError(kExitBadInput, source + ": not valid JSON");
  if (!json.is_object()) throw CommandError(kExitBadInput, source + ": must be a JSON object");
  linuxdev::Settings settings;
  for (const auto& [key, value] : json.items()) {
    if (key == "preferences") {
      if (!value.is_object())
        throw CommandError(kExitBadInput, source + ": preferences must be an object");
      for (const auto& [domain, keys] : value.items()) {
        settings.preferences[domain] = ObjectOf(keys, "preferences." + domain, source);
      }
    } else if (key == "answers") {
      settings.answers = ObjectOf(value, "answers", source);
    } else if (key == "tasking") {
      settings.tasking = ObjectOf(value, "tasking", source);
    } else if (key == "consent") {
      if (!value.is_boolean())
        throw CommandError(kExitBadInput, source + ": consent must be true or false");
      settings.consent = value.get<bool>();
    } else if (key == "poll_seconds") {
      if (!value.is_number() || value.get<double>() < 1) {
        throw CommandError(kExitBadInput, source + ": poll_seconds must be a number of at least 1");
      }
      settings.pollSeconds = value.get<double>();
    } else {
      throw CommandError(kExitBadInput, source + ": unknown setting \"" + key + "\"");
    }
  }
  return settings;
}

linuxdev::Settings ReadDaemonConfig(const std::string& path) {
  // A directory opens as a stream that reads nothing, which would look like a broken file.
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    throw CommandError(kExitReadWrite, path + ": cannot read the settings: is a directory");
  }
  std::ifstream in(path);
  if (!in) throw CommandError(kExitReadWrite, path + ": cannot read the settings");
  std::stringstream text;
  text << in.rdbuf();
  return ParseDaemonConfig(text.str(), path);
}

}  // namespace tl::host
