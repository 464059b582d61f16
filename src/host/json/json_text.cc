// ParseJsonText: the vectorised reading, its conversion to the library's values, and when the
// library reads the text itself.
#include "host/json/json_text.h"

#include <simdjson.h>

#include <string>

namespace tl::host {

namespace {

namespace dom = simdjson::dom;

// The library's value of a parsed element. Non-negative integers are unsigned and negative ones
// signed, as the library reads them; a repeated member name keeps its last value, as there.
Json Convert(dom::element element) {
  switch (element.type()) {
    case dom::element_type::OBJECT: {
      Json object = Json::object();
      for (dom::key_value_pair member : dom::object(element)) {
        object[std::string(member.key)] = Convert(member.value);
      }
      return object;
    }
    case dom::element_type::ARRAY: {
      Json array = Json::array();
      for (dom::element item : dom::array(element)) array.push_back(Convert(item));
      return array;
    }
    case dom::element_type::INT64: {
      const int64_t value = int64_t(element);
      if (value >= 0) return Json(static_cast<uint64_t>(value));
      return Json(value);
    }
    case dom::element_type::UINT64:
      return Json(uint64_t(element));
    case dom::element_type::DOUBLE:
      return Json(double(element));
    case dom::element_type::STRING:
      return Json(std::string(std::string_view(element)));
    case dom::element_type::BOOL:
      return Json(bool(element));
    case dom::element_type::NULL_VALUE:
      break;
  }
  return Json(nullptr);
}

// Text the vectorised parser may read: no escapes (the two parsers need not treat a broken
// escape alike), and no "-0" (the library reads -0 as a signed integer, the other parser gives
// no sign to tell it from 0).
bool ForVectorisedParser(std::string_view text) {
  return text.find('\\') == std::string_view::npos && text.find("-0") == std::string_view::npos;
}

}  // namespace

Json ParseJsonText(std::string_view text) {
  if (ForVectorisedParser(text)) {
    // One parser and one padded copy per thread, reused line after line.
    thread_local dom::parser parser;
    thread_local std::string padded;
    padded.assign(text);
    padded.reserve(text.size() + simdjson::SIMDJSON_PADDING);
    dom::element root;
    if (parser.parse(padded.data(), text.size(), false).get(root) == simdjson::SUCCESS) {
      return Convert(root);
    }
  }
  return Json::parse(text, nullptr, /*allow_exceptions=*/false);
}

}  // namespace tl::host
