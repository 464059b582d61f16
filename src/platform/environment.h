// Environment: preferences, device answers, analytics tasking and consent, locale and time zone,
// software versions, crash-simulation reports and system-group containers.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/value.h"

namespace tl::platform {

// A wall-clock instant in the device's time zone.
struct LocalTime {
  int year = 1970;
  int month = 1;  // 1..12
  int day = 1;    // 1..31
  int hour = 0;
  int minute = 0;
  int second = 0;
  int32_t utcOffsetSeconds = 0;
};

class Environment {
 public:
  virtual ~Environment() = default;

  // The boolean preference key of domain, or nullopt when it is not set or not a boolean.
  virtual std::optional<bool> appBooleanPreference(const std::string& key,
                                                   const std::string& domain) = 0;
  // A preference value for a user and the current host.
  virtual std::optional<Value> preference(const std::string& key, const std::string& domain,
                                          const std::string& user) = 0;

  // The device-answers library ("InternalBuild", "ReleaseType", "gas-gauge-battery", ...).
  virtual std::optional<Value> deviceAnswer(const std::string& question) = 0;

  // A remotely set analytics tasking value.
  virtual std::optional<Value> taskingValue(const std::string& key) = 0;
  // Whether the user agreed to share analytics with application developers.
  virtual bool userConsentedToShareWithDevelopers() = 0;

  // The current locale's country code: nullopt when there is no current locale, an empty string
  // when the locale has no country.
  virtual std::optional<std::string> currentLocaleCountryCode() = 0;
  virtual LocalTime localTime(int64_t secondsSince1970) = 0;

  virtual std::optional<Dictionary> systemVersion() = 0;
  virtual std::optional<Dictionary> serverVersion() = 0;

  // Files a report as if pid had crashed with code and reason; the process goes on.
  virtual void simulateCrash(int32_t pid, uint32_t code, const std::string& reason) = 0;

  // The path of a system-group container; on failure nullopt and, where the system says why,
  // an error code in *error.
  virtual std::optional<std::string> systemGroupContainerPath(const std::string& identifier,
                                                              uint64_t* error) = 0;
};

}  // namespace tl::platform
