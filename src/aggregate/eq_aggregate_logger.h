// EQAggregateLogger: books time and battery energy to power states at every power event.
#pragma once

// Until the aggregation subsystem lands, the logger observes nothing.
class EQAggregateLogger {
 public:
  EQAggregateLogger();
  ~EQAggregateLogger();
};
