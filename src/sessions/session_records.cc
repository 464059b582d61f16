// The record formats: event records, and bundle records with the TLBundleSession operations that
// build, write and rebuild them.
#include "sessions/session_records.h"

#include <charconv>
#include <cstdio>

#include "platform/platform.h"
#include "sessions/record_values.h"
#include "sessions/tl_bundle_session.h"
#include "sessions/tl_session_persistence_manager.h"

using nlohmann::json;
using tl::platform::Uuid;

namespace tl::sessions {

std::string_view RecordText(std::string_view line) {
  if (!line.empty() && line.back() == kRecordEnd) line.remove_suffix(1);
  return line;
}

size_t FormatEventRecord(const EventRecord& record, char (&line)[kMaxEventRecordLine]) {
  // Formatted by hand: this runs at every foreground exit and printf's machinery would be most of
  // its cost.
  char* end = line;
  for (uint32_t field : {record.key, record.state, record.duration, record.endtime}) {
    end = std::to_chars(end, line + sizeof line, field).ptr;
    *end++ = ' ';
  }
  end[-1] = kRecordEnd;
  return static_cast<size_t>(end - line);
}

std::optional<EventRecord> ParseEventRecord(std::string_view line) {
  const std::string_view text = RecordText(line);
  auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
  uint32_t fields[4];
  size_t at = 0;
  for (uint32_t& field : fields) {
    while (at < text.size() && blank(text[at])) ++at;
    // Decimal digits only: no sign, and nothing beyond 32 bits, which the writer never makes
    // and which would otherwise wrap into another bundle's key.
    const char* begin = text.data() + at;
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), field);
    if (error != std::errc() || end == begin) return std::nullopt;
    at = static_cast<size_t>(end - text.data());
    if (at < text.size() && !blank(text[at])) return std::nullopt;
  }
  while (at < text.size() && blank(text[at])) ++at;
  if (at != text.size()) return std::nullopt;  // a fifth field
  return EventRecord{fields[0], fields[1], fields[2], fields[3]};
}

std::optional<std::string> FormatBundleRecord(const json& array) {
  try {
    // Compact, and always one line: every control character in a string is escaped.
    return array.dump();
  } catch (const json::exception&) {
    return std::nullopt;
  }
}

json RecordNumber(const std::optional<tl::platform::Value>& number) {
  return number ? JsonOf(*number).value_or(json(0)) : json(0);
}

json ParseBundleRecord(std::string_view line) {
  return json::parse(RecordText(line), nullptr, /*allow_exceptions=*/false);
}

}  // namespace tl::sessions

std::optional<json> TLBundleSession::recordArray() const {
  if (!_bundleID) return std::nullopt;
  return json::array({*_bundleID, appstate.arch, appstate.uuid.text(), _bundleVers.value_or(""),
                      _shortVers.value_or(""), _vendorID ? _vendorID->text() : std::string(),
                      tl::sessions::RecordNumber(_adamID), _cohort.value_or(""),
                      tl::sessions::RecordNumber(_storeFront), _isBeta, key_});
}

void TLBundleSession::persistBundleRecord() const {
  auto record = recordArray();
  if (!record) return;
  const std::optional<std::string> line = tl::sessions::FormatBundleRecord(*record);
  if (!line) {
    TLLog("Error serializing %s", description().c_str());
    return;
  }
  const std::string& text = *line;
  TLSessionPersistenceManager::saveBundleRecord(
      {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

std::shared_ptr<TLBundleSession> TLBundleSession::initWithRecordArray(const json& array) {
  using namespace tl::sessions;
  if (!array.is_array()) return nullptr;
  auto session = std::make_shared<TLBundleSession>();
  session->appstate.state = kTLAppStateUnknown;

  // A cursor moves on only past an element of the expected kind; an element of another kind is
  // offered to the next field, so that records of older or newer layouts still yield what fits.
  const size_t n = array.size();
  size_t i = 0;
  auto next = [&]() -> const json* { return i < n ? &array[i] : nullptr; };
  auto nextString = [&]() -> std::optional<std::string> {
    if (!next() || !next()->is_string()) return std::nullopt;
    return array[i++].get<std::string>();
  };

  if (n >= 1 && array[0].is_string()) session->_bundleID = array[i++].get<std::string>();
  // Text answers an integer request too, so a record without the arch takes a following
  // string's value; this weakness is kept.
  if (next()) {
    if (auto arch = IntegerValue(*next())) {
      session->appstate.arch = static_cast<int32_t>(*arch);
      ++i;
    }
  }
  std::string uuidText = nextString().value_or("");
  if (auto uuid = Uuid::parse(uuidText)) {
    session->appstate.uuid = *uuid;
  } else {
    TLLog("Error while trying to fill up appstate.uuid for %s", uuidText.c_str());
  }
  session->_bundleVers = nextString();
  session->_shortVers = nextString();
  session->_vendorID = Uuid::parse(nextString().value_or(""));
  auto storeNumber = [&]() -> std::optional<StoreNumber> {
    std::optional<StoreNumber> value;
    if (next() && IsNumber(*next())) value = NumberOf(array[i++]);
    // 0 as a 32-bit number means none; the number itself is kept as it came (5.5 stays 5.5).
    if (value && value->intValue() == 0) value.reset();
    return value;
  };
  session->_adamID = storeNumber();
  session->_cohort = nextString();
  session->_storeFront = storeNumber();
  if (next()) {
    if (auto beta = BoolValue(*next())) {
      session->_isBeta = *beta;
      ++i;
    }
  }
  if (next()) {
    if (auto key = UnsignedValue(*next())) session->key_ = *key;
  }
  return session;
}
