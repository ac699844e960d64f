// Documents read into application structures through typed descriptors:
// attributes, nested and nameless structures, conditions, bit-fields, repeated
// tags, the registry fallback, and the records of bad input.
#include "XML/Tessel.hpp"

#include <gtest/gtest.h>

#include "support/recording.hpp"

#include <atomic>
#include <mutex>
#include <thread>
#include <tuple>
#include <vector>

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
        std::lock_guard<std::mutex> lock(committed_mutex);
        committed.push_back(Show(item));
        return true;
    }
};
// Registered beneath the root, but the log's binding for "rec" wins over it.
const Noting<Rec> rec_info("/log/rec", rec_rows, rec_attrs);
const Subelement_table<Log> log_rows[] = {{Subelement(rec_info).Of(&Log::rec)}};
const Noting<Log> log_info("/log", log_rows);
// Takes the <v> elements beyond the rec's two rows.
const Noting<long> extra_v("/log/rec/v", Get_Access<long>());

const std::string prolog =
    "<?xml version=\"1.0\"?><!DOCTYPE log [<!ELEMENT log ANY><!ELEMENT rec ANY><!ELEMENT seq ANY>"
    "<!ELEMENT addr ANY><!ELEMENT pos ANY><!ELEMENT x ANY><!ELEMENT y ANY><!ELEMENT alarm ANY>"
    "<!ELEMENT lo ANY><!ELEMENT hi ANY><!ELEMENT be ANY><!ELEMENT v ANY><!ELEMENT a ANY><!ELEMENT b ANY>"
    "<!ELEMENT note ANY><!ELEMENT zz ANY><!ATTLIST rec id CDATA #IMPLIED kind CDATA #IMPLIED zz CDATA "
    "#IMPLIED><!ATTLIST seq u CDATA #IMPLIED>]><log>";
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
        {"<rec><zz/></rec>", true, "failed Bad subelement for rec: zz\n|", ""},
    };
    for (const auto& [body, abort, result, last_commit] : cases) {
        SCOPED_TRACE(body);
        EXPECT_EQ(Read(body, abort), result);
        EXPECT_EQ(committed.empty() ? "" : committed.back(), last_commit);
    }
}

TEST(Binding, TracesStartAndEndOfEveryTypedElement) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(Read("<rec><pos><x>1</x></pos></rec>", true, true), "ok ");
    std::string trace = testing::internal::GetCapturedStderr(), starts;
    for (size_t at = trace.find(" processing"); at != std::string::npos;
         at = trace.find(" processing", at + 1))
        starts += trace.substr(trace.rfind('\n', at) + 1, at - trace.rfind('\n', at) - 1) + ";";
    EXPECT_EQ(starts, "log Start;rec Start;pos Start;x Start;x End;pos End;rec End;log End;");
}
