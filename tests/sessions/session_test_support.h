// Helpers of the session tests: a device with applications and processes, and its record files.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "sessions/tl_session_persistence_manager.h"
#include "test_support.h"

namespace tl::testing {

// 2026-01-01T00:00:00Z, the simulated device's default start.
inline constexpr uint32_t kStart = 1767225600;

inline Json SessionDevice() {
  return Json::parse(R"({
    "apps": [
      {"bundle": "com.example.app", "bundle_version": "7", "short_version": "1.2"},
      {"bundle": "com.example.full", "bundle_version": "42", "short_version": "4.2",
       "vendor_id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9", "item_id": 1234567890,
       "cohort": "cohort-x", "store_front": 143441,
       "entitlements": {"beta-reports-active": false}},
      {"bundle": "com.veltro.mail", "type": "System"},
      {"bundle": "com.veltro.tool", "type": "Internal"},
      {"bundle": "com.veltro.hidden", "type": "Hidden"},
      {"bundle": "com.example.untyped", "type": null}
    ],
    "processes": {
      "101": {"uuid": "00112233-4455-6677-8899-aabbccddeeff", "lp64": true},
      "102": {"uuid": "ffeeddcc-bbaa-9988-7766-554433221100", "lp64": false},
      "103": null
    }
  })");
}

// The text of a device file, or "<none>".
inline std::string DeviceFile(TestDevice& device, const std::string& path) {
  std::ifstream in(device.hostPath(path));
  if (!in) return "<none>";
  return std::string(std::istreambuf_iterator<char>(in), {});
}

inline std::string EventFile(TestDevice& device) {
  return DeviceFile(device, TLSessionPersistenceManager::kEventLogPath);
}

inline std::string BundleFile(TestDevice& device) {
  return DeviceFile(device, TLSessionPersistenceManager::kBundleLogPath);
}

inline std::vector<std::pair<std::string, int64_t>> Scalars(TestDevice& device) {
  std::vector<std::pair<std::string, int64_t>> scalars;
  for (const auto& s : device.recorded().scalars()) scalars.emplace_back(s.key, s.value);
  return scalars;
}

}  // namespace tl::testing
