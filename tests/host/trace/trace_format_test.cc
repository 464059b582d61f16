// The device fields of a trace: typed on the way in, and written back whole for a restart.
#include "host/trace/trace_format.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAreArray;
using tl::host::Json;

// Every field of the device description in docs/TRACES.md but "files", which is written into
// the sandbox and kept there rather than in the state.
const std::vector<std::string> kStateFields = {"answers",
                                               "apps",
                                               "backlight",
                                               "battery",
                                               "brightness_level",
                                               "consent",
                                               "container_path",
                                               "interfaces",
                                               "languages",
                                               "locale",
                                               "lpm",
                                               "machine",
                                               "multi_user",
                                               "preferences",
                                               "processes",
                                               "server_version",
                                               "start",
                                               "system_version",
                                               "tasking",
                                               "thermal_level",
                                               "time_zone",
                                               "timebase",
                                               "wake_reason"};

// A device that differs from the defaults in every field.
const char kEveryField[] = R"({
  "start": 1800000000.5, "time_zone": "Asia/Kolkata", "timebase": [125, 3], "machine": "Sim9,1",
  "system_version": {"ProductName": "X", "ProductVersion": 2.5},
  "server_version": {"ProductName": "Server", "ProductBuildVersion": "9Z"},
  "locale": null, "languages": ["de", 3], "multi_user": true,
  "answers": {"InternalBuild": true, "Big": 18446744073709551615},
  "preferences": {"com.veltro.TLSession": {"debug-spew": true}}, "tasking": {"TLSessionLog": 0},
  "consent": false, "battery": {"CurrentCapacity": 1, "Voltage": -3.25, "Gone": null},
  "backlight": {"max": 7}, "brightness_level": 0.125, "lpm": 3, "thermal_level": -4,
  "wake_reason": null,
  "apps": [{"bundle": "com.a", "vendor_id": "0a1b2c3d-4e5f-6071-8293-a4b5c6d7e8f9",
            "item_id": -9, "entitlements": {"beta-reports-active": false}, "type": null,
            "original_install_type": 4, "is_redownload": true}],
  "processes": {"7": {"uuid": "00112233-4455-6677-8899-aabbccddeeff", "lp64": false}, "8": null},
  "interfaces": [{"name": "pdp_ip0", "family": 30, "counters": {"udpPort0": 5, "31": 1,
                                                                "fail": true}}],
  "container_path": null})";

std::vector<std::string> Keys(const Json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

TEST(TraceFormat, TheStateIsWrittenBackWholeAndReadsBackTheSame) {
  const Json defaults = tl::host::DeviceStateToJson(tl::sim::DeviceState{});
  std::vector<std::string> sorted = kStateFields;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_THAT(Keys(defaults), ElementsAreArray(sorted));

  const Json given = Json::parse(kEveryField);
  tl::sim::DeviceState state;
  tl::host::DeviceFieldsFromJson(given).applyTo(state);
  const Json written = tl::host::DeviceStateToJson(state);
  for (const std::string& field : kStateFields) {
    EXPECT_NE(written[field], defaults[field]) << field << " was not taken over";
  }
  // Fields of plain values come back as they were given; proxies, processes and interfaces come
  // back with every member spelt out.
  for (const std::string& field : kStateFields) {
    if (field == "apps" || field == "processes" || field == "interfaces") continue;
    EXPECT_EQ(written[field], given[field]) << field;
  }
  EXPECT_EQ(written["apps"], Json::parse(R"([{"bundle": "com.a", "bundle_version": null,
      "short_version": null, "vendor_id": "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9", "item_id": -9,
      "cohort": null, "store_front": null, "entitlements": {"beta-reports-active": false},
      "type": null, "original_install_type": 4, "install_type": 0, "is_update": false,
      "is_redownload": true}])"));
  EXPECT_EQ(written["processes"], Json::parse(R"({"7": {"uuid":
      "00112233-4455-6677-8899-AABBCCDDEEFF", "lp64": false}, "8": null})"));
  EXPECT_EQ(written["interfaces"], Json::parse(R"([{"name": "pdp_ip0", "loopback": false,
      "family": 30, "counters": {"22": 5, "31": 1, "fail": true}}])"));

  tl::sim::DeviceState again;
  tl::host::DeviceFieldsFromJson(written).applyTo(again);
  EXPECT_EQ(tl::host::DeviceStateToJson(again), written);
  // Number kinds survive: integers stay integers, unsigned stays unsigned, doubles stay doubles.
  EXPECT_TRUE(again.battery->at("CurrentCapacity").isInteger());
  EXPECT_EQ(again.battery->at("Voltage").doubleValue(), -3.25);
  EXPECT_EQ(again.answers.at("Big").unsignedLongLongValue(), 18446744073709551615u);
  EXPECT_EQ(again.interfaces[0].counters[22], 5u);
  EXPECT_TRUE(again.interfaces[0].failing);
}

}  // namespace
