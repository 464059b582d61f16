// The settings file of `tallyd run`: what it sets, its defaults, and its errors.
#include <gtest/gtest.h>

#include <stdexcept>

#include "host/daemon/daemon_config.h"

namespace tl::host {
namespace {

TEST(DaemonConfigTest, MembersDefaultsAndErrors) {
  auto settings = ParseDaemonConfig(R"({
    "preferences": {"com.veltro.TLSession": {"debug-spew": true}},
    "answers": {"InternalBuild": true},
    "tasking": {"SessionScheduleModuloHours": 6},
    "consent": true,
    "poll_seconds": 120
  })",
                                    "tallyd.json");
  EXPECT_TRUE(
      platform::Find(settings.preferences["com.veltro.TLSession"], "debug-spew")->boolValue());
  EXPECT_TRUE(platform::Find(settings.answers, "InternalBuild")->boolValue());
  EXPECT_TRUE(platform::Find(settings.tasking, "SessionScheduleModuloHours")->isInteger());
  EXPECT_TRUE(settings.consent);
  EXPECT_EQ(settings.pollSeconds, 120);

  // Nothing shared without consent; a slow poll.
  auto defaults = ParseDaemonConfig("{}", "empty.json");
  EXPECT_FALSE(defaults.consent);
  EXPECT_EQ(defaults.pollSeconds, 600);
  EXPECT_TRUE(defaults.answers.empty());

  auto error = [](const std::string& text) {
    try {
      ParseDaemonConfig(text, "bad.json");
    } catch (const std::runtime_error& e) {
      return std::string(e.what());
    }
    return std::string();
  };
  EXPECT_EQ(error("{\"consent\": 1}"), "bad.json: consent must be true or false");
  EXPECT_EQ(error("{\"consnet\": true}"), "bad.json: unknown setting \"consnet\"");
  EXPECT_EQ(error("{\"answers\": [1]}"), "bad.json: answers must be an object");
  EXPECT_EQ(error("{\"preferences\": {\"d\": 3}}"), "bad.json: preferences.d must be an object");
  EXPECT_EQ(error("{\"poll_seconds\": 0}"),
            "bad.json: poll_seconds must be a number of at least 1");
  EXPECT_EQ(error("{"), "bad.json: not valid JSON");
  EXPECT_EQ(error("[]"), "bad.json: must be a JSON object");
  const std::string deep = "{\"answers\": {\"a\": " + std::string(20000, '[') + "}}";
  EXPECT_EQ(error(deep), "bad.json: nested too deeply");
  EXPECT_THROW(ReadDaemonConfig("/nonexistent/tallyd.json"), std::runtime_error);
}

}  // namespace
}  // namespace tl::host
