// The records of the benchmarks that read and write <rec> elements: the
// structures, their descriptors (one attribute table, the binding rows of
// <rec> and of the nested <pos>) and a deterministic source of records, the
// same sequence in every run and every program.
//
// The element of one record (on one line):
//     <rec id="1" kind="3"><seq>000000000123</seq><addr>0x1F</addr><mask>00A2</mask>
//     <value>-12.34</value><flags>1 0 1 1</flags><name>pump &amp; valve 3</name>
//     <pos><x>5</x><y>-6</y></pos></rec>
#ifndef TESSEL_BENCH_RECORDS_HPP
#define TESSEL_BENCH_RECORDS_HPP

#include "XML/Tessel.hpp"

#include <array>
#include <cstdint>
#include <string>

namespace bench {

struct Pos {
    long x, y;
};
struct Rec {
    long id;
    long kind;
    long seq;
    unsigned long addr;
    unsigned int mask;
    double value;
    std::array<int, 4> flags;
    std::string name;
    Pos pos;
};

// The kind of every fourth record, which a DTD can give as the default.
const long default_kind = 7;

const Tessel::Attrib::Entry<Rec> id_attr("id",
                                         Tessel::Get_Access<Rec, long>(Tessel::Access::GetSet(&Rec::id)));
const Tessel::Attrib::Entry<Rec> kind_attr("kind",
                                           Tessel::Get_Access<Rec, long>(Tessel::Access::GetSet(&Rec::kind)));
const Tessel::Attrib::Attrib_Table<Rec> rec_attr_rows[] = {{id_attr}, {kind_attr}};
const Tessel::Attrib::Attrib_Hash<Rec> rec_attrs(rec_attr_rows);

const Tessel::Subelement_table<Pos> pos_rows[] = {{Tessel::Subelement(&Pos::x, "x")},
                                                  {Tessel::Subelement(&Pos::y, "y")}};
const Tessel::Info<Pos> pos_info("pos", pos_rows);

const Tessel::Subelement_table<Rec> rec_rows[] = {
    {Tessel::Subelement(&Rec::seq, "seq")},              // up to 12 decimal digits
    {Tessel::Subelement(&Rec::addr, "addr", "0x%X")},    // "0x" and up to 8 hex digits
    {Tessel::Subelement(&Rec::mask, "mask", "%04X")},    // 4 hex digits
    {Tessel::Subelement(&Rec::value, "value", "%.2d")},  // a fraction of two digits
    {Tessel::Subelement_list(&Rec::flags, "flags")},     // four 0/1 numbers, "1 0 1 1"
    {Tessel::Subelement(&Rec::name, "name")},            // the text, trimmed at both ends
    {Tessel::Subelement(pos_info).Of(&Rec::pos)},        // <pos><x/><y/></pos>, filled in place
};

// Records with ids 1, 2, 3, ... and pseudo-random fields from a fixed seed.
class Record_source {
public:
    // The next record, and its value in whole hundredths (the value is
    // cents / 100.0, so that every side writes and reads it exactly).
    Rec Next(long& cents) {
        Rec rec{};
        rec.id = ++id;
        rec.seq = static_cast<long>(Draw() % 1000000000000u);
        rec.addr = Draw() & 0xFFFFFFFFu;  // an unsigned long reads 8 hex digits at most
        rec.mask = static_cast<unsigned int>(Draw() & 0xFFFF);
        cents = static_cast<long>(Draw() % 200000000) - 100000000;
        rec.value = cents / 100.0;
        const std::uint64_t bits = Draw();
        for (size_t i = 0; i < rec.flags.size(); ++i) rec.flags[i] = static_cast<int>(bits >> i & 1);
        rec.name = Name();
        rec.pos.x = static_cast<long>(Draw() % 100001) - 50000;
        rec.pos.y = static_cast<long>(Draw() % 100001) - 50000;
        rec.kind = id % 4 == 0 ? default_kind : static_cast<long>(Draw() % default_kind);
        return rec;
    }
    Rec Next() {
        long cents;
        return Next(cents);
    }

private:
    std::uint64_t Draw() {  // xorshift64
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    }

    // One to three words of a small list, joined by " " or, one time in
    // four, by " & " ("pump & valve 3").
    std::string Name() {
        static const char* const words[] = {"pump", "valve", "tank", "filter", "north", "south", "2", "3"};
        std::uint64_t bits = Draw();
        const int count = 1 + static_cast<int>(bits % 3);
        bits /= 3;
        std::string name = words[bits & 7];
        for (int i = 1; i < count; ++i) {
            bits >>= 3;
            name += (bits & 3) == 0 ? " & " : " ";
            bits >>= 2;
            name += words[bits & 7];
        }
        return name;
    }

    std::uint64_t state = 0x9E3779B97F4A7C15u;
    long id = 0;
};

}  // namespace bench

#endif
