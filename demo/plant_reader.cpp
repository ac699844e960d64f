// Reading a plant log: a descriptor for <reading> that hands every complete
// reading to the input it came from, and an input that counts error records.
#include "plant_reader.hpp"

using namespace Tessel;

namespace {

// libxml2's messages end with a line break; the summary wants one line.
std::string One_line(const char* msg) {
    std::string text = msg ? msg : "";
    for (char& c : text)
        if (c == '\n') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

// An input file that keeps what the parse produced.
struct Plant_input : Input_file {
    using Input_file::Input_file;

    // Counts the record and keeps the first, at the line of its node when
    // there is one (the parser's position may be ahead); the default handler
    // then prints it and writes it to the associated output.
    void Error_handler(const Error_info& info) override {
        if (result.errors++ == 0) {
            const long line = info.node.valid ? info.node.node_line : info.line;
            result.first_error = One_line(info.msg) + " (line " + std::to_string(line) + ")";
        }
        Input_file::Error_handler(info);
    }

    Read_result result{};
    size_t errors_at_start = 0;  // the error count when the current <reading> began
};

Plant_input& Plant(Input_data& input) { return static_cast<Plant_input&>(input); }

// <reading> inside <plant_log>. With abort_on_error off only the faulty
// element fails, and its reading would be kept without it (or with what was
// read of it): a reading that raised any error record is refused whole.
struct Reading_info : Info<Reading> {
    using Info<Reading>::Info;
    void Start(Reading&, Input_data& input) const override {
        ++Plant(input).result.seen;
        Plant(input).errors_at_start = Plant(input).result.errors;
    }
    bool Finalize(Reading&, Input_data& input) const override {
        return Plant(input).result.errors == Plant(input).errors_at_start;
    }
    bool Commit(Reading& reading, Input_data& input) const override {
        Plant(input).result.readings.push_back(std::move(reading));
        return true;
    }
};

const Info<void> plant_log_element("/plant_log");
const Reading_info reading_element("/plant_log/reading", reading_rows, reading_attrs);

}  // namespace

Read_result Read_plant_log(const std::string& path, Output_file& error_log) {
    Plant_input input(path.c_str());
    input.abort_on_error = false;  // read the whole document, past faulty readings
    input.Associate_output(&error_log);
    input.result.completed = input.Process();
    return std::move(input.result);
}
