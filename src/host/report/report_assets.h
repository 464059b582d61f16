// The files a report page carries inside it: the chart library with its licence, and the page's
// own script and styles. Embedded at build time.
#pragma once

#include <string_view>

namespace tl::host::report {

std::string_view ChartLibraryScript();
std::string_view ChartLibraryStyles();
std::string_view ChartLibraryLicence();
std::string_view PageScript();
std::string_view PageStyles();

}  // namespace tl::host::report
