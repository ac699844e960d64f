// Each allocation through operator new of parsing, registering, writing and
// logging fails in turn: std::bad_alloc must reach the caller, and afterwards
// the chains walk, no file stays open, and the same work gives the same result
// (and, under LeakSanitizer, nothing leaks).
#include "XML/Tessel.hpp"

#include "support/recording.hpp"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <new>
#include <optional>

using namespace Tessel;
using namespace Tessel_test;

namespace {

// The allocations made so far; the number of the one to fail (0: none, -1: a
// nothrow one has failed).
long allocations = 0, failing = 0;

void* Allocate(std::size_t size, std::size_t align, bool nothrow) {
    const bool fail = ++allocations == failing;
    if (fail) failing = nothrow ? -1 : 0;
    void* block = fail    ? nullptr
                  : align ? std::aligned_alloc(align, (size / align + 1) * align)
                          : std::malloc(size + 1);
    if (!block && !nothrow) throw std::bad_alloc();
    return block;
}

struct Part {
    long n;
    std::string name;
};
struct Unit {
    long id;
    std::vector<Part> parts;
    std::vector<long> values;
    std::optional<std::string> note;
};

std::string seen;  // every unit committed and every error record, as XML

struct Unit_info : Info<Unit> {
    using Info<Unit>::Info;
    bool Commit(Unit& unit, Input_data&) const override { return seen += Dump(XML_Write(unit)), true; }
};
struct Recording_file : Input_file {
    using Input_file::Input_file;
    void Error_handler(const Error_info& info) override { seen += Dump(XML_Write(info)); }
};

// A unit: its id attribute, parts with an attribute and a string as text,
// repeated numbers and an optional note.
const Attrib::Entry<Part> n_attr("n", Get_Access<Part, long>(Access::GetSet(&Part::n)));
const Attrib::Attrib_Table<Part> part_attr_rows[] = {{n_attr}};
const Attrib::Attrib_Hash<Part> part_attrs(part_attr_rows);
const Info<Part> part_info("part", Get_Access<Part, std::string>(Access::GetSet(&Part::name)), part_attrs);
const Attrib::Entry<Unit> id_attr("id", Get_Access<Unit, long>(Access::GetSet(&Unit::id)));
const Attrib::Attrib_Table<Unit> unit_attr_rows[] = {{id_attr}};
const Attrib::Attrib_Hash<Unit> unit_attrs(unit_attr_rows);
const Subelement_table<Unit> unit_rows[] = {{Subelement(part_info).Of(&Unit::parts)},
                                            {Subelement(&Unit::values, "v")},
                                            {Subelement(&Unit::note, "note")}};
const Info<void> log_info("/log");
const Unit_info unit_info("/log/unit", unit_rows, unit_attrs);
}  // namespace
template <>
const Info<Unit> Info<Unit>::info("unit", unit_rows, unit_attrs);
namespace {

// Descriptors of a function's own, the child built first, their tables built
// on first use. One row: GCC 12 leaves the rows of an array built before one
// that throws undestroyed.
struct Local {
    const Attrib::Entry<Unit> id{"id", Get_Access<Unit, long>(Access::GetSet(&Unit::id))};
    const Attrib::Attrib_Table<Unit> attr_rows[1] = {{id}};
    const Attrib::Attrib_Hash<Unit> attrs{attr_rows};
    const Subelement_table<Unit> rows[1] = {{Subelement(part_info).Of(&Unit::parts)}};
    const Unit_info inner{"/local/unit", rows, attrs};
    const Unit_info outer{"/local", unit_rows, attrs};
};
std::optional<Local> local;

// Parses a document (with the local descriptors, made if they are not there);
// the result, then what was seen.
std::string Parse(const char* name, bool abort_on_error, bool with_local = false) {
    if (with_local && !local) local.emplace();
    seen.clear();
    Recording_file input(Path(name).c_str());
    input.abort_on_error = abort_on_error;
    return (input.Process() ? "ok " : "failed ") + seen;
}

// A unit written into a log stream, and offered to two: one takes 0x1 and 0x2
// on channel 0 (and on channels beyond its four), the other 0x2 on channel 5.
// A filter list is grown, copied and assigned on the way, so that each of
// their allocations fails too.
std::string Write_and_log() {
    // Closes every stream, also when an allocation throws.
    const std::unique_ptr<void, void (*)(void*)> closing(&seen, [](void*) { Output_stream::Close_all(); });
    Output_stream* all = new Output_stream(Path("all.xml").c_str(), "log", nullptr, nullptr);
    Output_stream* some = new Output_stream(Path("some.xml").c_str(), "log", nullptr, nullptr);
    all->filters[0] = 0x3;
    some->filters[5] = 0x2;  // grows the list
    FilterList copy(some->filters);
    copy = all->filters;
    FilterList::Changed();
    xmlNodePtr node = XML_Write(Unit{1, {{2, "bolt"}}, {4, 5}, "spare"});
    all->Write_node(node);
    for (unsigned channel : {0u, 5u, ~0u}) {  // ~0u: any channel; 0x1 on channel 0, 0x2 elsewhere
        node = XML_Write(Unit{channel, {}, {}, {}});
        channel == ~0u ? XML_Log(node, 0x2) : XML_Log(node, channel, channel ? 0x2 : 0x1);
    }
    Output_stream::Close_all();
    return Contents("all.xml") + Contents("some.xml");
}

Filter master_word;  // channel 7 of the master list, as the change callback last saw it
const FilterChangeCallback watch([](const FilterList& master) { master_word = master[7]; });

long Open_descriptors() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

}  // namespace

// Each scenario runs clean twice, counting the allocations of the second run,
// then once with each of them failing, each followed by the checks below and a
// clean run (the local descriptors destroyed before each run but that one).
TEST(AllocationFailure, EachAllocationOfEachScenarioFails) {
    // Good units, then errors of the engine (attribute, text, child); libxml2's
    // (qq is not declared) and a refused external entity; e's text is looked up.
    const char* const documents[][3] = {
        {"mixed.xml", "log",
         R"(<unit id="1"><part n="2">bolt</part><part n="3">nut</part><v>4</v><v>&e;</v><note>spare</note>)"
         R"(</unit><unit id="6"/><unit id="x" zz="1"><v>y</v></unit><unit id="8"><zz/><v>9</v></unit>)"},
        {"refused.xml", "log", R"(<unit id="8"><qq/></unit><unit>&ext;</unit>)"},
        {"local.xml", "local",
         R"(<v>2</v><note>top</note><unit id="3"><part n="5">pin</part><part n="6">nut</part></unit>)"}};
    for (const auto& [name, top, body] : documents)
        std::ofstream(Path(name))
            << Prolog(top + std::string(" unit part v note zz"),
                      R"(<!ATTLIST unit id CDATA #IMPLIED zz CDATA #IMPLIED>)"
                      R"(<!ATTLIST part n CDATA #IMPLIED><!ENTITY a_name_too_long_to_be_short "5">)"
                      R"(<!ENTITY e "&a_name_too_long_to_be_short;"><!ENTITY ext SYSTEM "x">)")
            << body << "</" << top << ">";
    const std::pair<const char*, std::function<std::string()>> scenarios[] = {
        {"parse, abort_on_error set", [] { return Parse("mixed.xml", true) + Parse("refused.xml", true); }},
        {"parse, abort_on_error clear",
         [] { return Parse("mixed.xml", false) + Parse("refused.xml", false); }},
        {"register, then parse through new tables", [] { return Parse("local.xml", false, true); }},
        {"write and log", Write_and_log}};
    for (const auto& [name, scenario] : scenarios) {
        SCOPED_TRACE(name);
        const long descriptors = Open_descriptors();
        local.reset();
        const std::string expected = scenario();
        local.reset();
        const long start = allocations;
        EXPECT_EQ(scenario(), expected);
        const long total = allocations - start;
        for (long n = 1; n <= total && !testing::Test::HasFailure(); ++n) {
            SCOPED_TRACE("failing allocation " + std::to_string(n));
            local.reset();
            failing = allocations + n;
            try {
                scenario();
                EXPECT_NE(failing, 0);  // only a nothrow allocation failed
            } catch (const std::bad_alloc&) {
                EXPECT_EQ(failing, 0);  // the failed allocation threw
            }
            failing = 0;
            EXPECT_EQ(Open_descriptors(), descriptors);
            // A filter list made now reaches the master list and leaves it, a
            // stream made now takes a record and leaves the stream list, and
            // "/local" is registered only while the local descriptors live.
            for (const Filter word : {0x40000000ul, 0ul}) {
                FilterList probe(8);
                probe[7] = word;
                FilterList::Changed();
                EXPECT_EQ(master_word, word);
            }
            (new Output_stream(Path("probe.xml").c_str(), "probe", nullptr, nullptr))->filters[0] = 0x1;
            xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST "p");
            XML_Log(node, 0, 0x1);
            Output_stream::Close_all();
            EXPECT_NE(Contents("probe.xml").find("<probe>\n<p/>\n</probe>\n"), std::string::npos);
            EXPECT_EQ(root.Find(BAD_CAST "local"), local ? &local->outer : nullptr);
            EXPECT_EQ(scenario(), expected);
        }
        local.reset();
        std::printf("%s: %ld allocations failed in turn\n", name, total);
    }
}

// Every form, so that the sanitizers' operators never see these blocks. GCC,
// inlining them, takes them for the built-in ones and warns of free() on new memory.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#define REPLACE_DELETE(...)                                      \
    void operator delete(__VA_ARGS__) noexcept { std::free(p); } \
    void operator delete[](__VA_ARGS__) noexcept { std::free(p); }
// New and delete, each with the parameters given after the size or pointer.
#define REPLACE(nothrow, align, ...)                                                                     \
    void* operator new(size_t n __VA_ARGS__) noexcept(nothrow) { return Allocate(n, align, nothrow); }   \
    void* operator new[](size_t n __VA_ARGS__) noexcept(nothrow) { return Allocate(n, align, nothrow); } \
    REPLACE_DELETE(void* p __VA_ARGS__)
REPLACE(false, 0, )
REPLACE(true, 0, , const std::nothrow_t&)
REPLACE(false, std::size_t(a), , [[maybe_unused]] std::align_val_t a)
REPLACE(true, std::size_t(a), , [[maybe_unused]] std::align_val_t a, const std::nothrow_t&)
REPLACE_DELETE(void* p, std::size_t)
REPLACE_DELETE(void* p, std::size_t, std::align_val_t)
#pragma GCC diagnostic pop
