// Members of the types modern structures hold: strings, 64-bit integers,
// booleans, enumerations, repeated elements into vectors, lists into vectors
// and arrays, and optionals; written, read back, and refused when bad.
#include "XML/Tessel.hpp"

#include <gtest/gtest.h>

#include "support/recording.hpp"

#include <array>
#include <optional>
#include <sstream>
#include <string>
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
    std::string tag;
    std::optional<long> rev;
    Mode mode;
    bool active;
    std::vector<int> codes;
    std::string id;
    std::string label;
    int64 total;
    uint64 mask;
    bool on;
    Mode state;
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

template <class T>
std::string Joined(const T& items) {
    std::ostringstream out;
    for (const auto& item : items) out << item << ",";
    return out.str();
}

// Every member, so that a comparison misses none.
std::string Show(const Unit& u) {
    std::ostringstream out;
    out << u.tag << "|" << (u.rev ? std::to_string(*u.rev) : "-") << "|" << int(u.mode) << u.active << "|"
        << Joined(u.codes) << "|" << u.id << "|" << u.label << "|" << u.total << "|" << u.mask << "|" << u.on
        << int(u.state) << "|" << u.first << "|" << Joined(u.readings) << "|" << Joined(u.notes) << "|";
    for (const Part& p : u.parts) out << p.name << "/" << p.count << ",";
    out << "|" << u.comment.value_or("-") << "|"
        << (u.spare ? u.spare->name + "/" + std::to_string(u.spare->count) : "-") << "|" << Joined(u.flags)
        << "|" << Joined(u.levels);
    return out.str();
}

const std::string prolog =
    "<?xml version=\"1.0\"?><!DOCTYPE units [<!ELEMENT units ANY><!ELEMENT unit ANY><!ELEMENT id ANY>"
    "<!ELEMENT label ANY><!ELEMENT total ANY><!ELEMENT mask ANY><!ELEMENT on ANY><!ELEMENT state ANY>"
    "<!ELEMENT r ANY><!ELEMENT note ANY><!ELEMENT part ANY><!ELEMENT comment ANY><!ELEMENT spare ANY>"
    "<!ELEMENT flags ANY><!ELEMENT levels ANY><!ELEMENT zz EMPTY><!ENTITY pump \"pump &#38;amp; valve\">"
    "<!ATTLIST unit tag CDATA #IMPLIED rev CDATA #IMPLIED mode CDATA #IMPLIED active CDATA #IMPLIED codes "
    "CDATA #IMPLIED>"
    "<!ATTLIST part count CDATA #IMPLIED><!ATTLIST spare count CDATA #IMPLIED>]><units>";

// Reads the units of prolog + body + "</units>" into committed: "ok " or
// "failed ", then the messages.
std::string Read(const std::string& body, bool abort_on_error = true) {
    const std::string document = prolog + body + "</units>";
    Recording<Input_data> input(Reader_for(document));
    input.abort_on_error = abort_on_error;
    committed.clear();
    const bool ok = input.Process();
    return (ok ? "ok " : "failed ") + input.messages;
}

std::string Written(const Unit& unit) {
    xmlNodePtr node = unit_info.Write(unit);
    xmlBufferPtr buffer = xmlBufferCreate();
    xmlNodeDump(buffer, nullptr, node, 0, 0);
    std::string text = reinterpret_cast<const char*>(xmlBufferContent(buffer));
    xmlBufferFree(buffer);
    xmlFreeNode(node);
    return text;
}

}  // namespace

// A unit with every member set and one with the optionals and vectors empty
// are written and read back unchanged; an empty optional or repeated vector
// writes nothing, an empty list an empty element.
TEST(Members, WrittenUnitsReadBack) {
    // clang-format off
    const Unit full{"A&<\"'>", 3, Mode::manual, true, {1, -2, 3}, "42", "pump & valve <3> \"\xC3\xA9\"",
                    INT64_MIN, UINT64_MAX, true, Mode::automatic, 9, {-1, 12345678901}, {"first note", "x"},
                    {{"bolt", 2}, {"nut", 5}}, "a comment", Part{"spare part", 1}, {1, 0, 1, 1}, {0.5, -2.0}};
    const Unit empty{"", std::nullopt, Mode::off, false, {}, "", "", INT64_MAX, 0, false, Mode::off, -7, {}, {}, {},
                     std::nullopt, std::nullopt, {0, 0, 0, 0}, {}};
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
    EXPECT_EQ(Show(committed[0]), Show(full));
    EXPECT_EQ(Show(committed[1]), Show(empty));
}

// A string is the element's whole text: trimmed at both ends, everything
// between kept, split texts joined, references replaced, and the format's
// prefix taken off.
TEST(Members, StringsAreTheWholeText) {
    const struct {
        const char* body;
        std::string Unit::*member;
        const char* value;
    } cases[] = {
        {"<label>  a  b\n c  </label>", &Unit::label, "a  b\n c"},
        {"<label>a <!-- note --> b</label>", &Unit::label, "a  b"},
        {"<label>x <![CDATA[<y> & z]]> w</label>", &Unit::label, "x <y> & z w"},
        {"<label> &amp;&lt;&quot;&#233;&pump; </label>", &Unit::label, "&<\"\xC3\xA9pump & valve"},
        {"<label/>", &Unit::label, ""},
        {"<label>   </label>", &Unit::label, ""},
        {"<id> id-7 </id>", &Unit::id, "7"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        EXPECT_EQ(Read(std::string("<unit>") + c.body + "</unit>"), "ok ");
        ASSERT_EQ(committed.size(), 1u);
        EXPECT_EQ(committed[0].*c.member, c.value);
    }
}

// Each bad value is one clear record and leaves its member as it was (the
// members start at zero, empty or disengaged); the unit is still committed
// with abort_on_error clear.
TEST(Members, BadValuesAreRecordedAndChangeNothing) {
    const struct {
        const char* body;
        const char* messages;
    } cases[] = {
        {"<total>9223372036854775808</total>",
         "Bad TEXT/CDATA for total: \"9223372036854775808\":Value out of range: beyond a signed 64-bit "
         "integer:0 items read|"},
        {"<total>-9223372036854775809</total>",
         "Bad TEXT/CDATA for total: \"-9223372036854775809\":Value out of range: beyond a signed 64-bit "
         "integer:0 items read|"},
        {"<flags>1 0 1</flags>",
         "Bad TEXT/CDATA for flags: \"1 0 1\":Expected 4 items, found 3:0 items read|"},
        {"<flags>1 0 1 1 1</flags>",
         "Bad TEXT/CDATA for flags: \"1 0 1 1 1\":Expected 4 items, found more:0 items read|"},
        {"<flags>1 x 1 1</flags>",
         "Bad TEXT/CDATA for flags: \"1 x 1 1\":Bad item \"x\": Bad character 'x':0 items read|"},
        {"<levels>1.5 2x</levels>",
         "Bad TEXT/CDATA for levels: \"1.5 2x\":Bad item \"2x\": \"x\" left over:0 items read|"},
        {"<on>maybe</on>", "Bad TEXT/CDATA for on: \"maybe\":Unknown name \"maybe\":0 items read|"},
        {"<state>broken</state>",
         "Bad TEXT/CDATA for state: \"broken\":Unknown name \"broken\":0 items read|"},
        {"<id>42</id>",
         "Bad TEXT/CDATA for id: \"42\":Prefix mismatch: want \"id-\", had \"42\":0 items read|"},
        // An element that fails is neither appended nor stored (an unknown
        // child is passed over without a record when abort_on_error is clear).
        {"<r>0</r><r>x</r><part>bolt<zz/></part><spare>s<zz/></spare><comment>a<zz/></comment>",
         "Bad TEXT/CDATA for r: \"x\":Bad character 'x':0 items read|"},
    };
    const std::string untouched = Show(Unit{});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        EXPECT_EQ(Read(std::string("<unit mode=\"broken\" active=\"maybe\">") + c.body + "</unit>", false),
                  std::string("ok Error reading attrib \"mode\"=\"broken\" for unit: Unknown name \"broken\"|"
                              "Error reading attrib \"active\"=\"maybe\" for unit: Unknown name \"maybe\"|") +
                      c.messages);
        ASSERT_EQ(committed.size(), 1u);
        EXPECT_EQ(Show(committed[0]), untouched);
    }
}

// A string that is not UTF-8 is written as it stands, after a warning.
TEST(Members, TextThatIsNotUtf8IsWrittenAfterAWarning) {
    Unit unit{};
    unit.label = "bad \xFF byte";
    testing::internal::CaptureStderr();
    xmlNodePtr node = unit_info.Write(unit);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("content err\n"), std::string::npos);
    xmlChar* label = xmlNodeGetContent(node->children->next);
    EXPECT_STREQ(reinterpret_cast<const char*>(label), "bad \xFF byte");
    xmlFree(label);
    xmlFreeNode(node);
}
