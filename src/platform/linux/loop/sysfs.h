// Sysfs: reading the devices of a subsystem, through sd-device, as plain text values.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace tl::linuxdev {

// One device of a subsystem: its kernel name and the attributes that were asked for and exist,
// with trailing white space removed.
struct SysfsDevice {
  std::string name;
  std::string path;
  std::map<std::string, std::string, std::less<>> attributes;

  // The attribute as an integer, or fallback when it is missing or not a number.
  long long number(const std::string& attribute, long long fallback) const;
  bool has(const std::string& attribute) const { return attributes.count(attribute) != 0; }
};

// Every device of subsystem, sorted by name, read anew; attributes lists what to read (a name
// ending in '*' reads every attribute starting with what comes before it).
std::vector<SysfsDevice> ReadSubsystem(const char* subsystem,
                                       const std::vector<std::string>& attributes);

}  // namespace tl::linuxdev
