// SimEnvironment: preferences, device answers, tasking, locale, time zone, versions, crash reports
// and containers of the simulated device, answered from its data.
#pragma once

#include "platform/environment.h"
#include "platform/sim/sim_context.h"

namespace tl::sim {

class SimEnvironment : public platform::Environment {
 public:
  explicit SimEnvironment(SimContext context) : context_(context) {}

  std::optional<bool> appBooleanPreference(const std::string& key,
                                           const std::string& domain) override;
  std::optional<platform::Value> preference(const std::string& key, const std::string& domain,
                                            const std::string& user) override;
  std::optional<platform::Value> deviceAnswer(const std::string& question) override;
  std::optional<platform::Value> taskingValue(const std::string& key) override;
  bool userConsentedToShareWithDevelopers() override;
  std::optional<std::string> currentLocaleCountryCode() override;
  platform::LocalTime localTime(int64_t secondsSince1970) override;
  std::optional<platform::Dictionary> systemVersion() override;
  std::optional<platform::Dictionary> serverVersion() override;
  void simulateCrash(int32_t pid, uint32_t code, const std::string& reason) override;
  std::optional<std::string> systemGroupContainerPath(const std::string& identifier,
                                                      uint64_t* error) override;

  int containerLookups() const { return containerLookups_; }

 private:
  SimContext context_;
  int containerLookups_ = 0;
};

// The local time of an instant in an IANA time zone.
platform::LocalTime LocalTimeIn(const std::string& timeZone, int64_t secondsSince1970);

}  // namespace tl::sim
