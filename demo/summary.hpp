// The summary the demo prints after a successful run.
#ifndef TESSEL_DEMO_SUMMARY_HPP
#define TESSEL_DEMO_SUMMARY_HPP

#include "plant_reader.hpp"
#include "staged_logs.hpp"

#include <string>
#include <vector>

struct Timings {
    double read_s, log_s, total_s;
};

// Prints what was read from input, how fast it was read and logged by
// threads, the records each log file took, and the first alarm as logged.
void Print_summary(const std::string& input, const Read_result& result,
                   const std::vector<Log_target>& targets, const Staged_logs& logs, unsigned threads,
                   const Timings& times);

#endif
