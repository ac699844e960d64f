// The Tessel demo: reads a plant's sensor log into application structures,
// logs what it read from four threads to two log streams, and prints a
// summary. The parse's error records go to standard error and to errors.xml.
//
//   tessel_demo [--input FILE] [--output DIR]
//
// FILE defaults to the bundled demo/data/plant_log.xml and DIR to
// demo/output in the build tree. The log files appear in DIR only when the run
// succeeds; a failed run prints why, leaves no log file and exits with 1
// (2 for arguments it does not understand).
#include "parallel_log.hpp"
#include "plant_reader.hpp"
#include "staged_logs.hpp"
#include "summary.hpp"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <system_error>

namespace {

const unsigned logging_threads = 4;

// Every reading to one file, alarms only to another, error records to a third.
const std::vector<Log_target> log_targets = {
    {"readings.xml", "plant_log", normal_category | alarm_category, "every reading"},
    {"alarms.xml", "plant_log", alarm_category, "alarms only"},
    {"errors.xml", "errors", Tessel::error_filter, "the parse's error records"},
};
const size_t error_log = 2;  // the log that receives the error records

struct Options {
    std::string input = DEMO_DATA_DIR "/plant_log.xml";
    std::string output = DEMO_OUTPUT_DIR;
};

const char usage[] = "usage: tessel_demo [--input FILE] [--output DIR]\n";

// The options, or none (after the usage) when the arguments are not understood.
std::optional<Options> Parse_arguments(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if ((arg == "--input" || arg == "--output") && i + 1 < argc) {
            (arg == "--input" ? options.input : options.output) = argv[++i];
        } else {
            std::fputs(usage, stderr);
            return std::nullopt;
        }
    }
    return options;
}

int Fail(const std::string& why) {
    std::fprintf(stderr, "tessel_demo: %s; no output written\n", why.c_str());
    return 1;
}

double Seconds_since(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Why the input cannot be read, or nothing when it can.
std::string Input_problem(const std::string& path) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec) return "cannot read " + path + ": " + ec.message();
    if (size == 0) return path + " is empty";
    if (!std::ifstream(path)) return "cannot read " + path + ": " + std::strerror(errno);
    return "";
}

// Reads the input, logs what was read, puts the log files in place and prints
// the summary; on any failure, the reason, and 1.
int Run(const Options& options) {
    const auto start = std::chrono::steady_clock::now();
    const std::string problem = Input_problem(options.input);
    if (!problem.empty()) return Fail(problem);
    std::error_code ec;
    std::filesystem::create_directories(options.output, ec);
    if (ec) return Fail("cannot create " + options.output + ": " + ec.message());
    Staged_logs logs(options.output, log_targets);
    if (!logs.OK()) return Fail("cannot write log files in " + options.output);

    const auto reading = std::chrono::steady_clock::now();
    const Read_result result = Read_plant_log(options.input, logs.Stream(error_log));
    const double read_s = Seconds_since(reading);
    if (!result.completed)
        return Fail(options.input + " is not a readable XML document: " + result.first_error);
    if (result.seen == 0)
        return Fail(options.input + " holds no <reading> inside <plant_log>: not a plant log");
    if (result.readings.empty())
        return Fail("none of the " + std::to_string(result.seen) + " readings in " + options.input +
                    " could be read: not a plant log");

    const auto logging = std::chrono::steady_clock::now();
    Log_readings(result.readings, logging_threads);
    const double log_s = Seconds_since(logging);
    std::string error;
    if (!logs.Publish(error)) return Fail(error);
    Print_summary(options.input, result, log_targets, logs, logging_threads,
                  {read_s, log_s, Seconds_since(start)});
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::optional<Options> options = Parse_arguments(argc, argv);
    return options ? Run(*options) : 2;
}
