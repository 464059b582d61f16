// TLBundleSession's bundle record: building it, writing it, and rebuilding a session from it.
#include "platform/platform.h"
#include "sessions/record_values.h"
#include "sessions/tl_bundle_session.h"
#include "sessions/tl_session_persistence_manager.h"

using nlohmann::json;
using tl::platform::Uuid;

std::optional<json> TLBundleSession::recordArray() const {
  if (!_bundleID) return std::nullopt;
  return json::array({*_bundleID, appstate.arch, appstate.uuid.text(), _bundleVers.value_or(""),
                      _shortVers.value_or(""), _vendorID ? _vendorID->text() : std::string(),
                      _adamID.value_or(0), _cohort.value_or(""), _storeFront.value_or(0), _isBeta,
                      key_});
}

void TLBundleSession::persistBundleRecord() const {
  auto record = recordArray();
  if (!record) return;
  std::string line;
  try {
    // Compact, and always one line: every control character in a string is escaped.
    line = record->dump();
  } catch (const json::exception&) {
    TLLog("Error serializing %s", description().c_str());
    return;
  }
  TLSessionPersistenceManager::saveBundleRecord(
      {reinterpret_cast<const uint8_t*>(line.data()), line.size()});
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
  auto storeNumber = [&]() -> std::optional<int64_t> {
    std::optional<int64_t> value;
    if (next() && IsNumber(*next())) value = IntegerValue(array[i++]);
    // 0 as a 32-bit number means none.
    if (value && static_cast<int32_t>(*value) == 0) value.reset();
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
