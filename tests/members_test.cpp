// Members of the types modern structures hold: strings, 64-bit integers,
// booleans, enumerations, repeated elements into vectors, lists into vectors
// and arrays, and optionals; written, read back, and refused when bad.
#include "XML/Tessel.hpp"

#include <gtest/gtest.h>

#include "support/recording.hpp"

#include <array>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

using namespace Tessel;
using namespace Tessel_test;

namespace {

enum class Mode { off, automatic, manual };
const Value_entry<Mode> mode_rows[] = {
    {"off", Mode::off}, {"auto", Mode::automatic}, {"manual", Mode::manual}};
const Value_hash<Mode> modes(mode_rows);

// <part count="2">bolt &amp; nut</part>: a string as an element's text.
struct Part {
    std::string name;
    long count;
};
struct Unit {
    std::string tag, id, label;
    std::optional<long> rev;
    Mode mode, state;
    bool active, on;
    std::vector<int> codes;
    int64 total;
    uint64 mask;
    long first;
    std::vector<long> readings;
    std::vector<std::string> notes;
    std::vector<Part> parts;
    std::optional<std::string> comment;
    std::optional<Part> spare;
    std::array<int, 4> flags;
    std::vector<double> levels;
};

const Attrib::Entry<Part> count_attr("count", Get_Access<Part, long>(Access::GetSet(&Part::count)));
const Attrib::Attrib_Table<Part> part_attr_rows[] = {{count_attr}};
const Attrib::Attrib_Hash<Part> part_attrs(part_attr_rows);
const Info<Part> part_info("part", Get_Access<Part, std::string>(Access::GetSet(&Part::name)), part_attrs);
const Info<Part> spare_info("spare", Get_Access<Part, std::string>(Access::GetSet(&Part::name)), part_attrs);

const Attrib::Entry<Unit> tag_attr("tag", Get_Access<Unit, std::string>(Access::GetSet(&Unit::tag)));
const Attrib::Entry<Unit> rev_attr("rev", Get_Access<Unit, std::optional<long>>(Access::GetSet(&Unit::rev)));
const Attrib::Entry<Unit> mode_attr("mode", Get_Access<Unit, Mode>(Access::GetSet(&Unit::mode), modes));
const Attrib::Entry<Unit> active_attr("active", Get_Access<Unit, bool>(Access::GetSet(&Unit::active)));
const Attrib::Entry<Unit> codes_attr("codes",
                                     Get_Access<Unit, std::vector<int>>(Access::GetSet(&Unit::codes)));
const Attrib::Attrib_Table<Unit> unit_attr_rows[] = {
    {tag_attr}, {rev_attr}, {mode_attr}, {active_attr}, {codes_attr}};
const Attrib::Attrib_Hash<Unit> unit_attrs(unit_attr_rows);

const Subelement_table<Unit> unit_rows[] = {
    {Subelement(&Unit::id, "id", "id-%s")},
    {Subelement(&Unit::label, "label")},
    {Subelement(&Unit::total, "total")},
    {Subelement(&Unit::mask, "mask", "%016X")},
    {Subelement(&Unit::on, "on")},
    {Subelement(&Unit::state, "state", modes)},
    {Subelement(&Unit::first, "r")},     // the first <r>
    {Subelement(&Unit::readings, "r")},  // every later one
    {Subelement(&Unit::notes, "note")},
    {Subelement(part_info).Of(&Unit::parts)},
    {Subelement(&Unit::comment, "comment")},
    {Subelement(spare_info).Of(&Unit::spare)},
    {Subelement_list(&Unit::flags, "flags")},
    {Subelement_list(&Unit::levels, "levels", "%.1d")},
};

std::vector<Unit> committed;

struct Collecting : Info<Unit> {
    using Info<Unit>::Info;
    bool Commit(Unit& unit, Input_data&) const override {
        committed.push_back(unit);
        return true;
    }
};
const Info<void> units_info("/units");
const Collecting unit_info("/units/unit", unit_rows, unit_attrs);

bool operator==(const Part& a, const Part& b) { return a.name == b.name && a.count == b.count; }

// Every member, so that a comparison misses none.
auto Members_of(const Unit& u) {
    return std::tie(u.tag, u.id, u.label, u.rev, u.mode, u.state, u.active, u.on, u.codes, u.total, u.mask,
                    u.first, u.readings, u.notes, u.parts, u.comment, u.spare, u.flags, u.levels);
}

const std::string prolog =
    "<?xml version=\"1.0\"?><!DOCTYPE units [<!ELEMENT units ANY><!ELEMENT unit ANY><!ELEMENT id ANY>"
    "<!ELEMENT label ANY><!ELEMENT total ANY><!ELEMENT mask ANY><!ELEMENT on ANY><!ELEMENT state ANY>"
    "<!ELEMENT r ANY><!ELEMENT note ANY><!ELEMENT part ANY><!ELEMENT comment ANY><!ELEMENT spare ANY>"
    "<!ELEMENT flags ANY><!ELEMENT levels ANY><!ELEMENT zz EMPTY><!ENTITY pump \"pump &#38;amp; valve\">"
    "<!ATTLIST unit tag CDATA #IMPLIED rev CDATA #IMPLIED mode CDATA #IMPLIED active CDATA #IMPLIED codes "
    "CDATA #IMPLIED><!ATTLIST part count CDATA #IMPLIED><!ATTLIST spare count CDATA #IMPLIED>]><units>";

// Reads the units of prolog + body + "</units>" into committed: "ok " or
// "failed ", then the messages.
std::string Read(const std::string& body, bool abort_on_error = true) {
    committed.clear();
    return Processed(prolog + body + "</units>", abort_on_error);
}

std::string Written(const Unit& unit) { return Dump(unit_info.Write(unit)); }

}  // namespace

// A unit with every member set and one with the optionals and vectors empty
// are written and read back unchanged; an empty optional or repeated vector
// writes nothing, an empty list an empty element.
TEST(Members, WrittenUnitsReadBack) {
    // clang-format off
    const Unit full{"A&<\"'>", "42", "pump & valve <3> \"\xC3\xA9\"", 3, Mode::manual, Mode::automatic, true,
                    true, {1, -2, 3}, INT64_MIN, UINT64_MAX, 9, {-1, 12345678901}, {"first note", "x"},
                    {{"bolt", 2}, {"nut", 5}}, "a comment", Part{"spare part", 1}, {1, 0, 1, 1}, {0.5, -2.0}};
    const Unit empty{"", "", "", std::nullopt, Mode::off, Mode::off, false, false, {}, INT64_MAX, 0, -7, {},
                     {}, {}, std::nullopt, std::nullopt, {0, 0, 0, 0}, {}};
    // clang-format on
    const std::string full_text = Written(full), empty_text = Written(empty);
    for (const char* part :
         {"<mask>FFFFFFFFFFFFFFFF</mask>", "<on>true</on>", "<state>auto</state>",
          "<r>9</r><r>-1</r><r>12345678901</r>", "<id>id-42</id>", "<flags>1 0 1 1</flags>",
          "<levels>0.5 -2.0</levels>", "<part count=\"2\">bolt</part><part count=\"5\">nut</part>",
          " active=\"true\"", " mode=\"manual\"", " codes=\"1 -2 3\""})
        EXPECT_NE(full_text.find(part), std::string::npos) << part << " in " << full_text;
    for (const char* absent : {"rev=", "<note", "<part", "<comment", "<spare"})
        EXPECT_EQ(empty_text.find(absent), std::string::npos) << absent << " in " << empty_text;

    EXPECT_EQ(Read(full_text + empty_text), "ok ");
    ASSERT_EQ(committed.size(), 2u);
    EXPECT_EQ(Members_of(committed[0]), Members_of(full));
    EXPECT_EQ(Members_of(committed[1]), Members_of(empty));

    // A string that is not UTF-8 is written as it stands, after a warning.
    Unit bad = empty;
    bad.label = "bad \xFF byte";
    testing::internal::CaptureStderr();
    EXPECT_NE(Written(bad).find("<label>bad \xFF byte</label>"), std::string::npos);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "content err\n");
}

// A string is the element's whole text: trimmed at both ends, everything
// between kept, split texts joined, references replaced, and the format's
// prefix taken off.
TEST(Members, StringsAreTheWholeText) {
    const std::tuple<const char*, std::string Unit::*, const char*> cases[] = {
        {"<label>  a  b\n c  </label>", &Unit::label, "a  b\n c"},
        {"<label>a <!-- note --> b</label>", &Unit::label, "a  b"},
        {"<label>x <![CDATA[<y> & z]]> w</label>", &Unit::label, "x <y> & z w"},
        {"<label> &amp;&lt;&quot;&#233;&pump; </label>", &Unit::label, "&<\"\xC3\xA9pump & valve"},
        {"<label/>", &Unit::label, ""},
        {"<label>   </label>", &Unit::label, ""},
        {"<id> id-7 </id>", &Unit::id, "7"},
    };
    for (const auto& [body, member, value] : cases) {
        SCOPED_TRACE(body);
        EXPECT_EQ(Read(std::string("<unit>") + body + "</unit>"), "ok ");
        ASSERT_EQ(committed.size(), 1u);
        EXPECT_EQ(committed[0].*member, value);
    }
}

// Each bad value is one clear record and leaves its member as it was (the
// members start at zero, empty or disengaged); the unit is still committed
// with abort_on_error clear. An element that fails is neither appended nor
// stored: a bad <r> follows a good first one, so that it is a reading, and
// every unit ends in a part, a spare and a comment with an unknown child
// (passed over without a record when abort_on_error is clear). Each other
// bad element is the unit's first child, so that <levels> is first compared
// with <label>, the tag after the first row's, which starts alike.
TEST(Members, BadValuesAreRecordedAndChangeNothing) {
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"total", "9223372036854775808", "Value out of range: beyond a signed 64-bit integer"},
        {"total", "-9223372036854775809", "Value out of range: beyond a signed 64-bit integer"},
        {"flags", "1 0 1", "Expected 4 items, found 3"},
        {"flags", "1 0 1 1 1", "Expected 4 items, found more"},
        {"flags", "1 x 1 1", "Bad item \"x\": Bad character 'x'"},
        {"levels", "1.5 2x", "Bad item \"2x\": \"x\" left over"},
        {"on", "maybe", "Unknown name \"maybe\""},
        {"state", "broken", "Unknown name \"broken\""},
        {"id", "42", "Prefix mismatch: want \"id-\", had \"42\""},
        {"r", "x", "Bad character 'x'"},
    };
    const std::string attributes =
        "ok Error reading attrib \"mode\"=\"broken\" for unit: Unknown name \"broken\"|"
        "Error reading attrib \"active\"=\"maybe\" for unit: Unknown name \"maybe\"|";
    const Unit untouched{};
    for (const auto& [element, value, why] : cases) {
        SCOPED_TRACE(element + " " + value);
        const std::string first_r = element == "r" ? "<r>0</r>" : "";
        EXPECT_EQ(
            Read("<unit mode=\"broken\" active=\"maybe\">" + first_r + "<" + element + ">" + value + "</" +
                     element + "><part>bolt<zz/></part><spare>s<zz/></spare><comment>a<zz/></comment></unit>",
                 false),
            attributes + "Bad TEXT/CDATA for " + element + ": \"" + value + "\":" + why + ":0 items read|");
        ASSERT_EQ(committed.size(), 1u);
        EXPECT_EQ(Members_of(committed[0]), Members_of(untouched));
    }
}
