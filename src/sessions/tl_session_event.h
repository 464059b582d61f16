// TLSessionEvent: one finished interval of a run state, or one install event, of a bundle.
#pragma once

#include <cstdint>
#include <string>

class TLSessionEvent {
 public:
  // init:duration:at:
  TLSessionEvent(uint32_t appState, uint32_t duration, uint32_t endtime)
      : _appState(appState), _duration(duration), _endtime(endtime) {}

  // "%X:%u" of the state and the duration; the end time is not shown.
  std::string description() const;

  // The run-state code of the interval, or an install event code with its kind in bits 16-19.
  uint32_t appState() const { return _appState; }
  void setAppState(uint32_t v) { _appState = v; }
  // Seconds.
  uint32_t duration() const { return _duration; }
  void setDuration(uint32_t v) { _duration = v; }
  // Seconds since 1970-01-01 UTC at which the interval ended.
  uint32_t endtime() const { return _endtime; }
  void setEndtime(uint32_t v) { _endtime = v; }

 private:
  uint32_t _appState;
  uint32_t _duration;
  uint32_t _endtime;
};
