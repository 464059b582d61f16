// SimEnvironment: answers from the device data.
#include "platform/sim/sim_environment.h"

#include <date/tz.h>

namespace tl::sim {

using namespace platform;

namespace {
constexpr char kGlobalDomain[] = "Veltro Global Domain";
constexpr char kLanguagesKey[] = "VeltroLanguages";

std::optional<Value> Member(const Json& object, const std::string& key) {
  auto it = object.find(key);
  if (it == object.end() || it->is_null()) return std::nullopt;
  return ToValue(*it);
}
}  // namespace

LocalTime LocalTimeIn(const std::string& timeZone, int64_t secondsSince1970) {
  // Zones are found by name once; the database keeps them for the process.
  thread_local std::string lastName;
  thread_local const date::time_zone* lastZone = nullptr;
  if (!lastZone || lastName != timeZone) {
    lastZone = date::locate_zone(timeZone);
    lastName = timeZone;
  }
  const date::time_zone* zone = lastZone;
  date::sys_seconds instant{std::chrono::seconds(secondsSince1970)};
  date::sys_info info = zone->get_info(instant);
  auto local = date::local_seconds{instant.time_since_epoch() + info.offset};
  auto day = date::floor<date::days>(local);
  date::year_month_day ymd{day};
  date::hh_mm_ss<std::chrono::seconds> time{local - day};
  return LocalTime{static_cast<int>(ymd.year()),
                   static_cast<int>(static_cast<unsigned>(ymd.month())),
                   static_cast<int>(static_cast<unsigned>(ymd.day())),
                   static_cast<int>(time.hours().count()),
                   static_cast<int>(time.minutes().count()),
                   static_cast<int>(time.seconds().count()),
                   static_cast<int32_t>(info.offset.count())};
}

std::optional<bool> SimEnvironment::appBooleanPreference(const std::string& key,
                                                         const std::string& domain) {
  const Json& preferences = context_.data.field("preferences");
  auto d = preferences.find(domain);
  if (d == preferences.end()) return std::nullopt;
  auto v = d->find(key);
  if (v == d->end()) return std::nullopt;
  if (v->is_boolean()) return v->get<bool>();
  if (v->is_number()) return v->get<double>() != 0;
  return std::nullopt;
}

std::optional<Value> SimEnvironment::preference(const std::string& key, const std::string& domain,
                                                const std::string& user) {
  // The device's languages are its global-domain preference for the mobile user.
  if (domain == kGlobalDomain && key == kLanguagesKey && user == "mobile") {
    return Member(context_.data.json(), "languages");
  }
  const Json& preferences = context_.data.field("preferences");
  auto d = preferences.find(domain);
  if (d == preferences.end()) return std::nullopt;
  return Member(*d, key);
}

std::optional<Value> SimEnvironment::deviceAnswer(const std::string& question) {
  return Member(context_.data.field("answers"), question);
}

std::optional<Value> SimEnvironment::taskingValue(const std::string& key) {
  return Member(context_.data.field("tasking"), key);
}

bool SimEnvironment::userConsentedToShareWithDevelopers() {
  return context_.data.field("consent").get<bool>();
}

std::optional<std::string> SimEnvironment::currentLocaleCountryCode() {
  const Json& locale = context_.data.field("locale");
  if (locale.is_null()) return std::nullopt;
  return locale.get<std::string>();
}

LocalTime SimEnvironment::localTime(int64_t secondsSince1970) {
  return LocalTimeIn(context_.data.field("time_zone").get<std::string>(), secondsSince1970);
}

std::optional<Dictionary> SimEnvironment::dictionaryField(const char* name) {
  const Json& v = context_.data.field(name);
  if (!v.is_object()) return std::nullopt;
  return *ToValue(v).dictionary();
}

std::optional<Dictionary> SimEnvironment::systemVersion() {
  return dictionaryField("system_version");
}

std::optional<Dictionary> SimEnvironment::serverVersion() {
  return dictionaryField("server_version");
}

void SimEnvironment::simulateCrash(int32_t pid, uint32_t code, const std::string& reason) {
  context_.outputs.simCrash(code, reason);
}

std::optional<std::string> SimEnvironment::systemGroupContainerPath(const std::string& identifier,
                                                                    uint64_t* error) {
  ++containerLookups_;
  // The device has one system-group container; a null path makes every lookup fail without a
  // reason of its own.
  const Json& path = context_.data.field("container_path");
  if (path.is_null()) return std::nullopt;
  return path.get<std::string>();
}

}  // namespace tl::sim
