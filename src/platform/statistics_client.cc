// The statistics client calls, forwarded to the current platform.
#include "platform/statistics_client.h"

#include "platform/platform.h"

void TLClientAddValueForScalarKey(std::string_view key, int64_t value) {
  tl::platform::Current().statistics().addValueForScalarKey(key, value);
}

void TLClientPushValueForDistributionKey(std::string_view key, double value) {
  tl::platform::Current().statistics().pushValueForDistributionKey(key, value);
}

void TLClientBatchKeys(const tl::platform::KeyValues* first,
                       const tl::platform::KeyValues* second) {
  tl::platform::Current().statistics().batchKeys(first, second);
}
