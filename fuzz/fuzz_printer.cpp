// Fuzzes the printer. The input is a format string, a NUL, then bytes; the
// bytes are taken as a value of every type the printer has an overload for and
// printed under the fuzzed format string (an input without a NUL is all bytes,
// printed under each of the stock formats).
//
// What an integer, a big-endian field, a string, a block, a text, a value
// name, a time, a list and an optional must print follows from the format's digest and
// XML_formatter.hpp; the harness works it out with snprintf and compares it
// with the printer's text, over a printer that starts at one byte and grows,
// then again after Reset. A double's text must have the shape the format asks
// for and be within half a unit of its last digit of the value. The integers
// whose round trip XML_formatter.hpp promises are read back with the scanner.
#include "XML/Tessel.hpp"

#include "fuzz_support.hpp"

#include <cinttypes>
#include <cmath>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using namespace Tessel;
using namespace Tessel::Format;

namespace {

enum class Mode : int { off, automatic, manual };
const Value_entry<Mode> mode_rows[] = {
    {"off", Mode::off}, {"auto", Mode::automatic}, {"manual", Mode::manual}, {"hand", Mode::manual}};
const Value_hash<Mode> modes(mode_rows);

// The input's bytes as a value of T, zeros past their end.
template <class T>
T From(const std::string& bytes) {
    T value;
    std::memset(static_cast<void*>(&value), 0, sizeof value);
    std::memcpy(static_cast<void*>(&value), bytes.data(), std::min(sizeof value, bytes.size()));
    return value;
}

std::string Framed(const format_info& fi, const std::string& body) {
    return std::string(fi.prefix ? fi.prefix : "", fi.prefix_len) + body + (fi.suffix ? fi.suffix : "");
}

// An integer as Print must write it: the prefix, the number in decimal or (for
// a hexadecimal format) the bits of its own width in upper-case hexadecimal,
// zero-filled to the width, then the suffix.
template <class T>
std::string Integer_text(T value, const format_info& fi) {
    static char digits[format_info::max_width + 32];
    const int width = int(fi.width);
    if (fi.hex)
        snprintf(digits, sizeof digits, "%0*llX", width, (unsigned long long)std::make_unsigned_t<T>(value));
    else if (std::is_signed_v<T>)
        snprintf(digits, sizeof digits, "%0*lld", width, (long long)value);
    else
        snprintf(digits, sizeof digits, "%0*llu", width, (unsigned long long)value);
    return Framed(fi, digits);
}

// The text of a time under mode, fields of two digits: date YY-MM-DD, time
// HH:MM or HH:MM:SS, a space between date and time.
std::string Time_text(const std::tm& tm, TIME_MODE mode) {
    const int fields[] = {
        (tm.tm_year % 100 + 100) % 100, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
    std::string text;
    for (int i = 0; i < 6; ++i) {
        if (!(mode & (32 >> i))) continue;
        if (!text.empty()) text += i == 3 && (mode & 56) ? " " : i < 3 ? "-" : ":";
        char two[16];
        snprintf(two, sizeof two, "%02d", fields[i]);
        text += two;
    }
    return text;
}

// Prints every value but the doubles into one printer and builds the text it
// must hold; each piece is named, so that a difference can be placed.
class Pieces {
public:
    Pieces(const std::string& bytes, const char* format)
        : bytes(bytes), raw_format(format), format(format ? format : "(null)"), fi(format) {}

    void Print_all(Printer& printer) {
        expected.clear();
        names.clear();
        Integer<char>(printer, "char"), Integer<unsigned char>(printer, "unsigned char");
        Integer<short>(printer, "short"), Integer<unsigned short>(printer, "unsigned short");
        Integer<int>(printer, "int"), Integer<unsigned int>(printer, "unsigned int");
        Integer<long>(printer, "long"), Integer<unsigned long>(printer, "unsigned long");
        Integer<long long>(printer, "long long"), Integer<unsigned long long>(printer, "unsigned long long");
        // Big-endian fields print as their native value; BE_long in hexadecimal as its 32 bits.
        const BE_long be_long = From<BE_long>(bytes);
        Piece("BE_short", printer.Print(From<BE_short>(bytes), fi),
              Integer_text(short(From<BE_short>(bytes)), fi));
        Piece("BE_long", printer.Print(be_long, fi),
              fi.hex ? Integer_text(uint32_t(long(be_long)), fi) : Integer_text(long(be_long), fi));
        Piece("BE_ushort", printer.Print(From<BE_ushort>(bytes), fi),
              Integer_text((unsigned short)From<BE_ushort>(bytes), fi));
        Piece("BE_24bit", printer.Print(From<BE_24bit>(bytes), fi),
              Integer_text((unsigned long)From<BE_24bit>(bytes), fi));
        Piece("BE_ulong", printer.Print(From<BE_ulong>(bytes), fi),
              Integer_text((unsigned long)From<BE_ulong>(bytes), fi));
        // A string with its NULs left out: the printer's text is read up to its
        // terminator.
        std::string text;
        for (char c : bytes)
            if (c) text += c;
        Piece("std::string", printer.Print(text, fi), Framed(fi, text));
        // A block: under "%s" its text up to the first NUL, at most size - 1
        // bytes, unframed; otherwise every byte under the whole format.
        const size_t size = std::min<size_t>(bytes.size(), 16);
        std::string block;
        if (fi.dump_size == format_info::CHARS)
            block = std::string(bytes.data(), size ? size - 1 : 0).c_str();
        else
            for (size_t i = 0; i < size; ++i) block += Integer_text((unsigned char)bytes[i], fi);
        Piece("block", printer.Print(bytes.data(), size, fi), block);
        Piece("text", printer.Print(text.c_str(), fi), text);
        Piece("null text", printer.Print(static_cast<const char*>(nullptr), fi), "<NULL>");
        const unsigned long number = From<unsigned long>(bytes);
        Piece("Invalid", printer.Invalid(number), "INVALID(" + std::to_string(number) + ")");
        Names(printer);
        Times(printer);
        Containers(printer);
    }

    // Compares the printer's text with the pieces.
    void Check(Printer& printer, const char* pass) const {
        const std::string got = static_cast<const char*>(printer);
        if (got == expected) return;
        size_t at = 0;
        while (at < got.size() && at < expected.size() && got[at] == expected[at]) ++at;
        std::string piece = "?";
        for (const auto& [start, name] : names)
            if (start <= at) piece = name;
        Tessel_fuzz::Fail(
            "printer text under \"%s\" (%s) differs at byte %zu, in the %s: got \"%.80s\", want \"%.80s\"",
            format, pass, at, piece.c_str(), got.c_str() + std::min(at, got.size()),
            expected.c_str() + std::min(at, expected.size()));
    }

private:
    void Piece(const char* name, Printer&, const std::string& text) {
        names.emplace_back(expected.size(), name);
        expected += text;
    }
    template <class T>
    void Integer(Printer& printer, const char* name) {
        const T value = From<T>(bytes);
        Piece(name, printer.Print(value, fi), Integer_text(value, fi));
    }
    // Names: one space before a name unless the text is empty or ends in white
    // space; a value without a name is "INVALID(n)", n its 32-bit unsigned value.
    void Names(Printer& printer) {
        const Formatter<Mode> words(modes);
        const Formatter<bool> truth;
        const Mode mode = Mode(From<int>(bytes));
        const char* const shown[] = {"off", "auto", "manual"};
        const std::string name =
            unsigned(mode) < 3 ? shown[int(mode)] : "INVALID(" + std::to_string(unsigned(mode)) + ")";
        const auto space = [this] {
            return !expected.empty() && !std::isspace((unsigned char)expected.back());
        };
        std::string piece = space() ? " " + name : name;
        words.Write(printer, mode);
        Piece("name", printer, piece);
        const bool flag = bytes.size() && (bytes[0] & 1);
        truth.Write(printer, flag);
        Piece("bool", printer, (space() ? " " : "") + std::string(flag ? "true" : "false"));
    }
    // A time in UTC, with every field of a struct tm left at zero when the
    // year does not fit one.
    void Times(Printer& printer) {
        const time_t when = From<time_t>(bytes);
        std::tm tm = {};
        gmtime_r(&when, &tm);
        for (TIME_MODE mode : {HHMM, HHMMSS, YYMMDD, YYDDMM_HHMMSS}) {
            Write_time(printer, mode, when);
            Piece("time", printer, Time_text(tm, mode));
        }
    }

    // A list: each item under the whole format, one space between items; an
    // optional: its value, nothing when empty.
    void Containers(Printer& printer) {
        std::vector<int> items;
        std::string text;
        for (size_t at = 0; at + sizeof(int) <= bytes.size() && items.size() < 4; at += sizeof(int)) {
            items.push_back(From<int>(bytes.substr(at)));
            text += (text.empty() ? "" : " ") + Integer_text(items.back(), fi);
        }
        Formatter<std::vector<int>>(raw_format).Write(printer, items);
        Piece("list", printer, text);
        const std::optional<unsigned long> engaged(From<unsigned long>(bytes)), empty;
        const Formatter<std::optional<unsigned long>> optional(raw_format);
        optional.Write(printer, bytes.size() % 2 ? engaged : empty);
        Piece("optional", printer, bytes.size() % 2 ? Integer_text(*engaged, fi) : "");
    }

    const std::string& bytes;
    const char* raw_format;
    const char* format;
    const format_info fi;
    std::string expected;
    std::vector<std::pair<size_t, const char*>> names;
};

// A double: the prefix, an optional "-", digits zero-filled to the width with
// exactly prec fraction digits after a point, the suffix; or "nan", "inf",
// "-inf" between prefix and suffix. Rounding is half away from zero, so the
// digits are within half a unit of the last one of the value (the error of
// double arithmetic aside).
void Double(double value, const char* format_string) {
    const format_info fi(format_string);
    const char* format = format_string ? format_string : "(null)";
    Printer printer(1);
    const std::string text = static_cast<const char*>(printer.Print(value, fi));
    const std::string framed = Framed(fi, "");
    FUZZ_EXPECT(text.size() >= framed.size() && !text.compare(0, fi.prefix_len, framed, 0, fi.prefix_len) &&
                    !text.compare(text.size() - fi.suffix_len, fi.suffix_len, framed, fi.prefix_len),
                "double %a under \"%s\": \"%s\" is not framed", value, format, text.c_str());
    const std::string body = text.substr(fi.prefix_len, text.size() - framed.size());
    if (!std::isfinite(value)) {
        FUZZ_EXPECT(body == (std::isnan(value) ? "nan"
                             : value < 0       ? "-inf"
                                               : "inf"),
                    "double %a printed \"%s\"", value, body.c_str());
        return;
    }
    const size_t sign = body[0] == '-', point = fi.prec ? body.size() - fi.prec - 1 : body.size();
    bool shape = body.size() > sign + (fi.prec ? fi.prec + 1 : 0) && body.size() >= fi.width &&
                 (!fi.prec || body[point] == '.');
    for (size_t i = sign; i < body.size(); ++i) shape = shape && (i == point || std::isdigit(body[i]));
    FUZZ_EXPECT(shape, "double %a under \"%s\" printed \"%.100s\"", value, format, body.c_str());
    const double read = std::strtod(body.c_str(), nullptr);
    const double unit = std::pow(10.0, -double(std::min(fi.prec, 14u)));
    FUZZ_EXPECT(std::fabs(read - value) <= unit / 2 + std::fabs(value) * 1e-14,
                "double %.17g under \"%s\" printed \"%.100s\"", value, format, body.c_str());
}

// Reads back what the printer wrote; for the integers whose round trip
// XML_formatter.hpp promises.
template <class T>
void Reads_back(T value, const char* format) {
    const format_info fi(format);
    Printer printer(0);
    printer.Print(value, fi);
    Scanner scanner(static_cast<const xmlChar*>(printer));
    T back = ~value;
    FUZZ_EXPECT(scanner.Scan(back, fi) && back == value && !scanner.More(),
                "%s printed under \"%s\" as \"%s\" reads back as %lld (%s)", std::to_string(value).c_str(),
                format, static_cast<const char*>(printer), (long long)back,
                scanner.Error_msg() ? scanner.Error_msg() : "");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Tessel_fuzz::Split input(data, size);
    // An input names its format, or is printed under every stock format.
    std::vector<const char*> formats(std::begin(Tessel_fuzz::stock_formats),
                                     std::end(Tessel_fuzz::stock_formats));
    if (input.has_format) formats.assign(1, input.Format());
    for (const char* format : formats) {
        Tessel_fuzz::Check_digest(format, format_info(format));
        Pieces pieces(input.rest, format);
        Printer printer(1);  // grows with every piece
        pieces.Print_all(printer);
        pieces.Check(printer, "growing");
        printer.Reset();  // empties the text, keeps the buffer
        pieces.Print_all(printer);
        pieces.Check(printer, "after Reset");
        // The first eight doubles of the bytes.
        for (size_t at = 0; at < 64 && at + 8 <= std::max<size_t>(input.rest.size(), 8); at += 8)
            Double(From<double>(input.rest.substr(std::min(at, input.rest.size()))), format);
    }
    // long long and unsigned long long read back whole under these formats;
    // long within its limits of 12 decimal and 8 hexadecimal digits.
    for (const char* format : {"%d", "%X", "%016X"}) {
        Reads_back(From<long long>(input.rest), format);
        Reads_back(From<unsigned long long>(input.rest), format);
    }
    const long number = From<long>(input.rest);
    if (number > -1000000000000L && number < 1000000000000L) Reads_back(number, "%d");
    if (number >= 0 && number <= 0xFFFFFFFFL) Reads_back(number, "%X");

    // Added to a node, the printer's text is the node's content, UTF-8 or not.
    Printer printer(0);
    printer.Print(std::string(input.rest.c_str()), format_info("%s"));
    std::unique_ptr<xmlNode, void (*)(xmlNodePtr)> node(xmlNewNode(nullptr, BAD_CAST "e"), xmlFreeNode);
    printer.Add_content(node.get());
    xmlChar* content = xmlNodeGetContent(node.get());
    FUZZ_EXPECT(content && !std::strcmp(reinterpret_cast<const char*>(content), input.rest.c_str()),
                "content of a node differs from the printer's text");
    xmlFree(content);
    return 0;
}
