// Documents read into application structures through typed descriptors:
// attributes, nested and nameless structures, conditions, bit-fields, repeated
// tags, the registry fallback, and the records of bad input. Then the members
// of the types modern structures hold: strings, 64-bit integers, booleans,
// enumerations, repeated elements into vectors, lists into vectors and arrays,
// and optionals; written, read back, and refused when bad.
#include "XML/Tessel.hpp"

#include "support/recording.hpp"

#include <array>
#include <atomic>
#include <mutex>
#include <optional>
#include <thread>
#include <tuple>

using namespace Tessel;
using namespace Tessel_test;

namespace {

// Two numbers: the rec's position, and members that a nameless descriptor reads as children of rec.
struct Pair {
    long a, b;
};
struct Rec {
    long id, seq, alarm, v[2], note;
    unsigned long kind, addr;
    Pair pos, extra;
    bool alarmed;
    unsigned lo : 4, hi : 4;
    BE_ushort be;
    const char* label;
};
struct Log {
    Rec rec;
};
Define_Bitfield(lo);
Define_Bitfield(hi);

// Manipulators of an application's own: the two elements of Rec::v.
template <int I>
struct V_element : Access::GetSet_nocopy {
    long& Get(Rec& r) const { return r.v[I]; }
    const long& Get(const Rec& r) const { return r.v[I]; }
    void Set(const long& x, Rec& r) const { r.v[I] = x; }
    V_element* Clone() const { return new V_element; }
};

const Value_entry<unsigned long> kind_names[] = {{"cold", 0}, {"hot", 1}};
const Value_hash<unsigned long> kinds(kind_names);
const Attrib::Entry<Rec> id_attr("id", Get_Access<Rec, long>(Access::GetSet(&Rec::id)));
const Attrib::Entry<Rec> kind_attr("kind", Get_Access<Rec, unsigned long>(Access::GetSet(&Rec::kind), kinds));
const Attrib::Attrib_Table<Rec> rec_attr_rows[] = {{id_attr}, {kind_attr}};
const Attrib::Attrib_Hash<Rec> rec_attrs(rec_attr_rows);

// A nameless descriptor inside a nameless descriptor: a and b become children of rec.
const Subelement_table<Pair> pos_rows[] = {{Subelement(&Pair::a, "x")}, {Subelement(&Pair::b, "y")}},
                             extra_rows[] = {{Subelement(&Pair::a, "a")}, {Subelement(&Pair::b, "b")}};
const Info<Pair> pos_info("pos", pos_rows), extra_inner("", extra_rows);
const Subelement_table<Pair> extra_outer_rows[] = {{Subelement(extra_inner)}};
const Info<Pair> extra_outer("", extra_outer_rows);

const Subelement_table<Rec> rec_rows[] = {
    {Subelement(&Rec::seq, "seq")},
    {Subelement(&Rec::addr, "addr", "0x%X")},
    {Subelement(pos_info).Of(&Rec::pos)},
    {Subelement(&Rec::alarm, "alarm").If(&Rec::alarmed, true)},
    {SubelementBitfield(Rec, lo, "lo")},
    {SubelementBitfield(Rec, hi, "hi", "%X")},
    {Subelement(&Rec::be, "be")},
    {Subelement<Rec, long>(new V_element<0>, "v")},  // the first <v> of a rec
    {Subelement<Rec, long>(new V_element<1>, "v")},  // the second; a third goes to the registry
    {Subelement(extra_outer).Of(&Rec::extra)},
    {Subelement(&Rec::note, "note").IfNot(&Rec::label, static_cast<const char*>(nullptr))}};

std::vector<std::string> committed;  // what the Commit overrides saw, in order
std::mutex committed_mutex;          // parses on several threads commit at once

std::string Show(const Rec& r) {
    char text[300];
    snprintf(text, sizeof text, "rec %ld %lu %ld %lx %ld,%ld %d:%ld %u/%u %04X %ld,%ld %ld,%ld %s %ld", r.id,
             r.kind, r.seq, r.addr, r.pos.a, r.pos.b, r.alarmed, r.alarm, r.lo, r.hi,
             static_cast<unsigned short>(r.be), r.v[0], r.v[1], r.extra.a, r.extra.b, r.label ? r.label : "-",
             r.note);
    return text;
}
std::string Show(const Log& log) { return "log" + Show(log.rec).substr(3); }
std::string Show(long v) { return "v " + std::to_string(v); }

// Notes every item it commits.
template <class T>
struct Noting : Info<T> {
    using Info<T>::Info;
    bool Commit(T& item, Input_data&) const override {
        const std::lock_guard<std::mutex> lock(committed_mutex);
        return committed.push_back(Show(item)), true;
    }
};
// Registered beneath the root, but the log's binding for "rec" wins over it.
const Noting<Rec> rec_info("/log/rec", rec_rows, rec_attrs);
const Subelement_table<Log> log_rows[] = {{Subelement(rec_info).Of(&Log::rec)}};
const Noting<Log> log_info("/log", log_rows);
// Takes the <v> elements beyond the rec's two rows.
const Noting<long> extra_v("/log/rec/v", Get_Access<long>());

const std::string prolog = Prolog("log rec seq addr pos x y alarm lo hi be v a b note zz",
                                  "<!ATTLIST rec id CDATA #IMPLIED kind CDATA #IMPLIED zz CDATA #IMPLIED>"
                                  "<!ATTLIST seq u CDATA #IMPLIED>");
const char good_rec[] =
    "<rec id=\"7\" kind=\"hot\"><seq>123456789012</seq><addr>0x1F</addr><pos><x>1</x><y>-2</y></pos>"
    "<alarm>5</alarm><lo>3</lo><hi>A</hi><be>BEEF</be><v>10</v><v>20</v><v>30</v><a>8</a><b>9</b>"
    "<note>4</note></rec>";

// Reads prolog + body + "</log>": "ok " or "failed ", then the messages.
std::string Read(const std::string& body, bool abort_on_error = true, bool trace = false) {
    committed.clear();
    return Processed(prolog + body + "</log>", abort_on_error, trace);
}

}  // namespace

// First parses on several threads at once fill the lazily built tables
// (binding, attribute and value tables) together; ThreadSanitizer checks it
// in CI. Then one parse shows each kind of row read: the third <v> of a rec
// goes to the descriptor registered beneath it.
TEST(Binding, ConcurrentFirstParsesReadEveryKindOfRow) {
    const std::string document = prolog + good_rec + "</log>";
    std::vector<std::thread> threads;
    std::atomic<int> good(0);
    for (int t = 0; t < 4; ++t) threads.emplace_back([&] { good += Processed(document) == "ok "; });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good, 4);
    EXPECT_EQ(rec_info.Tag_count(), 11u);
    EXPECT_EQ(Read(good_rec), "ok ");
    const std::string rec = "7 1 123456789012 1f 1,-2 1:5 3/10 BEEF 10,20 8,9 - 4";
    EXPECT_EQ(committed, (std::vector<std::string>{"v 30", "rec " + rec, "log " + rec}));
}

// Two recs written and read back give back every member (but the label,
// which the note's condition only tests), with the conditional rows present
// in the first and absent from the second. Each element's counters start
// again: the first <v> of every rec takes row one. The log has one rec row,
// so its second rec goes to the descriptor registered beneath it, with a
// fresh scratch item of its own.
TEST(Binding, WrittenRecordsReadBack) {
    Rec first{7, 123456789012, 5, {10, -20}, 4, 1, 0x1F, {1, -2}, {8, 9}, true, 3, 0xA, {{0xBE, 0xEF}}, "x"};
    Rec second{-3, -1, 0, {0, 1}, 0, 0, 0xFFFFFFFF, {0, 0}, {-8, 0}, false, 15, 0, {{1, 2}}, nullptr};
    EXPECT_EQ(Read(Dump(rec_info.Write(first)) + Dump(rec_info.Write(second))), "ok ");
    first.label = nullptr;
    EXPECT_EQ(committed, (std::vector<std::string>{Show(first), Show(second), Show(Log{first})}));
}

// Bad input ends in the engine's record; with abort_on_error clear the log
// is still committed, and its rec shows that a failed read wrote nothing.
TEST(Binding, BadInputRecordsAndUntouchedMembers) {
    // Body, abort_on_error, result ("ok " or "failed ", then the messages),
    // the last commit.
    const std::tuple<const char*, bool, std::string, const char*> cases[] = {
        {"<rec zz=\"1\" kind=\"warm\" id=\"2\"><seq u=\"1\">3</seq></rec>", true,
         "ok Error reading attrib \"zz\"=\"1\" for rec: Unknown attr zz|"
         "Error reading attrib \"kind\"=\"warm\" for rec: Unknown name \"warm\"|Error reading attrib "
         "\"u\"=\"1\" for seq: No attributes for seq\n|",
         "log 2 0 3 0 0,0 0:0 0/0 0000 0,0 0,0 - 0"},
        {"<rec><seq>x12</seq><addr>1F</addr><lo>Z</lo><hi>C</hi></rec>", false,
         "ok Bad TEXT/CDATA for seq: \"x12\":Bad character 'x':0 items read|Bad TEXT/CDATA for addr: \"1F\":"
         "Prefix mismatch: want \"0x\", had \"1F\":0 items read|Bad TEXT/CDATA for lo: \"Z\":Bad character "
         "'Z':0 items read|",
         "log 0 0 0 0 0,0 0:0 0/12 0000 0,0 0,0 - 0"},
        {"<rec><seq>x12</seq><alarm>1</alarm></rec>", true,
         "failed Bad TEXT/CDATA for seq: \"x12\":Bad character 'x':0 items read|", ""},
        {"<rec>5<zz/></rec>", false, "ok Bad TEXT/CDATA for rec: \"5\":No text allowed:0 items read|",
         "log 0 0 0 0 0,0 0:0 0/0 0000 0,0 0,0 - 0"},
        {"<rec><zz/></rec>", true, "failed Bad subelement for rec: zz\n|", ""}};
    for (const auto& [body, abort, result, last_commit] : cases) {
        SCOPED_TRACE(body);
        EXPECT_EQ(Read(body, abort), result);
        EXPECT_EQ(committed.empty() ? "" : committed.back(), last_commit);
    }
}

TEST(Binding, TracesStartAndEndOfEveryTypedElement) {
    std::string starts;  // the result of the read, then the start and end of every element
    const auto trace = Output_of([&] { starts = Read("<rec><pos><x>1</x></pos></rec>", true, true); }).second;
    for (size_t at = trace.find(" processing"); at != std::string::npos;
         at = trace.find(" processing", at + 1))
        starts += trace.substr(trace.rfind('\n', at) + 1, at - trace.rfind('\n', at) - 1) + ";";
    EXPECT_EQ(starts, "ok log Start;rec Start;pos Start;x Start;x End;pos End;rec End;log End;");
}

// The members suite: its own descriptors, documents and helpers.
namespace members {

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
    bool Commit(Unit& unit, Input_data&) const override { return committed.push_back(unit), true; }
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
    Prolog("units unit id label total mask on state r note part comment spare flags levels zz",
           "<!ENTITY pump \"pump &#38;amp; valve\"><!ATTLIST unit tag CDATA #IMPLIED rev CDATA #IMPLIED mode "
           "CDATA #IMPLIED active CDATA #IMPLIED codes CDATA #IMPLIED><!ATTLIST part count CDATA #IMPLIED>"
           "<!ATTLIST spare count CDATA #IMPLIED>");

// Reads the units of prolog + body + "</units>" into committed: "ok " or
// "failed ", then the messages.
std::string Read(const std::string& body, bool abort_on_error = true) {
    committed.clear();
    return Processed(prolog + body + "</units>", abort_on_error);
}

std::string Written(const Unit& unit) { return Dump(unit_info.Write(unit)); }

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
    std::string text;
    EXPECT_EQ(Output_of([&] { text = Written(bad); }).second, "content err\n");
    EXPECT_NE(text.find("<label>bad \xFF byte</label>"), std::string::npos);
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
        {"<id> id-7 </id>", &Unit::id, "7"}};
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
        {"flags", "1 0 1", "Expected 4 items, found 3"},
        {"flags", "1 0 1 1 1", "Expected 4 items, found more"},
        {"flags", "1 x 1 1", "Bad item \"x\": Bad character 'x'"},
        {"levels", "1.5 2x", "Bad item \"2x\": \"x\" left over"},
        {"on", "maybe", "Unknown name \"maybe\""},
        {"state", "broken", "Unknown name \"broken\""},
        {"id", "42", "Prefix mismatch: want \"id-\", had \"42\""},
        {"r", "x", "Bad character 'x'"}};
    const std::string attributes =
        "ok Error reading attrib \"mode\"=\"broken\" for unit: Unknown name \"broken\"|"
        "Error reading attrib \"active\"=\"maybe\" for unit: Unknown name \"maybe\"|";
    for (const auto& [element, value, why] : cases) {
        SCOPED_TRACE(element + " " + value);
        const std::string first_r = element == "r" ? "<r>0</r>" : "";
        EXPECT_EQ(
            Read("<unit mode=\"broken\" active=\"maybe\">" + first_r + "<" + element + ">" + value + "</" +
                     element + "><part>bolt<zz/></part><spare>s<zz/></spare><comment>a<zz/></comment></unit>",
                 false),
            attributes + "Bad TEXT/CDATA for " + element + ": \"" + value + "\":" + why + ":0 items read|");
        ASSERT_EQ(committed.size(), 1u);
        EXPECT_EQ(Members_of(committed[0]), Members_of(Unit{}));
    }
}

}  // namespace members
