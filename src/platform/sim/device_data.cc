// DeviceData: defaults, validation and conversions.
#include "platform/sim/device_data.h"

#include <date/tz.h>

#include <functional>
#include <map>

#include "platform/sim/packet_counters.h"
#include "platform/uuid.h"

namespace tl::sim {

namespace {

using Check = std::function<std::optional<std::string>(const Json&)>;

std::optional<std::string> Expect(bool ok, const char* what) {
  if (ok) return std::nullopt;
  return std::string("must be ") + what;
}

// Whole numbers of 0 or more, whether JSON text or C++ code made them (signed or unsigned).
bool IsNonNegativeInteger(const Json& v) {
  return v.is_number_unsigned() || (v.is_number_integer() && v.get<int64_t>() >= 0);
}

Check NonNegativeInteger(const char* what) {
  return [=](const Json& v) { return Expect(IsNonNegativeInteger(v), what); };
}

Check Kind(bool (Json::*test)() const noexcept, const char* what, bool nullable = false) {
  return [=](const Json& v) { return Expect((v.*test)() || (nullable && v.is_null()), what); };
}

std::optional<std::string> CheckTimeZone(const Json& v) {
  if (!v.is_string()) return "must be an IANA time zone name";
  try {
    date::locate_zone(v.get<std::string>());
  } catch (const std::exception&) {
    return "names no known time zone: " + v.get<std::string>();
  }
  return std::nullopt;
}

std::optional<std::string> CheckTimebase(const Json& v) {
  bool ok = v.is_array() && v.size() == 2;
  for (size_t i = 0; ok && i < 2; ++i) {
    ok = IsNonNegativeInteger(v[i]) && v[i].get<uint64_t>() > 0 &&
         v[i].get<uint64_t>() <= UINT32_MAX;
  }
  return Expect(ok, "[numer, denom] of positive 32-bit integers");
}

std::optional<std::string> CheckPreferences(const Json& v) {
  if (!v.is_object()) return "must be an object of domains";
  for (const auto& [domain, keys] : v.items()) {
    if (!keys.is_object()) return "domain \"" + domain + "\" must be an object of keys";
  }
  return std::nullopt;
}

std::optional<std::string> CheckBacklight(const Json& v) {
  if (v.is_null()) return std::nullopt;
  if (!v.is_object()) return "must be {min, max, value} or null";
  for (const auto& [key, member] : v.items()) {
    if (key != "min" && key != "max" && key != "value") return "has an unknown member " + key;
    if (!member.is_number_integer()) return key + " must be an integer";
  }
  return std::nullopt;
}

std::optional<std::string> CheckApps(const Json& v) {
  if (!v.is_array()) return "must be a list of registry proxies";
  for (const Json& proxy : v) {
    if (auto error = ValidateProxy(proxy)) return error;
  }
  return std::nullopt;
}

std::optional<std::string> CheckProcesses(const Json& v) {
  if (!v.is_object()) return "must be an object from pid to process";
  for (const auto& [pid, process] : v.items()) {
    if (pid.empty() || pid.find_first_not_of("-0123456789") != std::string::npos) {
      return "has a key that is no pid: " + pid;
    }
    if (process.is_null()) continue;
    if (!process.is_object()) return "pid " + pid + " must be {uuid, lp64} or null";
    if (process.contains("uuid") && (!process["uuid"].is_string() ||
                                     !platform::Uuid::parse(process["uuid"].get<std::string>()))) {
      return "pid " + pid + " has a uuid that is no UUID text";
    }
    if (process.contains("lp64") && !process["lp64"].is_boolean()) {
      return "pid " + pid + " lp64 must be true or false";
    }
  }
  return std::nullopt;
}

std::optional<std::string> CheckInterfaces(const Json& v) {
  if (!v.is_array()) return "must be a list of interfaces";
  for (const Json& i : v) {
    if (!i.is_object() || !i.contains("name") || !i["name"].is_string()) {
      return "each interface needs a name";
    }
    if (i.contains("loopback") && !i["loopback"].is_boolean()) return "loopback must be a boolean";
    if (i.contains("family") && !i["family"].is_number_integer())
      return "family must be an integer";
    if (i.contains("counters")) {
      if (auto error = ValidateCounters(i["counters"])) return error;
    }
  }
  return std::nullopt;
}

std::optional<std::string> CheckFiles(const Json& v) {
  if (!v.is_object()) return "must be an object from path to content";
  for (const auto& [path, content] : v.items()) {
    if (path.empty() || path.front() != '/') return "paths must be absolute: " + path;
    if (path.find("/../") != std::string::npos || path.ends_with("/..")) {
      return "paths must stay inside the device: " + path;
    }
    if (!content.is_string()) return "content of " + path + " must be text";
  }
  return std::nullopt;
}

const std::map<std::string, Check>& Checks() {
  static const std::map<std::string, Check> kChecks = {
      {"start", Kind(&Json::is_number, "a number of seconds since 1970")},
      {"time_zone", CheckTimeZone},
      {"timebase", CheckTimebase},
      {"machine", Kind(&Json::is_string, "a string")},
      {"system_version", Kind(&Json::is_object, "an object or null", true)},
      {"server_version", Kind(&Json::is_object, "an object or null", true)},
      {"locale", Kind(&Json::is_string, "a country code or null", true)},
      {"languages", [](const Json&) { return std::optional<std::string>(); }},
      {"multi_user", Kind(&Json::is_boolean, "true or false")},
      {"answers", Kind(&Json::is_object, "an object")},
      {"preferences", CheckPreferences},
      {"tasking", Kind(&Json::is_object, "an object")},
      {"consent", Kind(&Json::is_boolean, "true or false")},
      {"battery", Kind(&Json::is_object, "a property dictionary or null", true)},
      {"backlight", CheckBacklight},
      {"brightness_level", Kind(&Json::is_number, "a number")},
      {"lpm", NonNegativeInteger("a non-negative integer")},
      {"thermal_level", Kind(&Json::is_number_integer, "an integer")},
      {"wake_reason", Kind(&Json::is_string, "a string or null", true)},
      {"apps", CheckApps},
      {"processes", CheckProcesses},
      {"interfaces", CheckInterfaces},
      {"files", CheckFiles},
      {"container_path", Kind(&Json::is_string, "a string or null", true)},
  };
  return kChecks;
}

}  // namespace

DeviceData::DeviceData() : data_(defaults()) {}

Json DeviceData::defaults() {
  return Json::parse(R"({
    "start": 1767225600,
    "time_zone": "UTC",
    "timebase": [1, 1],
    "machine": "SimPhone1,1",
    "system_version": {"ProductName": "SimOS", "ProductVersion": "1.0",
                       "ProductBuildVersion": "1A100"},
    "server_version": null,
    "locale": "US",
    "languages": ["en"],
    "multi_user": false,
    "answers": {"InternalBuild": false, "gas-gauge-battery": true},
    "preferences": {},
    "tasking": {},
    "consent": true,
    "battery": {"CurrentCapacity": 2000, "MaxCapacity": 2500, "AbsoluteCapacity": 2000,
                "VeltroRawCurrentCapacity": 2000, "VeltroRawMaxCapacity": 2500,
                "DesignCapacity": 2600, "Voltage": 3900, "VeltroRawBatteryVoltage": 3900,
                "IsCharging": false, "ExternalConnected": false, "AdapterInfo": 0,
                "FullyCharged": false, "AtCriticalLevel": false, "Amperage": -300,
                "InstantAmperage": -300, "Temperature": 2800, "CycleCount": 100,
                "UpdateTime": 0},
    "backlight": {"min": 0, "max": 100, "value": 50},
    "brightness_level": 0.5,
    "lpm": 0,
    "thermal_level": 0,
    "wake_reason": "",
    "apps": [],
    "processes": {},
    "interfaces": [{"name": "lo0", "loopback": true, "family": 18, "counters": {}},
                   {"name": "en0", "loopback": false, "family": 18, "counters": {}}],
    "files": {},
    "container_path": "/var/containers/Shared/SystemGroup/systemgroup.com.veltro.sysmetry"
  })");
}

std::optional<std::string> DeviceData::validate(const Json& fields) {
  if (!fields.is_object()) return "device fields must be an object";
  for (const auto& [name, value] : fields.items()) {
    auto check = Checks().find(name);
    if (check == Checks().end()) return "unknown device field \"" + name + "\"";
    if (auto error = check->second(value)) return "device field \"" + name + "\" " + *error;
  }
  return std::nullopt;
}

void DeviceData::apply(const Json& fields) {
  for (const auto& [name, value] : fields.items()) data_[name] = value;
  ++generation_;
}

std::optional<std::string> ValidateProxy(const Json& proxy) {
  if (!proxy.is_object()) return "a registry proxy must be an object";
  if (!proxy.contains("bundle") || !proxy["bundle"].is_string()) {
    return "a registry proxy needs a \"bundle\" string";
  }
  for (const auto& [key, value] : proxy.items()) {
    static const std::map<std::string, Check> kMembers = {
        {"bundle", Kind(&Json::is_string, "a string")},
        {"bundle_version", Kind(&Json::is_string, "a string or null", true)},
        {"short_version", Kind(&Json::is_string, "a string or null", true)},
        {"vendor_id",
         [](const Json& v) {
           return Expect(
               v.is_null() || (v.is_string() && platform::Uuid::parse(v.get<std::string>())),
               "UUID text or null");
         }},
        {"item_id", Kind(&Json::is_number_integer, "an integer or null", true)},
        {"cohort", Kind(&Json::is_string, "a string or null", true)},
        {"store_front", Kind(&Json::is_number_integer, "an integer or null", true)},
        {"entitlements", Kind(&Json::is_object, "an object or null", true)},
        {"type", Kind(&Json::is_string, "a string or null", true)},
        {"original_install_type", NonNegativeInteger("a non-negative integer")},
        {"install_type", NonNegativeInteger("a non-negative integer")},
        {"is_update", Kind(&Json::is_boolean, "true or false")},
        {"is_redownload", Kind(&Json::is_boolean, "true or false")},
    };
    auto check = kMembers.find(key);
    if (check == kMembers.end()) return "a registry proxy has an unknown member \"" + key + "\"";
    if (auto error = check->second(value)) return "proxy member \"" + key + "\" " + *error;
  }
  return std::nullopt;
}

std::optional<std::string> ValidateCounters(const Json& counters) {
  if (!counters.is_object()) return "counters must be an object";
  for (const auto& [name, value] : counters.items()) {
    if (name == "fail") {
      if (!value.is_boolean()) return "counters: fail must be true or false";
      continue;
    }
    if (!PacketCounterIndex(name)) return "counters: unknown counter \"" + name + "\"";
    if (!IsNonNegativeInteger(value))
      return "counters: " + name + " must be a non-negative integer";
  }
  return std::nullopt;
}

platform::Value ToValue(const Json& json) {
  switch (json.type()) {
    case Json::value_t::null:
    case Json::value_t::discarded:
      return {};
    case Json::value_t::boolean:
      return json.get<bool>();
    case Json::value_t::number_integer:
      return json.get<int64_t>();
    case Json::value_t::number_unsigned: {
      uint64_t u = json.get<uint64_t>();
      if (u <= static_cast<uint64_t>(INT64_MAX)) return static_cast<int64_t>(u);
      return u;
    }
    case Json::value_t::number_float:
      return json.get<double>();
    case Json::value_t::string:
      return json.get<std::string>();
    case Json::value_t::binary:
      return platform::Bytes(json.get_binary().begin(), json.get_binary().end());
    case Json::value_t::array: {
      platform::Array array;
      array.reserve(json.size());
      for (const Json& element : json) array.push_back(ToValue(element));
      return array;
    }
    case Json::value_t::object: {
      platform::Dictionary dictionary;
      for (const auto& [key, element] : json.items()) dictionary.emplace(key, ToValue(element));
      return dictionary;
    }
  }
  return {};
}

Json ToJson(const platform::Value& value) {
  using platform::Value;
  return std::visit(
      [](const auto& v) -> Json {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return nullptr;
        } else if constexpr (std::is_same_v<T, platform::Bytes>) {
          return Json::binary(v);
        } else if constexpr (std::is_same_v<T, platform::Array>) {
          Json array = Json::array();
          for (const Value& element : v) array.push_back(ToJson(element));
          return array;
        } else if constexpr (std::is_same_v<T, platform::Dictionary>) {
          Json object = Json::object();
          for (const auto& [key, element] : v) object[key] = ToJson(element);
          return object;
        } else if constexpr (std::is_same_v<T, std::shared_ptr<const platform::Object>>) {
          return v ? ToJson(v->describe()) : Json();
        } else {
          return v;
        }
      },
      value.storage());
}

}  // namespace tl::sim
