// KeyFile: GLib's parser, copied out into plain strings.
#include "platform/linux/apps/key_file.h"

#include <glib.h>

#include <fstream>
#include <memory>
#include <sstream>

namespace tl::linuxdev {

namespace {

struct KeyFileDeleter {
  void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
struct StrvDeleter {
  void operator()(gchar** strv) const { g_strfreev(strv); }
};
struct StringDeleter {
  void operator()(gchar* text) const { g_free(text); }
};

}  // namespace

const std::string* KeyFile::find(std::string_view group, std::string_view key) const {
  auto it = values_.find(std::pair<std::string, std::string>(group, key));
  return it == values_.end() ? nullptr : &it->second;
}

bool KeyFile::boolean(std::string_view group, std::string_view key) const {
  const std::string* value = find(group, key);
  return value && *value == "true";
}

std::vector<std::string> KeyFile::list(std::string_view group, std::string_view key) const {
  std::vector<std::string> items;
  const std::string* value = find(group, key);
  if (!value) return items;
  std::string item;
  for (char c : *value + ";") {
    if (c != ';') {
      item += c;
    } else if (!item.empty()) {
      items.push_back(std::move(item));
      item.clear();
    }
  }
  return items;
}

void KeyFile::set(std::string group, std::string key, std::string value) {
  values_[{std::move(group), std::move(key)}] = std::move(value);
}

KeyFile ParseKeyFile(std::string_view text) {
  KeyFile parsed;
  std::unique_ptr<GKeyFile, KeyFileDeleter> file(g_key_file_new());
  if (!g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr)) {
    return parsed;
  }
  std::unique_ptr<gchar*, StrvDeleter> groups(g_key_file_get_groups(file.get(), nullptr));
  for (gchar** group = groups.get(); *group; ++group) {
    std::unique_ptr<gchar*, StrvDeleter> keys(
        g_key_file_get_keys(file.get(), *group, nullptr, nullptr));
    if (!keys) continue;
    for (gchar** key = keys.get(); *key; ++key) {
      std::unique_ptr<gchar, StringDeleter> value(
          g_key_file_get_string(file.get(), *group, *key, nullptr));
      if (value) parsed.set(*group, *key, value.get());
    }
  }
  return parsed;
}

KeyFile ReadKeyFile(const std::string& path) {
  std::ifstream in(path);
  if (!in) return {};
  std::stringstream text;
  text << in.rdbuf();
  return ParseKeyFile(text.str());
}

}  // namespace tl::linuxdev
