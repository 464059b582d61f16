// The quick reading of JSON text gives exactly what the JSON library's own parser gives.
#include "host/json/json_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

using tl::host::Json;
using tl::host::ParseJsonText;

// A value written with the kind of every number and the order of members, so that 1, 1u and
// 1.0 differ (the library's == holds them equal).
std::string Typed(const Json& v) {
  switch (v.type()) {
    case Json::value_t::object: {
      std::string text = "{";
      for (const auto& [key, member] : v.items()) text += key + ":" + Typed(member) + ",";
      return text + "}";
    }
    case Json::value_t::array: {
      std::string text = "[";
      for (const Json& item : v) text += Typed(item) + ",";
      return text + "]";
    }
    case Json::value_t::number_integer:
      return "i" + v.dump();
    case Json::value_t::number_unsigned:
      return "u" + v.dump();
    case Json::value_t::number_float:
      return "f" + v.dump();
    case Json::value_t::discarded:
      return "discarded";
    default:
      return v.dump();
  }
}

void ExpectSameAsLibrary(const std::string& text) {
  EXPECT_EQ(Typed(ParseJsonText(text)), Typed(Json::parse(text, nullptr, false)))
      << "text: " << ::testing::PrintToString(text);
}

TEST(JsonText, ReadsEveryLineAsTheLibraryDoes) {
  const std::string lines[] = {
      R"({"at":694.061,"battery":{"CurrentCapacity":2390,"Voltage":4197,"IsCharging":false}})",
      R"({"at":28,"app_state":{"bundle":"com.example.app089","pid":1089,"state":1}})",
      R"({"at": 1, "net": {"en0": {"tcpOOOPkt": 2, "fail": true}}, "x": null})",
      R"({"a":[1,-2,3.5,-0,-0.0,0,1e2,1E-2,1e-400]})",
      R"([-0])",
      R"([1e400])",
      R"([-1e400])",
      // Integers at and past the ends of the 64-bit ranges.
      R"([9223372036854775807,9223372036854775808,18446744073709551615,18446744073709551616])",
      R"([-9223372036854775808,-9223372036854775809,123456789012345678901234567890])",
      R"({"k":1,"k":2,"k":{"k":3}})",  // a repeated name
      "\xEF\xBB\xBF{\"bom\":1}",       // a byte-order mark
      std::string("{\"a\":1}\0{", 9),  // a NUL after the value
      "{\"\xC3\xA9t\xC3\xA9\":\"\xF0\x9F\x94\x8B\"}",
      "{\"bad\":\"\xC3\x28\"}",  // broken UTF-8
      "{\"overlong\":\"\xC0\xAF\"}",
      "{\"surrogate\":\"\xED\xA0\x80\"}",
      "{\"control\":\"a\tb\"}",
      R"({"escaped":"a\"b\\c\u00e9\ud83d\udd0b\ud800"})",
      R"({"a":01})",
      R"({"a":1.})",
      R"({"a":.5})",
      R"({"a":+1})",
      R"({"a":[1,]})",
      R"({"a":1} trailing)",
      R"({"a":1}})",
      "",
      " ",
      "[]",
      "{}",
      "true",
      "null",
      "\"s\"",
      "[1,2",
      "{\"a\"}",
      "{\"a\":tru}",
      "{'a':1}",
      "[NaN]",
      "[Infinity]",
      "\t{\r\n}\n",
  };
  for (const std::string& line : lines) ExpectSameAsLibrary(line);

  // Lines broken at random: bytes replaced, dropped and doubled, with JSON's own characters
  // and arbitrary bytes, so that both parsers meet the same almost-valid text.
  const std::string alphabet = "{}[]:,\"\\-+.0123456789eEtrufalsn \t\x01\x7f\x80\xC3\xFF";
  std::mt19937 random(5);
  for (int i = 0; i < 20000; ++i) {
    std::string text = lines[random() % 4];
    for (int edits = 1 + random() % 3; edits > 0; --edits) {
      const size_t at = random() % text.size();
      switch (random() % 3) {
        case 0:
          text[at] = alphabet[random() % alphabet.size()];
          break;
        case 1:
          text.erase(at, 1 + random() % 3);
          break;
        default:
          text.insert(at, 1, alphabet[random() % alphabet.size()]);
      }
      if (text.empty()) text = "{";
    }
    ExpectSameAsLibrary(text);
  }
}

// The depth of text walked byte by byte, brackets in strings not counted.
int Depth(std::string_view text) {
  int depth = 0, deepest = 0;
  bool inString = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (inString) {
      if (text[i] == '\\') {
        ++i;
      } else if (text[i] == '"') {
        inString = false;
      }
    } else if (text[i] == '"') {
      inString = true;
    } else if (text[i] == '{' || text[i] == '[') {
      deepest = std::max(deepest, ++depth);
    } else if (text[i] == '}' || text[i] == ']') {
      --depth;
    }
  }
  return deepest;
}

TEST(JsonText, NestingIsCountedWhereverTheBracketsFall) {
  // Brackets at every offset from a word boundary, among bytes that differ from them in one bit
  // ('{' | 0x80, '[' | 0x80, '{' ^ 0x01) and in strings.
  const std::string alphabet = "{[]}\"x\xFB\xDBz:,";
  std::mt19937 random(9);
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (size_t n = random() % 48; n > 0; --n) text += alphabet[random() % alphabet.size()];
    const int limit = static_cast<int>(random() % 6);
    EXPECT_EQ(tl::host::NestsDeeperThan(text, limit), Depth(text) > limit)
        << ::testing::PrintToString(text) << " limit " << limit;
  }
}

}  // namespace
