// EQAggregateLogger: start-up of the power-state aggregation.
#include "aggregate/eq_aggregate_logger.h"

EQAggregateLogger::EQAggregateLogger() = default;
EQAggregateLogger::~EQAggregateLogger() = default;
