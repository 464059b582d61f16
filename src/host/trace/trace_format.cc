// Device fields, proxies and counters of the trace: their checks, their typed values, and the
// state written back.
#include "host/trace/trace_format.h"

#include <date/tz.h>

#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>

#include "platform/device_paths.h"
#include "platform/sim/packet_counters.h"
#include "platform/uuid.h"

namespace tl::host {

namespace {

using sim::DeviceFields;
using sim::DeviceState;
using Error = std::optional<std::string>;
using Check = std::function<Error(const Json&)>;
// Checks a field's value and adds its change to the fields.
using FieldParser = std::function<Error(const Json&, DeviceFields&)>;

Error Expect(bool ok, const char* what) {
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

Error CheckTimeZone(const Json& v) {
  if (!v.is_string()) return "must be an IANA time zone name";
  try {
    date::locate_zone(v.get<std::string>());
  } catch (const std::exception&) {
    return "names no known time zone: " + v.get<std::string>();
  }
  return std::nullopt;
}

Error CheckTimebase(const Json& v) {
  bool ok = v.is_array() && v.size() == 2;
  for (size_t i = 0; ok && i < 2; ++i) {
    ok = IsNonNegativeInteger(v[i]) && v[i].get<uint64_t>() > 0 &&
         v[i].get<uint64_t>() <= UINT32_MAX;
  }
  return Expect(ok, "[numer, denom] of positive 32-bit integers");
}

Error CheckPreferences(const Json& v) {
  if (!v.is_object()) return "must be an object of domains";
  for (const auto& [domain, keys] : v.items()) {
    if (!keys.is_object()) return "domain \"" + domain + "\" must be an object of keys";
  }
  return std::nullopt;
}

Error CheckBacklight(const Json& v) {
  if (v.is_null()) return std::nullopt;
  if (!v.is_object()) return "must be {min, max, value} or null";
  for (const auto& [key, member] : v.items()) {
    if (key != "min" && key != "max" && key != "value") return "has an unknown member " + key;
    if (!member.is_number_integer()) return key + " must be an integer";
  }
  return std::nullopt;
}

Error ParseApps(const Json& v, std::vector<platform::RSApplicationProxy>* apps) {
  if (!v.is_array()) return "must be a list of registry proxies";
  apps->resize(v.size());
  for (size_t i = 0; i < v.size(); ++i) {
    if (auto error = ParseProxy(v[i], &(*apps)[i])) return error;
  }
  return std::nullopt;
}

// A pid's text as the kernel's lookups spell it; nullopt for text that no pid is spelt as.
std::optional<int32_t> PidOf(const std::string& text) {
  int32_t pid = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
  if (error != std::errc() || end != text.data() + text.size() || std::to_string(pid) != text) {
    return std::nullopt;
  }
  return pid;
}

Error CheckProcesses(const Json& v) {
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

Error ParseInterfaces(const Json& v, std::vector<sim::Interface>* interfaces) {
  if (!v.is_array()) return "must be a list of interfaces";
  for (const Json& i : v) {
    if (!i.is_object() || !i.contains("name") || !i["name"].is_string()) {
      return "each interface needs a name";
    }
    if (i.contains("loopback") && !i["loopback"].is_boolean()) return "loopback must be a boolean";
    if (i.contains("family") && !i["family"].is_number_integer()) {
      return "family must be an integer";
    }
    sim::Interface interface;
    interface.name = i["name"].get<std::string>();
    interface.loopback = i.value("loopback", false);
    interface.family = i.value("family", platform::kAddressFamilyLink);
    if (i.contains("counters")) {
      sim::CounterChanges counters;
      if (auto error = ParseCounters(i["counters"], &counters)) return error;
      counters.applyTo(interface);
    }
    interfaces->push_back(std::move(interface));
  }
  return std::nullopt;
}

// Whether directory (with or without its trailing slash) is path or lies below it.
bool IsAtOrBelow(std::string_view directory, std::string_view path) {
  if (directory.ends_with('/')) directory.remove_suffix(1);
  return directory == path || (directory.starts_with(path) && directory[path.size()] == '/');
}

// What keeps a file from being written at path, judged before anything is written: a path
// that names a directory, leaves the device, has a name no file system takes, or stands where
// the device keeps a directory.
Error CheckFilePath(std::string_view path) {
  constexpr size_t kMaxName = 255;   // NAME_MAX of every common file system
  constexpr size_t kMaxPath = 1024;  // leaves room for the sandbox below PATH_MAX
  if (path.empty() || path.front() != '/') return "must be absolute";
  if (path.ends_with('/')) return "names a directory, not a file";
  if (path.size() > kMaxPath) return "is longer than 1024 bytes";
  for (size_t begin = 1; begin <= path.size();) {
    size_t end = std::min(path.find('/', begin), path.size());
    const std::string_view name = path.substr(begin, end - begin);
    if (name == "." || name == "..") return "must stay inside the device";
    if (name.size() > kMaxName) return "has a name longer than 255 bytes";
    begin = end + 1;
  }
  for (std::string_view kept : {std::string_view(sim::kTemporaryDirectory),
                                std::string_view(platform::kDiagnosticLogDirectory),
                                std::string_view(platform::kRecordDirectory)}) {
    if (IsAtOrBelow(kept, path)) return "is a directory of the device";
  }
  return std::nullopt;
}

Error CheckFiles(const Json& v) {
  if (!v.is_object()) return "must be an object from path to content";
  for (const auto& [path, content] : v.items()) {
    if (auto error = CheckFilePath(path)) return "path " + path + " " + *error;
    if (!content.is_string()) return "content of " + path + " must be text";
    // Files are written in path order, so a file below another path of the same list would
    // need that path to be a directory and a file at once.
    for (const auto& [other, unused] : v.items()) {
      if (other != path && IsAtOrBelow(other, path)) {
        return "path " + path + " cannot be a file and the directory of " + other;
      }
    }
  }
  return std::nullopt;
}

// The typed values of checked JSON.
std::optional<std::string> OptionalText(const Json& v) {
  if (v.is_null()) return std::nullopt;
  return v.get<std::string>();
}

platform::Dictionary Dictionary(const Json& v) { return *ToValue(v).dictionary(); }

std::optional<platform::Dictionary> OptionalDictionary(const Json& v) {
  if (v.is_null()) return std::nullopt;
  return Dictionary(v);
}

std::optional<sim::Backlight> BacklightOf(const Json& v) {
  if (v.is_null()) return std::nullopt;
  sim::Backlight backlight;
  if (v.contains("min")) backlight.min = v["min"].get<int64_t>();
  if (v.contains("max")) backlight.max = v["max"].get<int64_t>();
  if (v.contains("value")) backlight.value = v["value"].get<int64_t>();
  return backlight;
}

std::map<int32_t, std::optional<sim::Process>> ProcessesOf(const Json& v) {
  std::map<int32_t, std::optional<sim::Process>> processes;
  for (const auto& [text, entry] : v.items()) {
    auto pid = PidOf(text);
    if (!pid) continue;  // spelt as no pid is: no query ever finds it
    if (entry.is_null()) {
      processes[*pid] = std::nullopt;
      continue;
    }
    sim::Process process;
    if (auto uuid = platform::Uuid::parse(entry.value("uuid", ""))) process.uuid = *uuid;
    process.lp64 = entry.value("lp64", true);
    processes[*pid] = process;
  }
  return processes;
}

// A field stored in member of the state, converted from its checked JSON by convert.
template <class T, class Convert>
FieldParser Field(Check check, T DeviceState::*member, Convert convert) {
  return [=](const Json& v, DeviceFields& out) -> Error {
    if (auto error = check(v)) return error;
    out.changes.push_back([member, value = T(convert(v))](DeviceState& s) { s.*member = value; });
    return std::nullopt;
  };
}

template <class T>
FieldParser Field(Check check, T DeviceState::*member) {
  return Field(std::move(check), member, [](const Json& v) { return v.get<T>(); });
}

// A field checked and converted in one pass by parse.
template <class T>
FieldParser Parsed(T DeviceState::*member, Error (*parse)(const Json&, T*)) {
  return [=](const Json& v, DeviceFields& out) -> Error {
    T value{};
    if (auto error = parse(v, &value)) return error;
    out.changes.push_back(
        [member, value = std::move(value)](DeviceState& s) { s.*member = value; });
    return std::nullopt;
  };
}

const std::map<std::string, FieldParser>& Fields() {
  static const std::map<std::string, FieldParser> kFields = {
      {"start", Field(
                    [](const Json& v) {
                      return Expect(
                          v.is_number() && v.get<double>() >= 0 && v.get<double>() <= kLatestStart,
                          "seconds since 1970 from 0 to 4294967295 (2106-02-07)");
                    },
                    &DeviceState::start)},
      {"time_zone", Field(CheckTimeZone, &DeviceState::timeZone)},
      {"timebase", Field(CheckTimebase, &DeviceState::timebase,
                         [](const Json& v) {
                           return platform::Timebase{v[0].get<uint32_t>(), v[1].get<uint32_t>()};
                         })},
      {"machine", Field(Kind(&Json::is_string, "a string"), &DeviceState::machine)},
      {"system_version", Field(Kind(&Json::is_object, "an object or null", true),
                               &DeviceState::systemVersion, OptionalDictionary)},
      {"server_version", Field(Kind(&Json::is_object, "an object or null", true),
                               &DeviceState::serverVersion, OptionalDictionary)},
      {"locale", Field(Kind(&Json::is_string, "a country code or null", true), &DeviceState::locale,
                       OptionalText)},
      {"languages", Field([](const Json&) { return Error(); }, &DeviceState::languages, ToValue)},
      {"multi_user", Field(Kind(&Json::is_boolean, "true or false"), &DeviceState::multiUser)},
      {"answers", Field(Kind(&Json::is_object, "an object"), &DeviceState::answers, Dictionary)},
      {"preferences", Field(CheckPreferences, &DeviceState::preferences,
                            [](const Json& v) {
                              std::map<std::string, platform::Dictionary> domains;
                              for (const auto& [domain, keys] : v.items()) {
                                domains[domain] = Dictionary(keys);
                              }
                              return domains;
                            })},
      {"tasking", Field(Kind(&Json::is_object, "an object"), &DeviceState::tasking, Dictionary)},
      {"consent", Field(Kind(&Json::is_boolean, "true or false"), &DeviceState::consent)},
      {"battery", Field(Kind(&Json::is_object, "a property dictionary or null", true),
                        &DeviceState::battery, OptionalDictionary)},
      {"backlight", Field(CheckBacklight, &DeviceState::backlight, BacklightOf)},
      {"brightness_level",
       Field(Kind(&Json::is_number, "a number"), &DeviceState::brightnessLevel)},
      {"lpm", Field(NonNegativeInteger("a non-negative integer"), &DeviceState::lpm)},
      {"thermal_level",
       Field(Kind(&Json::is_number_integer, "an integer"), &DeviceState::thermalLevel)},
      {"wake_reason", Field(Kind(&Json::is_string, "a string or null", true),
                            &DeviceState::wakeReason, OptionalText)},
      {"apps", Parsed(&DeviceState::apps, ParseApps)},
      {"processes", Field(CheckProcesses, &DeviceState::processes, ProcessesOf)},
      {"interfaces", Parsed(&DeviceState::interfaces, ParseInterfaces)},
      {"files",
       [](const Json& v, DeviceFields& out) -> Error {
         if (auto error = CheckFiles(v)) return error;
         for (const auto& [path, content] : v.items()) out.files[path] = content.get<std::string>();
         return std::nullopt;
       }},
      {"container_path", Field(Kind(&Json::is_string, "a string or null", true),
                               &DeviceState::containerPath, OptionalText)},
  };
  return kFields;
}

// write(*value), or null for an absent value.
Json Optional(const auto& value, auto write) { return value ? Json(write(*value)) : Json(); }

Json ProxyToJson(const platform::RSApplicationProxy& p) {
  auto self = [](const auto& v) { return Json(v); };
  return {{"bundle", p.bundleIdentifier},
          {"bundle_version", Optional(p.bundleVersion, self)},
          {"short_version", Optional(p.shortVersionString, self)},
          {"vendor_id",
           Optional(p.deviceIdentifierForVendor, [](const platform::Uuid& u) { return u.text(); })},
          {"item_id", Optional(p.itemID, self)},
          {"cohort", Optional(p.storeCohortMetadata, self)},
          {"store_front", Optional(p.storeFront, self)},
          {"entitlements", ToJson(platform::Value(p.entitlements))},
          {"type", Optional(p.applicationType, self)},
          {"original_install_type", p.originalInstallType},
          {"install_type", p.installType},
          {"is_update", p.isAppUpdate},
          {"is_redownload", p.isPurchasedReDownload}};
}

}  // namespace

std::optional<std::string> ParseDeviceFields(const Json& fields, sim::DeviceFields* out) {
  if (!fields.is_object()) return "device fields must be an object";
  sim::DeviceFields parsed;
  for (const auto& [name, value] : fields.items()) {
    auto field = Fields().find(name);
    if (field == Fields().end()) return "unknown device field \"" + name + "\"";
    if (auto error = field->second(value, parsed)) {
      return "device field \"" + name + "\" " + *error;
    }
  }
  *out = std::move(parsed);
  return std::nullopt;
}

sim::DeviceFields DeviceFieldsFromJson(const Json& fields) {
  sim::DeviceFields parsed;
  if (auto error = ParseDeviceFields(fields, &parsed)) throw std::invalid_argument(*error);
  return parsed;
}

std::optional<std::string> ParseProxy(const Json& proxy, platform::RSApplicationProxy* out) {
  if (!proxy.is_object()) return "a registry proxy must be an object";
  if (!proxy.contains("bundle") || !proxy["bundle"].is_string()) {
    return "a registry proxy needs a \"bundle\" string";
  }
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
  for (const auto& [key, value] : proxy.items()) {
    auto check = kMembers.find(key);
    if (check == kMembers.end()) return "a registry proxy has an unknown member \"" + key + "\"";
    if (auto error = check->second(value)) return "proxy member \"" + key + "\" " + *error;
  }

  auto text = [&](const char* key) -> std::optional<std::string> {
    auto it = proxy.find(key);
    if (it == proxy.end() || !it->is_string()) return std::nullopt;
    return it->get<std::string>();
  };
  auto integer = [&](const char* key) -> std::optional<int64_t> {
    auto it = proxy.find(key);
    if (it == proxy.end() || !it->is_number_integer()) return std::nullopt;
    return it->get<int64_t>();
  };
  platform::RSApplicationProxy& p = *out;
  p = {};
  p.bundleIdentifier = proxy.at("bundle").get<std::string>();
  p.bundleVersion = text("bundle_version");
  p.shortVersionString = text("short_version");
  if (auto vendor = text("vendor_id")) p.deviceIdentifierForVendor = platform::Uuid::parse(*vendor);
  p.itemID = integer("item_id");
  p.storeCohortMetadata = text("cohort");
  p.storeFront = integer("store_front");
  if (auto it = proxy.find("entitlements"); it != proxy.end() && it->is_object()) {
    p.entitlements = Dictionary(*it);
  }
  // A proxy written without a type is a user application; null means the registry has none.
  p.applicationType = proxy.contains("type") ? text("type") : std::optional<std::string>("User");
  p.originalInstallType = proxy.value("original_install_type", 0u);
  p.installType = proxy.value("install_type", 0u);
  p.isAppUpdate = proxy.value("is_update", false);
  p.isPurchasedReDownload = proxy.value("is_redownload", false);
  return std::nullopt;
}

std::optional<std::string> ParseCounters(const Json& counters, sim::CounterChanges* out) {
  if (!counters.is_object()) return "counters must be an object";
  sim::CounterChanges changes;
  for (const auto& [name, value] : counters.items()) {
    if (name == "fail") {
      if (!value.is_boolean()) return "counters: fail must be true or false";
      changes.fail = value.get<bool>();
      continue;
    }
    auto index = sim::PacketCounterIndex(name);
    if (!index) return "counters: unknown counter \"" + name + "\"";
    if (!IsNonNegativeInteger(value)) {
      return "counters: " + name + " must be a non-negative integer";
    }
    changes.values.emplace_back(*index, value.get<uint64_t>());
  }
  *out = std::move(changes);
  return std::nullopt;
}

Json DeviceStateToJson(const sim::DeviceState& s) {
  auto self = [](const auto& v) { return Json(v); };
  auto dictionary = [](const platform::Dictionary& d) { return ToJson(platform::Value(d)); };
  Json preferences = Json::object();
  for (const auto& [domain, keys] : s.preferences) preferences[domain] = dictionary(keys);
  Json apps = Json::array();
  for (const auto& proxy : s.apps) apps.push_back(ProxyToJson(proxy));
  Json processes = Json::object();
  for (const auto& [pid, process] : s.processes) {
    processes[std::to_string(pid)] = Optional(process, [](const sim::Process& p) {
      return Json{{"uuid", p.uuid.text()}, {"lp64", p.lp64}};
    });
  }
  Json interfaces = Json::array();
  for (const sim::Interface& i : s.interfaces) {
    Json counters = {{"fail", i.failing}};
    for (size_t index = 0; index < i.counters.size(); ++index) {
      if (i.counters[index] != 0) counters[std::to_string(index)] = i.counters[index];
    }
    interfaces.push_back(
        {{"name", i.name}, {"loopback", i.loopback}, {"family", i.family}, {"counters", counters}});
  }
  Json backlight = Optional(s.backlight, [](const sim::Backlight& b) {
    Json brightness = Json::object();
    if (b.min) brightness["min"] = *b.min;
    if (b.max) brightness["max"] = *b.max;
    if (b.value) brightness["value"] = *b.value;
    return brightness;
  });
  return {{"start", s.start},
          {"time_zone", s.timeZone},
          {"timebase", {s.timebase.numer, s.timebase.denom}},
          {"machine", s.machine},
          {"system_version", Optional(s.systemVersion, dictionary)},
          {"server_version", Optional(s.serverVersion, dictionary)},
          {"locale", Optional(s.locale, self)},
          {"languages", ToJson(s.languages)},
          {"multi_user", s.multiUser},
          {"answers", dictionary(s.answers)},
          {"preferences", preferences},
          {"tasking", dictionary(s.tasking)},
          {"consent", s.consent},
          {"battery", Optional(s.battery, dictionary)},
          {"backlight", backlight},
          {"brightness_level", s.brightnessLevel},
          {"lpm", s.lpm},
          {"thermal_level", s.thermalLevel},
          {"wake_reason", Optional(s.wakeReason, self)},
          {"apps", apps},
          {"processes", processes},
          {"interfaces", interfaces},
          {"container_path", Optional(s.containerPath, self)}};
}

Json SnapshotToJson(const sim::SimDevice::Snapshot& snapshot) {
  // The CPU counters are no device field: the trace sets them by its cpu lines alone.
  return {{"device", DeviceStateToJson(snapshot.state)},
          {"cpu", {{"apps", snapshot.state.appCpu}, {"total", snapshot.state.totalCpu}}},
          {"elapsed_ns", snapshot.elapsedNanoseconds},
          {"named_states", snapshot.namedStates},
          {"faults", snapshot.faults}};
}

sim::SimDevice::Snapshot SnapshotFromJson(const Json& json) {
  sim::SimDevice::Snapshot snapshot;
  DeviceFieldsFromJson(json.at("device")).applyTo(snapshot.state);
  snapshot.state.appCpu = json.at("cpu").at("apps").get<std::map<std::string, double>>();
  snapshot.state.totalCpu = json.at("cpu").at("total").get<double>();
  snapshot.elapsedNanoseconds = json.at("elapsed_ns").get<int64_t>();
  snapshot.namedStates = json.at("named_states").get<std::map<std::string, uint64_t>>();
  snapshot.faults = json.at("faults").get<std::map<std::string, std::string>>();
  return snapshot;
}

}  // namespace tl::host
