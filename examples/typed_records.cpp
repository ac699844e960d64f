// Reads a plant's sensor list into application structures through typed
// descriptors, and prints the records and the one error the sample holds.
//
//   example_typed_records [file.xml]
//
// Each <sensor> fills a Sensor: its attributes through an attribute table
// (a decimal id, a state named by a value table), its children through binding
// rows (a "0x" hexadecimal serial, a big-endian bus address, a nested position
// filled in place, a decimal reading, and an optional alarm level that sets a
// flag when present). The sample's last sensor has "4O" for a rack number: the
// error record is printed and, as abort_on_error is set (the default), the
// parse stops there, without committing that sensor. With abort_on_error
// clear, only the element holding the bad text (<rack>) would fail, and the
// parse would go on.
#include <XML/Tessel.hpp>

#include <cstdio>
#include <vector>

using namespace Tessel;

enum State { ok, warn, off };

struct Where {
    long hall, rack;
};

struct Sensor {
    long id;
    State state;
    unsigned long serial;
    BE_ushort bus;  // kept as on the wire: most significant byte first
    Where where;
    double reading;
    bool alarmed;
    long alarm;
};

// Attributes: each entry reads and writes its attribute from and to the whole Sensor.
const Value_entry<State> state_names[] = {{"ok", ok}, {"warn", warn}, {"off", off}};
const Value_hash<State> states(state_names);
const Attrib::Entry<Sensor> id_attr("id", Get_Access<Sensor, long>(Access::GetSet(&Sensor::id)));
const Attrib::Entry<Sensor> state_attr("state",
                                       Get_Access<Sensor, State>(Access::GetSet(&Sensor::state), states));
const Attrib::Attrib_Table<Sensor> sensor_attr_rows[] = {{id_attr}, {state_attr}};
const Attrib::Attrib_Hash<Sensor> sensor_attrs(sensor_attr_rows);

// Children: one row per child element, each row in braces.
const Subelement_table<Where> where_rows[] = {{Subelement(&Where::hall, "hall")},
                                              {Subelement(&Where::rack, "rack")}};
const Info<Where> where_info("where", where_rows);

const Subelement_table<Sensor> sensor_rows[] = {
    {Subelement(&Sensor::serial, "serial", "0x%X")},
    {Subelement(&Sensor::bus, "bus")},  // four hex digits, the field's default
    {Subelement(where_info).Of(&Sensor::where)},
    {Subelement(&Sensor::reading, "reading", "%.2d")},
    {Subelement(&Sensor::alarm, "alarm").If(&Sensor::alarmed, true)},
};

// The descriptor of <sensor>: Commit receives every sensor read without error.
std::vector<Sensor> sensors;
struct Sensor_info : Info<Sensor> {
    using Info<Sensor>::Info;
    bool Commit(Sensor& sensor, Input_data&) const override {
        sensors.push_back(sensor);
        return true;
    }
};

// With a DOCTYPE, the outermost element is looked up beneath the registry's root.
const Info<void> plant_element("/plant");
const Sensor_info sensor_element("/plant/sensor", sensor_rows, sensor_attrs);

// An input file that prints each error record on one line and counts them.
struct Checked_file : Input_file {
    using Input_file::Input_file;
    int errors = 0;
    void Error_handler(const Error_info& info) override {
        ++errors;
        std::printf("error, line %ld: %s\n", info.line, info.msg);
    }
};

int main(int argc, char** argv) {
    const bool sample = argc < 2;
    Checked_file input(sample ? EXAMPLES_DIR "/data/sensors.xml" : argv[1]);
    const bool read = input.Process();

    for (const Sensor& s : sensors)
        std::printf("sensor %ld %s serial 0x%lX bus %04X hall %ld rack %ld reading %.2f%s\n", s.id,
                    state_names[s.state].name, s.serial, static_cast<unsigned short>(s.bus), s.where.hall,
                    s.where.rack, s.reading, s.alarmed ? (" alarm " + std::to_string(s.alarm)).c_str() : "");
    std::printf("%zu sensors, %d error record(s)\n", sensors.size(), input.errors);
    if (!sample) return read ? 0 : 1;
    // The sample: sensors 1 to 3, then the error of sensor 4 ends the parse.
    const bool expected = !read && input.errors == 1 && sensors.size() == 3 && sensors[1].alarmed &&
                          sensors[1].alarm == 3 && sensors[1].state == warn && sensors[2].state == off &&
                          static_cast<unsigned short>(sensors[2].bus) == 0x100 && sensors[2].where.rack == 41;
    return expected ? 0 : 1;
}
