// Fuzzes the scanner. The input is a format string, a NUL, then a text; the
// text is read into every type the scanner has an overload for (and the block
// types of its template), and through the value-table, list, optional and time
// formatters, under the fuzzed format string. An input without a NUL is all
// text, read under each of the stock formats.
//
// Each read is done by three scanners over the same text: one holding a copy,
// one over a node's content and one borrowing an exactly sized heap buffer
// (so that AddressSanitizer sees a read past the text's end). They must agree
// on the result, the value, the message and the rest of the text. A failure
// must leave the target untouched and leave a message; a success must not move
// the cursor back; the cursor never leaves the text. Formatters' writes must
// read back where XML_formatter.hpp promises it.
//
// float has no scanner overload (it is refused at compile time) and bool reads
// through Formatter<bool>, so neither is scanned directly.
#include "XML/Tessel.hpp"

#include "fuzz_support.hpp"

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace Tessel;
using namespace Tessel::Format;

namespace {

// A structure the scanner's template reads as a block (or, under a numeric
// format, as the first bytes of an unsigned int).
struct Block {
    unsigned char bytes[5];
};

enum class Mode : int { off, automatic, manual };
const Value_entry<Mode> mode_rows[] = {
    {"off", Mode::off}, {"auto", Mode::automatic}, {"manual", Mode::manual}, {"hand", Mode::manual}};
const Value_hash<Mode> modes(mode_rows);

// A value that no read gives by chance, to see that a failed read leaves it.
template <class T>
void Preset(T& value) {
    if constexpr (std::is_same_v<T, std::string>)
        value = "\x01untouched";
    else
        std::memset(static_cast<void*>(&value), 0xA5, sizeof value);
}
template <class T>
bool Same(const T& a, const T& b) {
    if constexpr (std::is_same_v<T, std::string>)
        return a == b;
    else
        return std::memcmp(&a, &b, sizeof a) == 0;
}

const char* Rest(const Scanner& s) { return static_cast<const char*>(s) ? static_cast<const char*>(s) : ""; }
const char* Message(const Scanner& s) { return s.Error_msg() ? s.Error_msg() : "(none)"; }

// Reads T again and again from text under fi with the three scanners, as long
// as text is left and the cursor moves.
template <class T>
void Scan_in_turn(const std::string& text, const char* format, const format_info& fi) {
    const xmlChar* chars = reinterpret_cast<const xmlChar*>(text.c_str());
    std::unique_ptr<xmlChar[]> exact(new xmlChar[text.size() + 1]);
    std::memcpy(exact.get(), chars, text.size() + 1);
    std::unique_ptr<xmlNode, void (*)(xmlNodePtr)> node(xmlNewText(chars), xmlFreeNode);
    Scanner copy(chars), borrowed(exact.get(), Scanner::Borrow()), over_node(node.get());
    for (int step = 0; step < 6 && borrowed.More(); ++step) {
        const xmlChar* before = borrowed;
        T a, b, c, preset;
        Preset(a), Preset(b), Preset(c), Preset(preset);
        const bool ok = copy.Scan(a, fi);
        FUZZ_EXPECT(ok == borrowed.Scan(b, fi) && ok == over_node.Scan(c, fi),
                    "scanners disagree on \"%s\" under \"%s\"", text.c_str(), format);
        FUZZ_EXPECT(Same(a, b) && Same(a, c), "scanners read different values from \"%s\" under \"%s\"",
                    text.c_str(), format);
        FUZZ_EXPECT(!std::strcmp(Rest(copy), Rest(borrowed)) && !std::strcmp(Rest(copy), Rest(over_node)),
                    "scanners stop at different places in \"%s\" under \"%s\": \"%s\", \"%s\", \"%s\"",
                    text.c_str(), format, Rest(copy), Rest(borrowed), Rest(over_node));
        const xmlChar* after = borrowed;
        FUZZ_EXPECT(after >= exact.get() && after <= exact.get() + text.size(),
                    "cursor outside the text \"%s\" under \"%s\"", text.c_str(), format);
        if (ok) {
            FUZZ_EXPECT(after >= before, "a read moved the cursor back in \"%s\" under \"%s\"", text.c_str(),
                        format);
        } else {
            FUZZ_EXPECT(Same(a, preset), "a failed read changed the target: \"%s\" under \"%s\"",
                        text.c_str(), format);
            FUZZ_EXPECT(copy.Error_msg() && borrowed.Error_msg() && over_node.Error_msg() &&
                            !std::strcmp(copy.Error_msg(), borrowed.Error_msg()) &&
                            !std::strcmp(copy.Error_msg(), over_node.Error_msg()),
                        "failed reads of \"%s\" under \"%s\" leave different messages: %s / %s / %s",
                        text.c_str(), format, Message(copy), Message(borrowed), Message(over_node));
        }
        if (after == before) break;
    }
}

template <class... T>
void Scan_types(const std::string& text, const char* format) {
    const format_info fi(format);
    Tessel_fuzz::Check_digest(format, fi);
    (Scan_in_turn<T>(text, format ? format : "(null)", fi), ...);
}

// Reads values with a formatter built from args while text is left. A failed
// read must leave the value as it was; a value read is written and, when
// reads_back, must read back the same from the written text.
template <class T, class... Args>
void Read_in_turn(const std::string& text, bool reads_back, const T& preset, const Args&... args) {
    const Formatter<T> formatter(args...);
    Scanner scanner(reinterpret_cast<const xmlChar*>(text.c_str()));
    for (int step = 0; step < 6 && scanner.More(); ++step) {
        const xmlChar* before = scanner;
        T value = preset;
        if (!formatter.Read(scanner, value)) {
            FUZZ_EXPECT(value == preset && scanner.Error_msg(),
                        "a failed formatter read of \"%s\" changed the value or left no message",
                        text.c_str());
        } else if (reads_back) {
            Printer printer(0);
            formatter.Write(printer, value);
            Scanner again(static_cast<const xmlChar*>(printer));
            T back = preset;
            FUZZ_EXPECT(formatter.Read(again, back) && back == value && !again.More(),
                        "\"%s\", written from what \"%s\" read, does not read back: %s",
                        static_cast<const char*>(printer), text.c_str(), Message(again));
        }
        if (static_cast<const xmlChar*>(scanner) == before) break;
    }
}

// A time read and written again reads back to the same text: what reading
// normalises (a leap second, a day past the month's end) is normalised once.
void Times(const std::string& text, TIME_MODE mode) {
    const Formatter<time_t> formatter(mode);
    Scanner scanner(reinterpret_cast<const xmlChar*>(text.c_str()));
    time_t value = 12345, back = 0;
    if (!formatter.Read(scanner, value)) {
        FUZZ_EXPECT(value == 12345 && scanner.Error_msg(), "a failed time read of \"%s\" changed the value",
                    text.c_str());
        return;
    }
    Printer first(0), second(0);
    formatter.Write(first, value);
    Scanner again(static_cast<const xmlChar*>(first));
    FUZZ_EXPECT(formatter.Read(again, back), "time \"%s\" written from \"%s\" does not read back: %s",
                static_cast<const char*>(first), text.c_str(), Message(again));
    formatter.Write(second, back);
    FUZZ_EXPECT(!std::strcmp(first, second), "time read from \"%s\" writes \"%s\", then \"%s\"", text.c_str(),
                static_cast<const char*>(first), static_cast<const char*>(second));
}

// Words cut off the text are not empty and hold no white space.
void Words(const std::string& text) {
    Scanner scanner(reinterpret_cast<const xmlChar*>(text.c_str()));
    for (size_t n = 0; n <= text.size(); ++n) {
        const xmlChar* word = scanner.BiteOffString();
        if (!word) return;
        FUZZ_EXPECT(*word, "an empty word cut off \"%s\"", text.c_str());
        for (const xmlChar* c = word; *c; ++c)
            FUZZ_EXPECT(!std::isspace(*c), "word \"%s\" cut off \"%s\" holds white space",
                        reinterpret_cast<const char*>(word), text.c_str());
    }
    Tessel_fuzz::Fail("more words than characters cut off \"%s\"", text.c_str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Tessel_fuzz::Split input(data, size);
    const std::string text = input.rest.c_str();  // the text ends at a second NUL
    const auto scan_all = [&text](const char* format) {
        Scan_types<char, short, int, long, long long, unsigned char, unsigned short, unsigned int,
                   unsigned long, unsigned long long, double, std::string, BE_ushort, BE_ulong, BE_short,
                   BE_long, BE_24bit, Block, char[8]>(text, format);
    };
    // An input names its format, or is read under every stock format.
    if (input.has_format)
        scan_all(input.Format());
    else
        for (const char* format : Tessel_fuzz::stock_formats) scan_all(format);

    const char* format = input.has_format ? input.Format() : "%d";
    Read_in_turn<bool>(text, true, true);
    Read_in_turn<Mode>(text, true, Mode(-9), modes);
    Read_in_turn<std::vector<int>>(text, true, {7, 7});
    Read_in_turn<std::vector<std::string>>(text, true, {"x"});
    Read_in_turn<std::vector<Mode>>(text, true, {Mode::manual}, modes);
    Read_in_turn<std::array<short, 3>>(text, true, {1, 2, 3}, "%X");
    // Eight hexadecimal digits hold every unsigned int (a long keeps the same limit
    // and so cannot read back what "%X" writes of a negative one).
    Read_in_turn<std::optional<unsigned int>>(text, true, std::nullopt, "0x%X");
    Read_in_turn<std::vector<double>>(text, false, {0.5}, "%.1d");
    Read_in_turn<std::vector<unsigned long long>>(text, false, {}, format);
    Read_in_turn<std::optional<std::string>>(text, false, std::string("x"), format);
    for (TIME_MODE mode : {HHMM, HHMMSS, YYMMDD, YYDDMM_HHMMSS}) Times(text, mode);
    Words(text);
    return 0;
}
