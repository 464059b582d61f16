// SimEnvironment: answers from the device state.
#include "platform/sim/sim_environment.h"

#include <date/tz.h>

namespace tl::sim {

using namespace platform;

namespace {
constexpr char kGlobalDomain[] = "Veltro Global Domain";
constexpr char kLanguagesKey[] = "VeltroLanguages";

// The value under key, or nullopt when it is absent or null.
std::optional<Value> Member(const Dictionary& dictionary, const std::string& key) {
  const Value* value = Find(dictionary, key);
  if (!value || value->isNull()) return std::nullopt;
  return *value;
}
}  // namespace

LocalTime LocalTimeIn(const std::string& timeZone, int64_t secondsSince1970) {
  // Zones are found by name once; the database keeps them for the process. A replay asks many
  // times an hour, and a zone's offset holds for months: the offset is asked again only outside
  // the period it was last given for.
  thread_local std::string lastName;
  thread_local const date::time_zone* lastZone = nullptr;
  thread_local date::sys_seconds periodBegin, periodEnd;
  thread_local std::chrono::seconds periodOffset;
  if (!lastZone || lastName != timeZone) {
    lastZone = date::locate_zone(timeZone);
    lastName = timeZone;
    periodEnd = periodBegin;  // no period known
  }
  date::sys_seconds instant{std::chrono::seconds(secondsSince1970)};
  if (instant < periodBegin || instant >= periodEnd) {
    const date::sys_info info = lastZone->get_info(instant);
    periodBegin = info.begin;
    periodEnd = info.end;
    periodOffset = info.offset;
  }
  auto local = date::local_seconds{instant.time_since_epoch() + periodOffset};
  auto day = date::floor<date::days>(local);
  date::year_month_day ymd{day};
  date::hh_mm_ss<std::chrono::seconds> time{local - day};
  return LocalTime{static_cast<int>(ymd.year()),
                   static_cast<int>(static_cast<unsigned>(ymd.month())),
                   static_cast<int>(static_cast<unsigned>(ymd.day())),
                   static_cast<int>(time.hours().count()),
                   static_cast<int>(time.minutes().count()),
                   static_cast<int>(time.seconds().count()),
                   static_cast<int32_t>(periodOffset.count())};
}

std::optional<bool> SimEnvironment::appBooleanPreference(const std::string& key,
                                                         const std::string& domain) {
  auto d = context_.state.preferences.find(domain);
  if (d == context_.state.preferences.end()) return std::nullopt;
  const Value* v = Find(d->second, key);
  if (!v) return std::nullopt;
  if (v->isBool()) return v->boolValue();
  if (v->isNumber()) return v->doubleValue() != 0;
  return std::nullopt;
}

std::optional<Value> SimEnvironment::preference(const std::string& key, const std::string& domain,
                                                const std::string& user) {
  // The device's languages are its global-domain preference for the mobile user.
  if (domain == kGlobalDomain && key == kLanguagesKey && user == "mobile") {
    if (context_.state.languages.isNull()) return std::nullopt;
    return context_.state.languages;
  }
  auto d = context_.state.preferences.find(domain);
  if (d == context_.state.preferences.end()) return std::nullopt;
  return Member(d->second, key);
}

std::optional<Value> SimEnvironment::deviceAnswer(const std::string& question) {
  return Member(context_.state.answers, question);
}

std::optional<Value> SimEnvironment::taskingValue(const std::string& key) {
  return Member(context_.state.tasking, key);
}

bool SimEnvironment::userConsentedToShareWithDevelopers() { return context_.state.consent; }

std::optional<std::string> SimEnvironment::currentLocaleCountryCode() {
  return context_.state.locale;
}

LocalTime SimEnvironment::localTime(int64_t secondsSince1970) {
  return LocalTimeIn(context_.state.timeZone, secondsSince1970);
}

std::optional<Dictionary> SimEnvironment::systemVersion() { return context_.state.systemVersion; }

std::optional<Dictionary> SimEnvironment::serverVersion() { return context_.state.serverVersion; }

void SimEnvironment::simulateCrash(int32_t pid, uint32_t code, const std::string& reason) {
  context_.outputs.simCrash(code, reason);
}

std::optional<std::string> SimEnvironment::systemGroupContainerPath(const std::string& identifier,
                                                                    uint64_t* error) {
  ++containerLookups_;
  // The device has one system-group container; a null path makes every lookup fail without a
  // reason of its own.
  return context_.state.containerPath;
}

}  // namespace tl::sim
