// OsRelease and locale: parsing os-release and locale names.
#include "platform/linux/roles/os_release.h"

#include <sstream>

namespace tl::linuxdev {

namespace {

std::string Unquoted(std::string_view value) {
  if (value.size() >= 2 && value.front() == '\'' && value.back() == '\'') {
    return std::string(value.substr(1, value.size() - 2));
  }
  if (value.size() < 2 || value.front() != '"' || value.back() != '"') return std::string(value);
  std::string out;
  value = value.substr(1, value.size() - 2);
  for (size_t i = 0; i < value.size(); ++i) {
    if (value[i] == '\\' && i + 1 < value.size()) ++i;
    out += value[i];
  }
  return out;
}

// "de_DE.UTF-8@euro" -> "de-DE"; "C" and "POSIX" have no language.
std::string LanguageTag(std::string_view name) {
  name = name.substr(0, name.find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX") return "";
  std::string tag(name);
  for (char& c : tag) {
    if (c == '_') c = '-';
  }
  return tag;
}

}  // namespace

std::map<std::string, std::string> ParseOsRelease(std::string_view text) {
  std::map<std::string, std::string> fields;
  std::istringstream in{std::string(text)};
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    size_t equals = line.find('=');
    if (equals == std::string::npos || equals == 0) continue;
    fields[line.substr(0, equals)] = Unquoted(std::string_view(line).substr(equals + 1));
  }
  return fields;
}

platform::Dictionary SystemVersionDictionary(const std::map<std::string, std::string>& osRelease,
                                             const std::string& kernelRelease) {
  platform::Dictionary version;
  auto set = [&](const char* key, const char* field) {
    auto it = osRelease.find(field);
    if (it != osRelease.end() && !it->second.empty()) version[key] = platform::Value(it->second);
  };
  set("ProductName", "NAME");
  set("ProductVersion", "VERSION_ID");
  set("ProductBuildVersion", "BUILD_ID");
  if (!version.count("ProductBuildVersion") && !kernelRelease.empty()) {
    version["ProductBuildVersion"] = platform::Value(kernelRelease);
  }
  return version;
}

std::optional<std::string> LocaleCountry(const char* localeName) {
  if (!localeName || !*localeName) return std::nullopt;
  std::string_view name(localeName);
  name = name.substr(0, name.find_first_of(".@"));
  size_t underscore = name.find('_');
  if (underscore == std::string_view::npos) return std::string();
  return std::string(name.substr(underscore + 1));
}

platform::Array PreferredLanguages(const char* languageList, const char* localeName) {
  platform::Array languages;
  std::string list = languageList && *languageList ? languageList : "";
  if (list.empty() && localeName) list = localeName;
  std::istringstream in(list);
  std::string entry;
  while (std::getline(in, entry, ':')) {
    std::string tag = LanguageTag(entry);
    if (!tag.empty()) languages.emplace_back(std::move(tag));
  }
  return languages;
}

}  // namespace tl::linuxdev
