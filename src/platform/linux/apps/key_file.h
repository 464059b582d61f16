// KeyFile: the groups and keys of a desktop entry, a Flatpak metadata or info file, read with
// GLib's key-file parser.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tl::linuxdev {

class KeyFile {
 public:
  // The value with its escapes resolved; nullptr when absent.
  const std::string* find(std::string_view group, std::string_view key) const;
  // "true" counts; anything else, or an absent key, does not.
  bool boolean(std::string_view group, std::string_view key) const;
  // A ';'-separated list, empty items dropped.
  std::vector<std::string> list(std::string_view group, std::string_view key) const;
  void set(std::string group, std::string key, std::string value);
  bool empty() const { return values_.empty(); }

 private:
  std::map<std::pair<std::string, std::string>, std::string, std::less<>> values_;
};

// An unreadable text gives an empty key file.
KeyFile ParseKeyFile(std::string_view text);
KeyFile ReadKeyFile(const std::string& path);

}  // namespace tl::linuxdev
