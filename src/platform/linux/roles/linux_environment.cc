// LinuxEnvironment: the settings' answers and the system's locale, time and version.
#include "platform/linux/roles/linux_environment.h"

#include <sys/utsname.h>

#include <cstdlib>
#include <ctime>

#include "platform/linux/roles/os_release.h"

namespace tl::linuxdev {

using namespace platform;

namespace {

constexpr char kGlobalDomain[] = "Veltro Global Domain";
constexpr char kLanguagesKey[] = "VeltroLanguages";

std::optional<Value> Member(const Dictionary& dictionary, const std::string& key) {
  const Value* value = Find(dictionary, key);
  if (!value || value->isNull()) return std::nullopt;
  return *value;
}

const char* LocaleName() {
  const char* all = std::getenv("LC_ALL");
  return all && *all ? all : std::getenv("LANG");
}

}  // namespace

LinuxEnvironment::LinuxEnvironment(Settings settings, std::function<bool()> gasGauge,
                                   std::string osReleaseText, std::string containerPath,
                                   std::function<void(std::string_view)> log)
    : settings_(std::move(settings)),
      gasGauge_(std::move(gasGauge)),
      containerPath_(std::move(containerPath)),
      log_(std::move(log)) {
  struct utsname name;
  systemVersion_ = SystemVersionDictionary(ParseOsRelease(osReleaseText),
                                           ::uname(&name) == 0 ? name.release : "");
}

std::optional<bool> LinuxEnvironment::appBooleanPreference(const std::string& key,
                                                           const std::string& domain) {
  auto value = preference(key, domain, "");
  if (!value) return std::nullopt;
  if (value->isBool()) return value->boolValue();
  if (value->isNumber()) return value->doubleValue() != 0;
  return std::nullopt;
}

std::optional<Value> LinuxEnvironment::preference(const std::string& key, const std::string& domain,
                                                  const std::string&) {
  auto d = settings_.preferences.find(domain);
  if (d != settings_.preferences.end()) {
    if (auto value = Member(d->second, key)) return value;
  }
  if (domain == kGlobalDomain && key == kLanguagesKey) {
    Array languages = PreferredLanguages(std::getenv("LANGUAGE"), LocaleName());
    if (!languages.empty()) return Value(std::move(languages));
  }
  return std::nullopt;
}

std::optional<Value> LinuxEnvironment::deviceAnswer(const std::string& question) {
  if (auto answer = Member(settings_.answers, question)) return answer;
  if (question == "gas-gauge-battery") return Value(gasGauge_());
  return std::nullopt;
}

std::optional<Value> LinuxEnvironment::taskingValue(const std::string& key) {
  return Member(settings_.tasking, key);
}

std::optional<std::string> LinuxEnvironment::currentLocaleCountryCode() {
  return LocaleCountry(LocaleName());
}

LocalTime LinuxEnvironment::localTime(int64_t secondsSince1970) {
  const std::time_t t = static_cast<std::time_t>(secondsSince1970);
  std::tm local{};
  ::localtime_r(&t, &local);
  return LocalTime{local.tm_year + 1900,
                   local.tm_mon + 1,
                   local.tm_mday,
                   local.tm_hour,
                   local.tm_min,
                   local.tm_sec,
                   static_cast<int32_t>(local.tm_gmtoff)};
}

void LinuxEnvironment::simulateCrash(int32_t pid, uint32_t code, const std::string& reason) {
  char text[64];
  std::snprintf(text, sizeof text, "simulated crash of %d, code 0x%08x: ", pid, code);
  log_(text + reason);
}

std::optional<std::string> LinuxEnvironment::systemGroupContainerPath(const std::string&,
                                                                      uint64_t*) {
  return containerPath_;
}

}  // namespace tl::linuxdev
