// Logging readings from several threads at once.
#ifndef TESSEL_DEMO_PARALLEL_LOG_HPP
#define TESSEL_DEMO_PARALLEL_LOG_HPP

#include "plant_log.hpp"

#include <vector>

// Writes every reading as a <reading> and offers it to the log streams under
// its category (XML_Log). Thread t of threads logs readings t, t + threads, ...
void Log_readings(const std::vector<Reading>& readings, unsigned threads);

#endif
