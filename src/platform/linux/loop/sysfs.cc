// Sysfs: enumeration through sd-device; each read makes new device objects, as sd-device caches
// attribute values per object.
#include "platform/linux/loop/sysfs.h"

#include <systemd/sd-device.h>

#include <algorithm>
#include <charconv>
#include <memory>

namespace tl::linuxdev {

namespace {

struct EnumeratorDeleter {
  void operator()(sd_device_enumerator* e) const { sd_device_enumerator_unref(e); }
};

std::string Trimmed(const char* text) {
  std::string value(text);
  while (!value.empty() && (value.back() == '\n' || value.back() == ' ' || value.back() == '\t')) {
    value.pop_back();
  }
  return value;
}

void ReadAttribute(sd_device* device, const char* name, SysfsDevice& out) {
  const char* value = nullptr;
  if (sd_device_get_sysattr_value(device, name, &value) >= 0 && value) {
    out.attributes.emplace(name, Trimmed(value));
  }
}

}  // namespace

long long SysfsDevice::number(const std::string& attribute, long long fallback) const {
  auto it = attributes.find(attribute);
  if (it == attributes.end()) return fallback;
  long long value = 0;
  const std::string& text = it->second;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return fallback;
  return value;
}

std::vector<SysfsDevice> ReadSubsystem(const char* subsystem,
                                       const std::vector<std::string>& attributes) {
  std::vector<SysfsDevice> devices;
  sd_device_enumerator* raw = nullptr;
  if (sd_device_enumerator_new(&raw) < 0) return devices;
  std::unique_ptr<sd_device_enumerator, EnumeratorDeleter> enumerator(raw);
  sd_device_enumerator_allow_uninitialized(raw);
  if (sd_device_enumerator_add_match_subsystem(raw, subsystem, 1) < 0) return devices;
  for (sd_device* device = sd_device_enumerator_get_device_first(raw); device;
       device = sd_device_enumerator_get_device_next(raw)) {
    SysfsDevice entry;
    const char* text = nullptr;
    if (sd_device_get_sysname(device, &text) >= 0) entry.name = text;
    if (sd_device_get_syspath(device, &text) >= 0) entry.path = text;
    for (const std::string& attribute : attributes) {
      if (!attribute.ends_with('*')) {
        ReadAttribute(device, attribute.c_str(), entry);
        continue;
      }
      const std::string_view prefix(attribute.data(), attribute.size() - 1);
      for (const char* name = sd_device_get_sysattr_first(device); name;
           name = sd_device_get_sysattr_next(device)) {
        if (std::string_view(name).starts_with(prefix)) ReadAttribute(device, name, entry);
      }
    }
    devices.push_back(std::move(entry));
  }
  std::sort(devices.begin(), devices.end(),
            [](const SysfsDevice& a, const SysfsDevice& b) { return a.name < b.name; });
  return devices;
}

}  // namespace tl::linuxdev
