// LinuxEnvironment: preferences, device answers, tasking and consent from the daemon's settings;
// locale, time zone and versions from the system.
#pragma once

#include <functional>

#include "platform/environment.h"
#include "platform/linux/roles/settings.h"

namespace tl::linuxdev {

// - Preferences, tasking values and consent come from the settings only.
// - Device answers: the settings' first; "gas-gauge-battery" is otherwise whether the batteries
//   report their charge.
// - Locale: LC_ALL, else LANG; the languages preference from LANGUAGE, else the locale.
// - Local time through the C library, so the system's zone (/etc/localtime) or $TZ applies.
// - System version from os-release; no server version.
// - A simulated crash is a line in the system log: Linux files no report for a living process.
// - The one system-group container is the state directory's container.
class LinuxEnvironment : public platform::Environment {
 public:
  LinuxEnvironment(Settings settings, std::function<bool()> gasGauge, std::string osReleaseText,
                   std::string containerPath, std::function<void(std::string_view)> log);

  std::optional<bool> appBooleanPreference(const std::string& key,
                                           const std::string& domain) override;
  std::optional<platform::Value> preference(const std::string& key, const std::string& domain,
                                            const std::string& user) override;
  std::optional<platform::Value> deviceAnswer(const std::string& question) override;
  std::optional<platform::Value> taskingValue(const std::string& key) override;
  bool userConsentedToShareWithDevelopers() override { return settings_.consent; }
  std::optional<std::string> currentLocaleCountryCode() override;
  platform::LocalTime localTime(int64_t secondsSince1970) override;
  std::optional<platform::Dictionary> systemVersion() override { return systemVersion_; }
  std::optional<platform::Dictionary> serverVersion() override { return std::nullopt; }
  void simulateCrash(int32_t pid, uint32_t code, const std::string& reason) override;
  std::optional<std::string> systemGroupContainerPath(const std::string& identifier,
                                                      uint64_t* error) override;

 private:
  Settings settings_;
  std::function<bool()> gasGauge_;
  platform::Dictionary systemVersion_;
  std::string containerPath_;
  std::function<void(std::string_view)> log_;
};

}  // namespace tl::linuxdev
