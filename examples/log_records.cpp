// Reads readings into structures and logs each one, as it is read, to two log
// streams: every reading to all.xml, alarms only to alarms.xml. The parse's
// error records, if any, go into all.xml too, as <Error> elements.
//
//   example_log_records [readings.xml [output directory]]
#include <XML/Tessel.hpp>

#include <cstdio>
#include <string>

using namespace Tessel;

struct Reading {
    long id;
    double value;
    bool alarmed;
    long alarm;
};

// Filter values: the categories a record belongs to.
const Filter normal = 0x1, alarm = 0x2;

const Attrib::Entry<Reading> id_attr("id", Get_Access<Reading, long>(Access::GetSet(&Reading::id)));
const Attrib::Attrib_Table<Reading> reading_attr_rows[] = {{id_attr}};
const Attrib::Attrib_Hash<Reading> reading_attrs(reading_attr_rows);
const Subelement_table<Reading> reading_rows[] = {
    {Subelement(&Reading::value, "value", "%.2d")},
    {Subelement(&Reading::alarm, "alarm").If(&Reading::alarmed, true)},
};

// How XML_Write writes a Reading: a <reading>, from the same tables.
template <>
const Info<Reading> Info<Reading>::info("reading", reading_rows, reading_attrs);

// Reads <reading> inside <log>; each reading read without error is logged.
struct Reading_info : Info<Reading> {
    using Info<Reading>::Info;
    bool Commit(Reading& reading, Input_data&) const override {
        xmlNodePtr node = XML_Write(reading);
        XML_Log(node, reading.alarmed ? alarm : normal);  // node is freed, and null now
        return true;
    }
};
const Info<void> log_element("/log");
const Reading_info reading_element("/log/reading", reading_rows, reading_attrs);

int main(int argc, char** argv) {
    const std::string input_name = argc > 1 ? argv[1] : EXAMPLES_DIR "/data/readings.xml";
    const std::string dir = argc > 2 ? argv[2] : ".";
    const std::string all_name = dir + "/all.xml", alarms_name = dir + "/alarms.xml";

    Output_stream* all = new Output_stream(all_name.c_str(), "log", nullptr, nullptr);
    all->filters[0] = normal | alarm | error_filter;
    Output_stream* alarms = new Output_stream(alarms_name.c_str(), "log", nullptr, nullptr);
    alarms->filters[0] = alarm;
    if (!all->OK() || !alarms->OK()) {
        std::fprintf(stderr, "cannot write %s or %s\n", all_name.c_str(), alarms_name.c_str());
        Output_stream::Close_all();
        return 1;
    }

    Input_file input(input_name.c_str());
    input.Associate_output(all);  // error records go into all.xml as <Error>
    const bool read = input.Process();
    Output_stream::Close_all();  // closing tags written, files closed
    std::printf("wrote %s and %s\n", all_name.c_str(), alarms_name.c_str());
    return read ? 0 : 1;
}
