// Output lines written directly are the JSON library's compact text, byte for byte.
#include "host/json/json_line.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host/json/json_values.h"

namespace {

using tl::host::JsonLine;
using OrderedJson = nlohmann::ordered_json;

std::string Library(const OrderedJson& value) {
  return value.dump(-1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

TEST(JsonLineTest, WritesWhatTheLibraryWrites) {
  // Strings that need escapes or are not valid UTF-8 (replaced), long keys that cross the word
  // boundaries of the plain-text check, and the numbers whose forms differ between formatters.
  const std::vector<std::string> texts = {"",
                                          "plain",
                                          "com.veltro.power.state.unplugged_screen_on.energy",
                                          "quote\"d",
                                          "back\\slash",
                                          "tab\there",
                                          std::string("nul\0byte", 8),
                                          "del\x7f",
                                          "caf\xc3\xa9",
                                          "bad\xff utf8",
                                          "exactly8",
                                          "sixteen chars ok"};
  const std::vector<double> doubles = {
      0.0,         -0.0, 1.0,  0.1,  1e16,       1e15,      999999999999999.0,
      123456.0,    -7.0, 1e-5, 1e-4, 123456.789, -2.5e-300, std::numeric_limits<double>::infinity(),
      std::nan("")};
  const std::vector<double> seconds = {0, 28.281, 1e16, 86400, -3};
  for (const std::string& text : texts) {
    std::string line;
    JsonLine(line).key(text).string(text).finish();
    OrderedJson expected;
    expected[text] = text;
    EXPECT_EQ(line, Library(expected)) << text;
  }
  for (double value : doubles) {
    std::string line;
    JsonLine(line).key("value").number(value).finish();
    EXPECT_EQ(line, Library(OrderedJson{{"value", value}})) << value;
  }
  for (double at : seconds) {
    std::string line;
    JsonLine(line).key("at").seconds(at).finish();
    OrderedJson expected;
    if (at == std::trunc(at) && std::fabs(at) < 9e15) {
      expected["at"] = static_cast<int64_t>(at);
    } else {
      expected["at"] = at;
    }
    EXPECT_EQ(line, Library(expected)) << at;
  }

  // A dictionary of every kind of value, nested, as the batch and notification lines carry.
  tl::platform::Dictionary inner = {{"z", int64_t{-1}}, {"a", true}};
  tl::platform::Dictionary values = {{"int", int64_t{42}},
                                     {"big", uint64_t{18446744073709551615ULL}},
                                     {"double", 2.5},
                                     {"bool", false},
                                     {"null", tl::platform::Value()},
                                     {"text", "t\"x"},
                                     {"bytes", tl::platform::Bytes{1, 2}},
                                     {"array", tl::platform::Array{1, "two"}},
                                     {"inner", inner}};
  std::string line;
  JsonLine(line).key("first").dictionary(&values).key("second").dictionary(nullptr).finish();
  OrderedJson expected;
  expected["first"] = OrderedJson(tl::host::ToJson(tl::platform::Value(values)));
  expected["second"] = nullptr;
  EXPECT_EQ(line, Library(expected));

  // Through a cache of names: the same bytes, every time, also when a name's buffer has held
  // another name meanwhile, or one that needs escapes.
  tl::host::JsonNameCache names;
  std::string buffer = "com.veltro.power.state.unplugged.count";
  for (int round = 0; round < 3; ++round) {
    for (const char* name : {"com.veltro.power.state.unplugged.count", "quote\"d", "tab\there"}) {
      buffer = name;
      std::string cached;
      JsonLine(cached, &names).key(buffer).integer(round).finish();
      EXPECT_EQ(cached, Library(OrderedJson{{name, round}})) << name;
    }
  }
}

}  // namespace
