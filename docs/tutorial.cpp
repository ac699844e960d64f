// The tutorial's program; docs/tutorial.md shows it piece by piece. It reads a
// plant's sensors into structures, reports the document's errors, writes the
// sensors back and logs them to two files by category, and reads the plant on
// two threads at once. It checks every result and exits with 1 when one is
// off, so that the test suite keeps the tutorial's code working. The lines
// "// [name]" mark the pieces the page shows with \snippet.
//
//   tutorial <tutorial.xml> <output directory>
#include <XML/Tessel.hpp>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

// [structure]
enum class Kind { pressure, temperature };

struct Limits {
    double low, high;
};

struct Sensor {
    long id;
    Kind kind;
    std::string name;
    Limits limits;
    std::vector<double> readings;
    bool alarmed;  // set when the sensor has an <alarm>
    long alarm;
};
// [structure]

// [tables]
using namespace Tessel;

// Attributes: each entry reads and writes one attribute of a <sensor>.
const Value_entry<Kind> kind_names[] = {{"pressure", Kind::pressure}, {"temperature", Kind::temperature}};
const Value_hash<Kind> kinds(kind_names);
const Attrib::Entry<Sensor> id_attr("id", Get_Access<Sensor, long>(Access::GetSet(&Sensor::id)));
const Attrib::Entry<Sensor> kind_attr("kind",
                                      Get_Access<Sensor, Kind>(Access::GetSet(&Sensor::kind), kinds));
const Attrib::Attrib_Table<Sensor> sensor_attr_rows[] = {{id_attr}, {kind_attr}};
const Attrib::Attrib_Hash<Sensor> sensor_attrs(sensor_attr_rows);

// Children: one row per child element, each row in braces.
const Subelement_table<Limits> limits_rows[] = {{Subelement(&Limits::low, "low", "%.2d")},
                                                {Subelement(&Limits::high, "high", "%.2d")}};
const Info<Limits> limits_info("limits", limits_rows);

const Subelement_table<Sensor> sensor_rows[] = {
    {Subelement(&Sensor::name, "name")},
    {Subelement(limits_info).Of(&Sensor::limits)},
    {Subelement(&Sensor::readings, "r", "%.2d")},  // every <r>, in order
    {Subelement(&Sensor::alarm, "alarm").If(&Sensor::alarmed, true)},
};

// How XML_Write writes a Sensor: a <sensor>, from the same tables.
template <>
const Info<Sensor> Info<Sensor>::info("sensor", sensor_rows, sensor_attrs);
// [tables]

// [input]
// An input file that keeps the sensors it reads and the error records of its parse.
struct Plant_file : Input_file {
    using Input_file::Input_file;
    std::vector<Sensor> sensors;
    std::vector<std::string> errors;

    void Error_handler(const Error_info& info) override {
        errors.push_back(std::string(info.msg ? info.msg : "") + " (line " + std::to_string(info.line) + ")");
        Input_file::Error_handler(info);  // prints it, and writes it to the output file if there is one
    }
};
// [input]

// [descriptors]
// The descriptor of <sensor>: Finalize checks each sensor read, Commit keeps it.
struct Sensor_info : Info<Sensor> {
    using Info<Sensor>::Info;
    bool Finalize(Sensor& sensor, Input_data& input) const override {
        if (sensor.limits.low <= sensor.limits.high) return true;
        input.Error_handler("Sensor %ld: low limit above high limit", XML_PARSER_SEVERITY_VALIDITY_ERROR,
                            nullptr, sensor.id);
        return false;  // the sensor is not committed
    }
    bool Commit(Sensor& sensor, Input_data& input) const override {
        static_cast<Plant_file&>(input).sensors.push_back(sensor);  // every input here is a Plant_file
        return true;
    }
};

// Registered by their paths: <plant> at the top, <sensor> inside it.
const Info<void> plant_element("/plant");
const Sensor_info sensor_element("/plant/sensor", sensor_rows, sensor_attrs);
// [descriptors]

// [log]
const Filter normal = 0x1, alarm = 0x2;  // the categories of sensor records

// Logs a sensor to every stream whose filters take its category.
void Log(const Sensor& sensor) {
    xmlNodePtr node = XML_Write(sensor);
    XML_Log(node, sensor.alarmed ? alarm : normal);  // node is freed, and null now
}
// [log]

// [callback]
// Whether any filter list takes normal records. FilterList::Changed() calls the
// callback with the union of all lists whenever that union changes.
std::atomic<bool> normal_wanted{false};
void Master_changed(const FilterList& master) { normal_wanted = master.Check(normal); }
const FilterChangeCallback watch(Master_changed);
// [callback]

int failures = 0;

// Reports a result that is not what the tutorial says.
void Check(bool ok, const char* what) {
    if (ok) return;
    std::fprintf(stderr, "tutorial: wrong: %s\n", what);
    ++failures;
}

// Whether values are the expected numbers, to within rounding.
bool Same(const std::vector<double>& values, std::initializer_list<double> expected) {
    if (values.size() != expected.size()) return false;
    const double* want = expected.begin();
    for (double value : values)
        if (std::fabs(value - *want++) > 1e-9) return false;
    return true;
}

// Whether text contains part.
bool Has(const std::string& text, const char* part) { return text.find(part) != std::string::npos; }

// The element as libxml2 serialises it.
std::string Text_of(xmlNodePtr node) {
    xmlBufferPtr buffer = xmlBufferCreate();
    xmlNodeDump(buffer, nullptr, node, 0, 0);
    std::string text(reinterpret_cast<const char*>(xmlBufferContent(buffer)));
    xmlBufferFree(buffer);
    return text;
}

// The number of elements called name directly inside the root element of a file; -1 if unreadable.
int Count(const std::string& file, const char* name) {
    xmlDocPtr doc = xmlReadFile(file.c_str(), nullptr, 0);
    if (!doc) return -1;
    int count = 0;
    for (xmlNodePtr node = xmlDocGetRootElement(doc)->children; node; node = node->next)
        if (node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, BAD_CAST name)) ++count;
    xmlFreeDoc(doc);
    return count;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: tutorial <tutorial.xml> <output directory>\n");
        return 2;
    }
    const char* document = argv[1];
    const std::string dir = argv[2];

    // [read]
    Plant_file first(document);
    const bool first_read = first.Process();
    // [read]
    Check(!first_read, "the first read stops at the bad reading");
    Check(first.sensors.size() == 2 && first.errors.size() == 1, "the first read keeps sensors 1 and 2");
    if (first.sensors.size() == 2) {
        const Sensor& drum = first.sensors[1];
        Check(drum.id == 2 && drum.kind == Kind::pressure && drum.name == "Boiler drum", "sensor 2's attributes");
        Check(Same({drum.limits.low, drum.limits.high}, {1, 8}), "sensor 2's limits");
        Check(Same(drum.readings, {4.75, 5.20, 9.90}) && drum.alarmed && drum.alarm == 2, "sensor 2's readings");
        // The DTD's default gives sensor 1 its kind.
        Check(first.sensors[0].kind == Kind::temperature && !first.sensors[0].alarmed, "sensor 1's defaults");
    }
    if (!first.errors.empty()) Check(Has(first.errors[0], "Bad character 'x'"), "the record names the bad text");

    // [errors]
    Plant_file second(document);
    second.abort_on_error = false;  // go on after an error: only the element holding it fails
    const bool second_read = second.Process();
    // [errors]
    Check(second_read, "the second read goes to the end");
    Check(second.sensors.size() == 3 && second.errors.size() == 2, "the second read keeps sensors 1 to 3");
    if (second.sensors.size() == 3)
        Check(Same(second.sensors[2].readings, {180.00, 181.50}), "sensor 3 lost its bad reading only");
    if (second.errors.size() == 2)
        Check(Has(second.errors[1], "Sensor 4: low limit above high limit"), "Finalize's record");
    if (second.sensors.size() != 3) return 1;

    // [write]
    xmlNodePtr node = XML_Write(second.sensors[1]);
    const std::string written = Text_of(node);
    xmlFreeNode(node);
    // [write]
    Check(written ==
              "<sensor id=\"2\" kind=\"pressure\"><name>Boiler drum</name>"
              "<limits><low>1.00</low><high>8.00</high></limits>"
              "<r>4.75</r><r>5.20</r><r>9.90</r><alarm>2</alarm></sensor>",
          "XML_Write writes sensor 2 as it was read");

    // [streams]
    Output_stream* all = new Output_stream((dir + "/all.xml").c_str(), "log", nullptr, nullptr);
    all->filters[0] = normal | alarm | error_filter;  // and the error records of inputs that write here
    Output_stream* alarms = new Output_stream((dir + "/alarms.xml").c_str(), "log", nullptr, nullptr);
    alarms->filters[0] = alarm;
    FilterList::Changed();  // tells the callback of the new filters

    for (const Sensor& sensor : second.sensors) Log(sensor);
    // [streams]
    Check(all->OK() && alarms->OK(), "the log files are open");
    Check(normal_wanted, "all.xml takes normal records");

    // [filters]
    all->filters.Set(0, alarm | error_filter);  // all.xml takes no more normal records
    FilterList::Changed();                      // no list takes them now: normal_wanted is false
    for (const Sensor& sensor : second.sensors)
        if (sensor.alarmed || normal_wanted) Log(sensor);  // builds no record that nobody takes
    all->filters.Set(0, normal | alarm | error_filter);
    FilterList::Changed();
    // [filters]
    Check(normal_wanted, "the callback saw normal records taken again");

    // [threads]
    Plant_file east(document), west(document);
    bool east_read = false, west_read = false;
    auto read_and_log = [all](Plant_file& input, bool& read) {
        input.abort_on_error = false;
        input.Associate_output(all);  // error records go into all.xml as <Error>
        read = input.Process();
        for (const Sensor& sensor : input.sensors) Log(sensor);
    };
    std::thread east_thread(read_and_log, std::ref(east), std::ref(east_read));
    std::thread west_thread(read_and_log, std::ref(west), std::ref(west_read));
    east_thread.join();
    west_thread.join();
    Output_stream::Close_all();  // closing tags written, files closed, streams deleted
    // [threads]
    Check(east_read && west_read && east.sensors.size() == 3 && west.sensors.size() == 3,
          "each thread reads sensors 1 to 3");
    Check(east.errors.size() == 2 && west.errors.size() == 2, "each thread meets both errors");

    // all.xml: sensors 1 to 3, then 2 alone, then 1 to 3 from each thread, and the threads' 4 error records.
    Check(Count(dir + "/all.xml", "sensor") == 10 && Count(dir + "/all.xml", "Error") == 4, "all.xml's records");
    Check(Count(dir + "/alarms.xml", "sensor") == 4 && Count(dir + "/alarms.xml", "Error") == 0,
          "alarms.xml holds sensor 2 four times");

    if (failures == 0) std::printf("tutorial: every result as described\n");
    return failures == 0 ? 0 : 1;
}
