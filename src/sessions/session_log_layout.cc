// SessionLogLayout: the first line, and the header split at its empty "sessions_data" array.
#include "sessions/session_log_layout.h"

#include <cassert>

#include "sessions/pretty_json.h"

namespace tl::sessions {

namespace {
// The member that opens the array, as the pretty printer writes it.
constexpr std::string_view kSessionsData = "\"sessions_data\" : [";
static_assert(kSessionsData.substr(kSessionsData.size() - kMemberSeparator.size() - 1,
                                   kMemberSeparator.size()) == kMemberSeparator);
}  // namespace

SessionLogLayout::SessionLogLayout(const nlohmann::json& first, const nlohmann::json& header) {
  head_ = first.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  head_ += '\n';

  std::string pretty;
  AppendPretty(pretty, header);
  // The empty array is "[", two breaks, the indentation and "]": the objects go after the first
  // break, and the header goes on after the second.
  const size_t opened = pretty.find(kSessionsData) + kSessionsData.size();
  const size_t firstBreak = opened + kEmptyContainerBreak.size();
  const size_t secondBreak = firstBreak + kEmptyContainerBreak.size();
  assert(pretty.compare(opened, secondBreak - opened,
                        std::string(kEmptyContainerBreak) + std::string(kEmptyContainerBreak)) ==
         0);
  head_.append(pretty, 0, firstBreak);

  tail_.push_back('\n');
  tail_.append(pretty, secondBreak);
  tail_.push_back('\n');
}

}  // namespace tl::sessions
