// SimOutputs: forwarding to the sinks.
#include "platform/sim/sim_outputs.h"

#include <algorithm>

namespace tl::sim {

using platform::DeviceMoment;

void SimOutputs::removeSink(OutputSink& sink) { std::erase(sinks_, &sink); }

void SimOutputs::addValueForScalarKey(std::string_view key, int64_t value) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.scalar(at, key, value); });
}

void SimOutputs::pushValueForDistributionKey(std::string_view key, double value) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.distribution(at, key, value); });
}

void SimOutputs::batchKeys(const platform::KeyValues* first, const platform::KeyValues* second) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.batch(at, first, second); });
}

void SimOutputs::write(std::string_view line) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.log(at, line); });
}

void SimOutputs::ipc(const std::string& service, const platform::WispObject& message) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.ipc(at, service, message); });
}

void SimOutputs::powerAck(intptr_t id) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.powerAck(at, id); });
}

void SimOutputs::simCrash(uint32_t code, const std::string& reason) {
  each([&](OutputSink& sink, const DeviceMoment& at) { sink.simCrash(at, code, reason); });
}

}  // namespace tl::sim
