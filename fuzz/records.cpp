// The descriptors of the fuzzed documents (records.hpp), registered as
// statics like an application's, and the comparison of records.
#include "records.hpp"

#include "fuzz_support.hpp"

#include <cstring>
#include <type_traits>

namespace Tessel_fuzz {
namespace {

using namespace Tessel;

const Value_entry<Mode> mode_rows[] = {
    {"off", Mode::off}, {"auto", Mode::automatic}, {"manual", Mode::manual}, {"hand", Mode::manual}};
const Value_hash<Mode> modes(mode_rows);

Define_Bitfield(lo);
Define_Bitfield(hi);

const Attrib::Entry<Rec> id_attr("id", Get_Access<Rec, long>(Access::GetSet(&Rec::id)));
const Attrib::Entry<Rec> mode_attr("mode", Get_Access<Rec, Mode>(Access::GetSet(&Rec::mode), modes));
const Attrib::Entry<Rec> flag_attr("flag", Get_Access<Rec, bool>(Access::GetSet(&Rec::flag)));
const Attrib::Entry<Rec> tag_attr("tag", Get_Access<Rec, std::string>(Access::GetSet(&Rec::tag)));
const Attrib::Entry<Rec> rev_attr("rev", Get_Access<Rec, std::optional<long>>(Access::GetSet(&Rec::rev)));
const Attrib::Entry<Rec> codes_attr("codes", Get_Access<Rec, std::vector<int>>(Access::GetSet(&Rec::codes)));
const Attrib::Entry<Rec> stamp_attr("stamp", Get_Access<Rec, time_t>(Access::GetSet(&Rec::stamp),
                                                                     Format::YYDDMM_HHMMSS));
const Attrib::Entry<Rec> port_attr("port", Get_Access<Rec, unsigned short>(Access::GetSet(&Rec::port), "%d"));
const Attrib::Entry<Rec> off_attr("off", Get_Access<Rec, BE_long>(Access::GetSet(&Rec::off), "%d"));
const Attrib::Attrib_Table<Rec> rec_attr_rows[] = {{id_attr},    {mode_attr}, {flag_attr},
                                                   {tag_attr},   {rev_attr},  {codes_attr},
                                                   {stamp_attr}, {port_attr}, {off_attr}};
const Attrib::Attrib_Hash<Rec> rec_attrs(rec_attr_rows);

const Attrib::Entry<Part> count_attr("count", Get_Access<Part, long>(Access::GetSet(&Part::count)));
const Attrib::Attrib_Table<Part> part_attr_rows[] = {{count_attr}};
const Attrib::Attrib_Hash<Part> part_attrs(part_attr_rows);
const Info<Part> part_info("part", Get_Access<Part, std::string>(Access::GetSet(&Part::name)), part_attrs);
const Info<Part> spare_info("spare", Get_Access<Part, std::string>(Access::GetSet(&Part::name)), part_attrs);

const Subelement_table<Pos> pos_rows[] = {{Subelement(&Pos::x, "x", "%.2d")},
                                          {Subelement(&Pos::y, "y", "%X")}};
const Info<Pos> pos_info("pos", pos_rows);

// A nameless descriptor inside a nameless descriptor: <a> and <b> are children of <rec>.
const Subelement_table<Pair> pair_rows[] = {{Subelement(&Pair::a, "a")}, {Subelement(&Pair::b, "b")}};
const Info<Pair> pair_inner("", pair_rows);
const Subelement_table<Pair> pair_outer_rows[] = {{Subelement(pair_inner)}};
const Info<Pair> pair_outer("", pair_outer_rows);

const Subelement_table<Rec> rec_rows[] = {
    {Subelement(&Rec::ident, "ident", "id-%s")},
    {Subelement(&Rec::label, "label")},
    {Subelement(&Rec::total, "total")},
    {Subelement(&Rec::mask, "mask", "%016X")},
    {Subelement(&Rec::grade, "grade")},
    {Subelement(&Rec::addr, "addr", "0x%X")},
    {Subelement(pos_info).Of(&Rec::pos)},
    {Subelement(&Rec::alarm, "alarm").If(&Rec::alarmed, true)},
    {Subelement(&Rec::storm, "storm").IfNot(&Rec::calm, true)},
    {Subelement(&Rec::note, "note").IfNot(&Rec::mode, Mode::off)},
    {SubelementBitfield(Rec, lo, "lo")},
    {SubelementBitfield(Rec, hi, "hi", "%X")},
    {Subelement(&Rec::be, "be")},
    {Subelement(pair_outer).Of(&Rec::extra)},
    {Subelement(&Rec::first, "r")},
    {Subelement(&Rec::readings, "r")},
    {Subelement(&Rec::notes, "n")},
    {Subelement(part_info).Of(&Rec::parts)},
    {Subelement(&Rec::comment, "comment")},
    {Subelement(spare_info).Of(&Rec::spare)},
    {Subelement_list(&Rec::flags, "flags")},
    {Subelement_list(&Rec::levels, "levels", "%.1d")},
    {Subelement(&Rec::state, "state", modes)},
    {Subelement(&Rec::on, "on")},
    {Subelement(&Rec::when, "when", Format::HHMM)},
};

// Keeps every record it commits in the input source; every source of these
// targets is a Fuzz_input.
struct Collecting : Info<Rec> {
    using Info<Rec>::Info;
    bool Commit(Rec& rec, Input_data& input) const override {
        static_cast<Fuzz_input&>(input).recs.push_back(rec);
        return true;
    }
};

const Info<void> log_element("/log");
const Collecting rec_element("/log/rec", rec_rows, rec_attrs);
const Info<void> group_element("/log/group");
const Collecting group_rec_element("/log/group/rec", rec_rows, rec_attrs);
const Info<long> tick_element("/log/rec/tick", Accessor<long>(Get_Access<long>()));
const Info<long> v_element("/log/v", Accessor<long>(new Access::Primative<long>("%X")));
const Info_primative<std::string> title_element("/log/title");

template <class T>
std::string Show(const T& value);
std::string Show(const std::string& text) { return '"' + text + '"'; }
std::string Show(const Part& part) { return Show(part.name) + "/" + std::to_string(part.count); }
template <class T>
std::string Show(const std::optional<T>& value) {
    return value ? Show(*value) : "-";
}
template <class T>
std::string Show(const T& value) {
    if constexpr (std::is_enum_v<T>) {
        return std::to_string(static_cast<long long>(value));
    } else if constexpr (std::is_floating_point_v<T>) {
        char text[40];
        snprintf(text, sizeof text, "%.17g", value);
        return text;
    } else if constexpr (std::is_arithmetic_v<T>) {
        return std::to_string(+value);
    } else {
        std::string text = "[";
        for (const auto& item : value) text += Show(item) + ",";
        return text + "]";
    }
}

// Compares members one at a time and keeps the first difference.
class Comparison {
public:
    explicit Comparison(bool doubles_as_text) : as_text(doubles_as_text) {}

    template <class T>
    void operator()(const char* name, const T& a, const T& b) {
        if (difference.empty() && !(a == b))
            difference = std::string(name) + ": " + Show(a) + " / " + Show(b);
    }
    // Doubles, exactly or as the text format writes of them.
    void operator()(const char* name, const std::vector<double>& a, const std::vector<double>& b,
                    const char* format) {
        if (as_text)
            (*this)(name, Texts(a, format), Texts(b, format));
        else
            (*this)(name, a, b);
    }

    std::string difference;

private:
    static std::vector<std::string> Texts(const std::vector<double>& values, const char* format) {
        const Formatter<double> formatter(format);
        std::vector<std::string> texts;
        for (double value : values) {
            Format::Printer printer(0);
            formatter.Write(printer, value);
            texts.emplace_back(static_cast<const char*>(printer));
        }
        return texts;
    }

    const bool as_text;
};

const char* Name_of(const char* const* table, int size, int code) {
    return code >= 0 && code < size ? table[code] : "UNKNOWN";
}

}  // namespace

const char rec_dtd[] =
    "<!ELEMENT log ANY><!ELEMENT group ANY><!ELEMENT rec ANY><!ELEMENT tick ANY><!ELEMENT v ANY>"
    "<!ELEMENT title ANY><!ELEMENT ident ANY><!ELEMENT label ANY><!ELEMENT total ANY><!ELEMENT mask ANY>"
    "<!ELEMENT grade ANY><!ELEMENT addr ANY><!ELEMENT pos ANY><!ELEMENT x ANY><!ELEMENT y ANY>"
    "<!ELEMENT alarm ANY><!ELEMENT storm ANY><!ELEMENT note ANY><!ELEMENT lo ANY><!ELEMENT hi ANY>"
    "<!ELEMENT be ANY><!ELEMENT a ANY><!ELEMENT b ANY><!ELEMENT r ANY><!ELEMENT n ANY><!ELEMENT part ANY>"
    "<!ELEMENT comment ANY><!ELEMENT spare ANY><!ELEMENT flags ANY><!ELEMENT levels ANY>"
    "<!ELEMENT state ANY><!ELEMENT on ANY><!ELEMENT when ANY>"
    "<!ATTLIST rec id CDATA #IMPLIED mode CDATA #IMPLIED flag CDATA #IMPLIED tag CDATA #IMPLIED "
    "rev CDATA #IMPLIED codes CDATA #IMPLIED stamp CDATA #IMPLIED port CDATA #IMPLIED off CDATA #IMPLIED>"
    "<!ATTLIST part count CDATA #IMPLIED><!ATTLIST spare count CDATA #IMPLIED>";

void Fuzz_input::Error_handler(const Tessel::Error_info& info) {
    FUZZ_EXPECT(info.msg, "an error record without a message");
    // The record's strings are borrowed and readable until the handler returns.
    const std::string message = info.msg, uri = info.uri ? info.uri : "",
                      path = info.xpath_valid && info.xpath ? info.xpath : "";
    FUZZ_EXPECT(
        info.severity_string && !std::strcmp(info.severity_string, Name_of(severities, 5, info.severity)),
        "severity %d named %s: %s", int(info.severity), info.severity_string, info.msg);
    for (const Error_info::Node_info* node : {&info.node, &info.parent}) {
        const char* type = Name_of(node_types, 18, node->node_type);
        FUZZ_EXPECT(
            node->valid
                ? node->node_type_string && !std::strcmp(node->node_type_string, type)
                : !std::strcmp(node->node_name, "UNKNOWN") && !std::strcmp(node->node_type_string, "UNKNOWN"),
            "record \"%s\": node of type %d named %s", info.msg, node->node_type, node->node_type_string);
    }
    FUZZ_EXPECT(!info.parent.valid || info.node.valid, "record \"%s\": a parent without a node", info.msg);
    // The column is the parser's, for a record with neither locator nor node.
    FUZZ_EXPECT(info.col >= 0 && (!info.node.valid || info.col == 0) && (info.node.valid || info.line >= 0),
                "record \"%s\": line %ld column %ld", info.msg, info.line, info.col);
    ++records;
    if (message.compare(0, 20, "Error reading attrib") != 0) ++element_records;
    if (first_message.empty()) first_message = message;
}

std::string Difference(const Rec& a, const Rec& b, bool doubles_as_text) {
    Comparison c(doubles_as_text);
    c("id", a.id, b.id), c("mode", a.mode, b.mode), c("flag", a.flag, b.flag), c("tag", a.tag, b.tag);
    c("rev", a.rev, b.rev), c("codes", a.codes, b.codes), c("stamp", a.stamp, b.stamp);
    c("port", a.port, b.port), c("off", long(a.off), long(b.off)), c("ident", a.ident, b.ident);
    c("label", a.label, b.label), c("total", a.total, b.total), c("mask", a.mask, b.mask);
    c("grade", a.grade, b.grade), c("addr", a.addr, b.addr);
    c("pos.x", std::vector<double>{a.pos.x}, std::vector<double>{b.pos.x}, "%.2d");
    c("pos.y", a.pos.y, b.pos.y), c("alarmed", a.alarmed, b.alarmed), c("alarm", a.alarm, b.alarm);
    c("calm", a.calm, b.calm), c("storm", a.storm, b.storm), c("note", a.note, b.note);
    c("lo", unsigned(a.lo), unsigned(b.lo)), c("hi", unsigned(a.hi), unsigned(b.hi));
    c("be", static_cast<unsigned short>(a.be), static_cast<unsigned short>(b.be));
    c("extra.a", a.extra.a, b.extra.a), c("extra.b", a.extra.b, b.extra.b), c("first", a.first, b.first);
    c("readings", a.readings, b.readings), c("notes", a.notes, b.notes), c("parts", a.parts, b.parts);
    c("comment", a.comment, b.comment), c("spare", a.spare, b.spare), c("flags", a.flags, b.flags);
    c("levels", a.levels, b.levels, "%.1d");
    c("state", a.state, b.state), c("on", a.on, b.on), c("when", a.when, b.when);
    return c.difference;
}

}  // namespace Tessel_fuzz

namespace Tessel {
template <>
const Info<Tessel_fuzz::Rec> Info<Tessel_fuzz::Rec>::info("rec", Tessel_fuzz::rec_rows,
                                                          Tessel_fuzz::rec_attrs);
}  // namespace Tessel
