// OsRelease and locale: what the system says of its version and of the user's locale.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/value.h"

namespace tl::linuxdev {

// The KEY=value lines of os-release(5): values may be quoted, with backslash escapes inside
// double quotes; comments and malformed lines are skipped.
std::map<std::string, std::string> ParseOsRelease(std::string_view text);

// The system version dictionary: "ProductName" from NAME, "ProductVersion" from VERSION_ID,
// "ProductBuildVersion" from BUILD_ID, else kernelRelease; a field with no source is left out.
platform::Dictionary SystemVersionDictionary(const std::map<std::string, std::string>& osRelease,
                                             const std::string& kernelRelease);

// The country of a POSIX locale name ("de_DE.UTF-8@euro" -> "DE"): empty for a locale without
// one ("C", "POSIX", "de"), nullopt for no locale (unset or empty).
std::optional<std::string> LocaleCountry(const char* localeName);

// The user's languages as language tags ("de_DE.UTF-8" -> "de-DE"), from LANGUAGE's list (colon
// separated) or, where it is unset, the locale's name.
platform::Array PreferredLanguages(const char* languageList, const char* localeName);

}  // namespace tl::linuxdev
