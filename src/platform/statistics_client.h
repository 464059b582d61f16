// StatisticsClient: the statistics daemon's client calls by which the module reports values.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/value.h"

namespace tl::platform {

// Key -> number (an integer or a double).
using KeyValues = Dictionary;

// The daemon decides how it folds each value into its key. Callable from any queue; a key is
// only read during the call.
class StatisticsClient {
 public:
  virtual ~StatisticsClient() = default;
  virtual void addValueForScalarKey(std::string_view key, int64_t value) = 0;
  virtual void pushValueForDistributionKey(std::string_view key, double value) = 0;
  // Either dictionary may be absent (nullptr).
  virtual void batchKeys(const KeyValues* first, const KeyValues* second) = 0;
};

}  // namespace tl::platform

// The client calls under their own names, through the current platform.
void TLClientAddValueForScalarKey(std::string_view key, int64_t value);
void TLClientPushValueForDistributionKey(std::string_view key, double value);
void TLClientBatchKeys(const tl::platform::KeyValues* first, const tl::platform::KeyValues* second);
