// The demo's summary: counts, times, throughput, the files written, a sample record.
#include "summary.hpp"

#include <cstdio>

namespace {

// The records a log file took: the readings its categories admit, and the
// error records when it takes those.
size_t Records_admitted(const Log_target& target, const Read_result& result) {
    size_t count = (target.categories & Tessel::error_filter) ? result.errors : 0;
    for (const Reading& reading : result.readings) count += (target.categories & Category(reading)) != 0;
    return count;
}

// The first alarm as XML_Write writes it, indented.
void Print_first_alarm(const std::vector<Reading>& readings) {
    for (const Reading& reading : readings) {
        if (!reading.alarmed) continue;
        xmlNodePtr node = Tessel::XML_Write(reading);
        xmlBufferPtr text = xmlBufferCreate();
        xmlNodeDump(text, nullptr, node, 1, 1);
        std::printf("\nthe first alarm, as logged:\n  %s\n",
                    reinterpret_cast<const char*>(xmlBufferContent(text)));
        xmlBufferFree(text);
        xmlFreeNode(node);
        return;
    }
}

}  // namespace

void Print_summary(const std::string& input, const Read_result& result,
                   const std::vector<Log_target>& targets, const Staged_logs& logs, unsigned threads,
                   const Timings& times) {
    const size_t read = result.readings.size();
    std::printf("Tessel demo: a plant's sensor log read into structures and logged\n\n");
    std::printf("input    %s\n", input.c_str());
    std::printf("read     %zu of %zu readings in %.1f ms (%.0f readings/s)\n", read, result.seen,
                times.read_s * 1e3, read / times.read_s);
    std::printf("errors   %zu error records (printed on standard error, and logged)\n", result.errors);
    std::printf("logged   %zu readings from %u threads in %.1f ms (%.0f readings/s)\n", read, threads,
                times.log_s * 1e3, read / times.log_s);
    std::printf("total    %.1f ms\n\nwritten\n", times.total_s * 1e3);
    for (size_t i = 0; i < targets.size(); ++i)
        std::printf("  %-50s %4zu records: %s\n", logs.Path(i).c_str(), Records_admitted(targets[i], result),
                    targets[i].holds);
    Print_first_alarm(result.readings);
    std::printf("\n--input FILE reads your own plant log; --output DIR writes the logs elsewhere.\n");
}
