// The structures and descriptors the document and round-trip targets read
// documents into, the input source that keeps what a parse gives, and the
// comparison of two records member by member.
//
// One record type, Rec, uses every kind of binding: attributes with formats,
// value tables, lists, times and an optional; primitive children of every
// integer width, strings with and without a format, a big-endian field and
// bit-fields; a nested structure, a nameless descriptor, conditions (.If on a
// bool, .IfNot on a bool and on an enumeration), repeated tags into vectors of
// numbers, strings and structures, optionals of a string and of a structure,
// lists into a std::array and a std::vector, and a child the registry takes
// when no row does.
//
// Registry: /log (Info<void>) holds rec, group, v and title; /log/group holds
// rec; /log/rec/tick takes <tick> children of a rec.
#ifndef TESSEL_FUZZ_RECORDS_HPP
#define TESSEL_FUZZ_RECORDS_HPP

#include "XML/Tessel.hpp"

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace Tessel_fuzz {

enum class Mode : int { off, automatic, manual };

struct Pos {
    double x;  // "%.2d"
    short y;   // "%X"
};
struct Pair {
    long a, b;
};
struct Part {
    std::string name;
    long count;
    bool operator==(const Part& other) const { return name == other.name && count == other.count; }
};

struct Rec {
    // Attributes.
    long id;
    Mode mode;
    bool flag;
    std::string tag;
    std::optional<long> rev;
    std::vector<int> codes;
    time_t stamp;  // YYDDMM_HHMMSS
    unsigned short port;
    BE_long off;
    // Children.
    std::string ident;  // "id-%s"
    std::string label;
    Tessel::int64 total;
    Tessel::uint64 mask;  // "%016X"
    char grade;
    unsigned long addr;  // "0x%X"
    Pos pos;
    bool alarmed;  // set by <alarm>
    long alarm;
    bool calm;  // cleared by <storm>
    unsigned short storm;
    long note;  // written only when mode is not off
    unsigned lo : 4, hi : 4;
    BE_ushort be;
    Pair extra;                  // <a> and <b>, through a nameless descriptor
    long first;                  // the first <r>
    std::vector<long> readings;  // every later <r>
    std::vector<std::string> notes;
    std::vector<Part> parts;
    std::optional<std::string> comment;
    std::optional<Part> spare;
    std::array<int, 4> flags;
    std::vector<double> levels;  // "%.1d"
    Mode state;
    bool on;
    time_t when;  // HHMM
};

// The internal subset that declares every element and attribute of the
// descriptors, all elements ANY and all attributes CDATA #IMPLIED.
extern const char rec_dtd[];

// An input source that keeps the records its parse commits and a summary of
// its error records. Each error record is checked as it arrives: its strings
// are readable, and its fields agree with XML_input_stream.hpp.
class Fuzz_input : public Tessel::Input_data {
public:
    explicit Fuzz_input(int fd) : Input_data(fd, "fuzz.xml") {}
    void Error_handler(const Tessel::Error_info& info) override;

    std::vector<Rec> recs;
    // Every error record, and those that are not about a rejected attribute.
    size_t records = 0, element_records = 0;
    // The first message, for reports.
    std::string first_message;
};

// The first member in which a and b differ, as "name: value / value"; empty
// when they are the same. With doubles_as_text, doubles are compared as the
// text their format writes, which is what a written document holds.
std::string Difference(const Rec& a, const Rec& b, bool doubles_as_text);

}  // namespace Tessel_fuzz

namespace Tessel {
/// The descriptor XML_Write writes a record with.
template <>
const Info<Tessel_fuzz::Rec> Info<Tessel_fuzz::Rec>::info;
}  // namespace Tessel

#endif
