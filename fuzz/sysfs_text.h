// Readings of a sysfs subsystem written as text, for the harnesses of what the Linux device reads
// from sysfs: "DEVICE ATTRIBUTE VALUE" a line (the value runs to the end of the line, bytes as
// they come), and a line "--" between one reading and the next.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/loop/sysfs.h"

namespace tl::fuzz {

inline std::vector<std::vector<linuxdev::SysfsDevice>> SysfsReadings(std::string_view text) {
  std::vector<std::vector<linuxdev::SysfsDevice>> readings(1);
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line == "--") {
      readings.emplace_back();
      continue;
    }
    const size_t name = line.find(' ');
    if (name == std::string_view::npos) continue;
    const size_t attribute = line.find(' ', name + 1);
    if (attribute == std::string_view::npos) continue;
    auto& devices = readings.back();
    const std::string device(line.substr(0, name));
    auto it = std::find_if(devices.begin(), devices.end(),
                           [&](const linuxdev::SysfsDevice& d) { return d.name == device; });
    if (it == devices.end())
      it = devices.insert(devices.end(), {device, "/sys/fuzz/" + device, {}});
    it->attributes[std::string(line.substr(name + 1, attribute - name - 1))] =
        std::string(line.substr(attribute + 1));
  }
  return readings;
}

}  // namespace tl::fuzz
