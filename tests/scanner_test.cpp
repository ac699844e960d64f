// Values as text: the scanner that reads them, the printer that writes them
// under format strings (and the growing string under it), the formatters that
// use both, and the big-endian fields whose values they read and print.
#include "XML/XML_formatter.hpp"
#include "shared/endian.hpp"

#include "support/recording.hpp"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <tuple>
#include <type_traits>

using namespace Tessel;
using namespace Tessel::Format;

namespace {

// A scanner over a copy of text, taken from a libxml2 text node.
std::unique_ptr<Scanner> over(const char* text) {
    std::unique_ptr<xmlNode, void (*)(xmlNodePtr)> node(xmlNewText(BAD_CAST text), xmlFreeNode);
    return std::make_unique<Scanner>(node.get());
}

// The unread rest of a scanner's text.
std::string rest(const char* p) { return p ? p : "(null)"; }

// Reads one T from text with a formatter: "value|unread text", or
// "!message|unread text" after checking that the failure left the target alone.
template <class T, class F>
std::string read(const F& formatter, const char* text) {
    auto s = over(text);
    T value;
    std::memset(static_cast<void*>(&value), 0x5A, sizeof value);
    const T before = value;
    const bool ok = formatter.Read(*s, value);
    EXPECT_TRUE(ok || std::memcmp(&value, &before, sizeof value) == 0) << text;
    std::ostringstream out;  // enumerators and bytes as numbers
    if (ok) out << +static_cast<std::conditional_t<std::is_enum_v<T>, long long, T>>(value);
    return (ok ? out.str() : "!" + std::string(s->Error_msg())) + "|" + rest(*s);
}

template <class T>
std::string scan(const char* text, const char* format) {
    return read<T>(Formatter<T>(format), text);
}

template <class T>
std::string printed(const T& value, const char* format) {
    return static_cast<const char*>(Printer(0).Print(value, format_info(format)));
}

// The bytes a field stores for value, in hexadecimal, and what it reads back.
template <class T, class V>
std::string stored(V value) {
    T field;
    field = value;
    return static_cast<const char*>(Printer(0).Print(field.bytes, sizeof field.bytes, format_info("%02X"))) +
           ("=" + std::to_string(static_cast<V>(field)));
}

// The written text; the space a formatter may add is added at most once.
template <class F, class T>
std::string written(const F& f, const T& value) {
    Printer p(0);
    f.Write(p, value);
    f.Space_if_needed(p);
    f.Space_if_needed(p);
    return static_cast<const char*>(p);
}

enum class Level : int { LOW = -5, MID = 0, HIGH = 5 };
const Value_entry<Level> level_rows[] = {
    {"low", Level::LOW}, {"mid", Level::MID}, {"medium", Level::MID}, {"high", Level::HIGH}};
const Value_hash<Level> levels(level_rows);

}  // namespace

TEST(Scanner, ReadsOneValueOrRecordsWhyNot) {
    // One byte takes at most 3 decimal digits; a white space suffix takes any
    // amount of white space; bytes above 0x7F are not white space.
    const std::pair<std::string, std::string> cases[] = {
        {scan<int>(" 42 ", "%d"), "42| "},          {scan<int>("\t-0x10", "%d"), "-16|"},
        {scan<unsigned char>("0x1F", "%d"), "31|"}, {scan<char>("12345", "%d"), "123|45"},
        {scan<unsigned char>("300", "%d"), "44|"},  {scan<long>("v=5;w", "v=%d;"), "5|w"},
        {scan<long>("7 \n w", "%d\n"), "7|w"},      {scan<double>("3.25", "%d"), "3.25|"},
        {scan<double>("-.5", "%d"), "-0.5|"},       {scan<double>("-0", "%d"), "-0|"},
        {scan<double>("1e3", "%d"), "1|e3"},        {scan<double>("12.5", "%3d"), "12|5"},
        {scan<int>("", "%d"), "!No prefix found|"}, {scan<int>("0x", "%d"), "!Empty value|"},
        {scan<long>("-", "%d"), "!Empty value|"},   {scan<int>("- 5", "%d"), "!Bad character ' '|5"}};
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
    const std::string digits(5000, '7');
    EXPECT_EQ(scan<unsigned short>("0A0BC", "%02X"), "10|0BC");
    EXPECT_EQ(scan<int>("99999999999", "%d"), std::to_string(static_cast<int>(99999999999ULL)) + "|");
    EXPECT_EQ(scan<int>("-0x80000000", "%d"), std::to_string(INT_MIN) + "|");
    EXPECT_EQ(scan<int>(digits.c_str(), "%d"),
              std::to_string(static_cast<int>(777777777777ULL)) + "|" + digits.substr(12));
    EXPECT_EQ(scan<double>(digits.c_str(), "%9999d"), "inf|" + digits.substr(format_info::max_width));
    EXPECT_EQ(scan<double>(" \t\n ", "%d"), "!No prefix found|");
    EXPECT_EQ(scan<unsigned int>("+7 8", "%d"), "!Bad character '+'|7 8");
    EXPECT_EQ(scan<double>("inf", "%d"), "!Bad character 'i'|nf");
    EXPECT_EQ(scan<int>("\xC3\xA9", "%d"), "!Bad character '\xC3'|\xA9");
    EXPECT_EQ(scan<int>("v=5;", "w=%d;"), "!Prefix mismatch: want \"w=\", had \"v=5;\"|v=5;");
    EXPECT_EQ(scan<int>(" v=5", "vw%d"), "!Prefix mismatch: want \"vw\", had \" v=5\"|=5");
    EXPECT_EQ(scan<int>("5kg", "%d g"), "!suffix mismatch: had \"kg\", want \" g\"|kg");
}

TEST(Scanner, BlocksMessagesAndNoText) {
    unsigned char bytes[4] = {1, 2, 3, 4};
    auto s = over("DE AD BE EF");
    EXPECT_TRUE(s->Scan(bytes, format_info("%02B ")));
    EXPECT_EQ(bytes[0] << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3], static_cast<int>(0xDEADBEEF));
    s = over("DEAD");
    EXPECT_FALSE(s->Scan(bytes, format_info("%02b")));
    EXPECT_STREQ(s->Error_msg(), "Cannot read byte 2 of 4: No prefix found:Data \"DEAD\",Item \"\"");
    EXPECT_EQ(bytes[0], 0xDE);
    char word[4];
    s = over("abcdef");
    EXPECT_TRUE(s->Scan(word, format_info("%s")));
    EXPECT_EQ(word + ("|" + rest(*s)), "abc|def");

    // A success keeps the last message; a message may embed the previous one
    // and is cut at strlen(format) + 100 bytes.
    s = over("x 1 2");
    int v;
    EXPECT_TRUE(!s->Scan(v, format_info("%d")) && s->Scan(v, format_info("%d")) && s->More());
    s->Consume();  // to the end of the text
    EXPECT_EQ(rest(*s) + (s->More() ? "more" : ""), "");
    s->Error("outer: %s", s->Error_msg());
    EXPECT_STREQ(s->Error_msg(), "outer: Bad character 'x'");
    std::string longer(500, 'z');
    EXPECT_FALSE(s->Error("%s", longer.c_str()));
    EXPECT_EQ(s->Error_msg(), longer.substr(0, 101));

    Scanner none(static_cast<xmlNodePtr>(nullptr));  // no text at all
    long l = 3;
    EXPECT_FALSE(none.Scan(l, format_info("%d")) || none.More() || none.BiteOffString());
    EXPECT_TRUE(none.Scan(word, format_info("%s")));
    EXPECT_EQ(std::to_string(l) + word, "3");
    none.Consume();
}

// Every long long and unsigned long long printed under "%d", "%X" and "%016X"
// reads back whole, and beyond 64 bits is an error rather than a wrap; long
// keeps its 12 decimal and 8 hexadecimal digits whatever its width, and a
// big-endian field keeps 32 bits (its hexadecimal digit limit is checked with
// the formatters).
TEST(Scanner, WideIntegersReadBackWhatThePrinterWrote) {
    const auto round_trip = [](auto value, const char* format) {
        const std::string text = printed(value, format);
        EXPECT_EQ(scan<decltype(value)>(text.c_str(), format), std::to_string(value) + "|") << format << text;
    };
    for (const char* format : {"%d", "%X", "%016X"}) {
        for (long long value : {0LL, -1LL, 1234567890123LL, LLONG_MIN, LLONG_MAX}) round_trip(value, format);
        for (unsigned long long value : {0ULL, 0x100000000ULL, ULLONG_MAX}) round_trip(value, format);
    }
    const std::string signed_range = "!Value out of range: beyond a signed 64-bit integer|";
    const std::pair<std::string, std::string> cases[] = {
        {scan<long>("1234567890123", "%d"), "123456789012|3"},
        {scan<unsigned long>("123456789", "%X"), "305419896|9"},
        {scan<long long>("-9223372036854775808", "%d"), std::to_string(LLONG_MIN) + "|"},
        {scan<long long>("9223372036854775808", "%d"), signed_range},
        {scan<long long>("-9223372036854775809", "%d"), signed_range},
        {scan<long long>("FFFFFFFFFFFFFFFF", "%X"), "-1|"},
        {scan<unsigned long long>("18446744073709551616", "%d"), "!Value out of range: more than 64 bits|6"},
        {scan<unsigned long long>("99999999999999999999", "%d"), "!Value out of range: more than 64 bits|9"},
        {scan<unsigned long long>("1FFFFFFFFFFFFFFFF", "%X"), "2305843009213693951|F"}};
    for (const auto& [got, want] : cases) EXPECT_EQ(got, want);
    EXPECT_EQ(scan<BE_ulong>("123456789012", "%d"), std::to_string(123456789012ULL & 0xFFFFFFFF) + "|");
}

TEST(Formatter, StringFormatsAndValueTables) {
    Formatter<long> number;  // "%d" by default; no space is ever added
    EXPECT_EQ(read<long>(number, " 42 ") + read<long>(number, "0x2A") + written(number, -42L), "42| 42|-42");
    EXPECT_EQ(written(Formatter<long>("<%04X>"), 42L), "<002A>");
    EXPECT_EQ(read<long>(Formatter<long>(reinterpret_cast<const xmlChar*>("<%04X>")), "<002A>"), "42|");
    Formatter<const char*> text;  // written only
    EXPECT_EQ(written(text, "abc") + written(text, static_cast<const char*>(nullptr)), "abc<NULL>");
    EXPECT_EQ(read<const char*>(text, "hello"), "!Cannot read text into a const char*|hello");

    // Big-endian fields go through scanner and printer overloads of their own:
    // written at the field's width, read with the field's digit limit.
    Formatter<BE_long> field("%X");
    const BE_long minus_two{{0xFF, 0xFF, 0xFF, 0xFE}};
    EXPECT_EQ(written(field, minus_two) + "|" + read<BE_long>(field, "FFFFFFFE7"), "FFFFFFFE|-2|7");

    // Value tables: names written, and read back.
    Formatter<Level> f(levels);
    Printer p(0);
    for (Level l : {Level::LOW, Level::MID, Level::HIGH, Level(7), Level(-7)}) f.Write(p, l);
    EXPECT_STREQ(static_cast<const char*>(p), "low mid high INVALID(7) INVALID(4294967289)");
    auto s = over(p);
    std::string back;
    for (Level l{}; f.Read(*s, l);) back += std::to_string(static_cast<int>(l)) + " ";
    EXPECT_EQ(back + rest(*s), "-5 0 5 7 -7 ");
    EXPECT_EQ(written(f, Level::LOW), "low ");

    // Any name of a value is read; the word ends at white space.
    const std::pair<const char*, std::string> cases[] = {{"  medium x", "0|x"},
                                                         {"INVALID(7)x", "!Unknown name \"INVALID(7)x\"|"},
                                                         {"INVALID(", "!Unknown name \"INVALID(\"|"},
                                                         {"INVALID(-1)", "!Unknown name \"INVALID(-1)\"|"},
                                                         {"  ", "!No name found|"}};
    for (const auto& c : cases) EXPECT_EQ(read<Level>(f, c.first), c.second);
}

TEST(Formatter, TimesRoundTripInUtc) {
    const time_t leap_day = 1709211909, midnight = 1709164800;  // 2024-02-29 13:05:09 and 00:00:00 UTC
    // Mode, text of the leap day, the time read back from it (the fields not
    // shown are those of 1970-01-01 00:00:00).
    const std::tuple<TIME_MODE, const char*, time_t> cases[] = {
        {YYDDMM_HHMMSS, "24-02-29 13:05:09", leap_day},
        {YYMMDD, "24-02-29", midnight},
        {HHMMSS, "13:05:09", leap_day - midnight},
        {HHMM, "13:05", leap_day - midnight - 9}};
    for (const auto& [mode, text, read_back] : cases) {
        Formatter<time_t> f(mode);
        EXPECT_EQ(written(f, leap_day) + "|" + read<time_t>(f, text),
                  text + ("|" + std::to_string(read_back) + "|"));
        EXPECT_EQ(written(f, read_back), text);
    }
    Formatter<time_t> date(YYMMDD), hhmm(HHMM);
    EXPECT_EQ(read<time_t>(date, "69-01-01") + written(date, static_cast<time_t>(-31536000)),
              "-31536000|69-01-01");
    EXPECT_EQ(read<time_t>(date, "68-12-31 x"), "3124137600| x");
    EXPECT_EQ(read<time_t>(date, "24-13-01") + read<time_t>(hhmm, "24:00"),
              "!Time field out of range: 13|-01!Time field out of range: 24|:00");
    EXPECT_EQ(read<time_t>(hhmm, "1305"), "!Prefix mismatch: want \":\", had \"05\"|05");
}

// The rows from "a%%b%d" on are format strings with a literal prefix or
// suffix, a width without a precision, or no conversion at all.
TEST(Printer, Numbers) {
    const std::pair<std::string, std::string> cases[] = {
        {printed(255L, "%d"), "255"},         {printed(255L, "%04X"), "00FF"},
        {printed(0x1234L, "%2X"), "1234"},    {printed(0, "%X"), "0"},
        {printed(0, "%3X"), "000"},           {printed(-1, "%X"), "FFFFFFFF"},
        {printed(short(-2), "%X"), "FFFE"},   {printed(char(-2), "%x"), "FE"},
        {printed('A', "%d"), "65"},           {printed(-7, "%3d"), "-07"},
        {printed(7, "%%%d%%"), "%7%%"},       {printed(-2.345, "%6.2d"), "-02.35"},
        {printed(0.999, "%.2d"), "1.00"},     {printed(1.5, "%d"), "2"},
        {printed(-2.5, "%d"), "-3"},          {printed(-0.0, "%d"), "0"},
        {printed(NAN, "v=%5d;"), "v=nan;"},   {printed(HUGE_VAL, "%d"), "inf"},
        {printed(-HUGE_VAL, "%.2d"), "-inf"}, {printed(7, "a%%b%d"), "a%b7"},
        {printed(7, "%-5d"), "7-5d"},         {printed(2.5, "%5.d"), "00003"},
        {printed(7, "abc"), "abc7"},          {printed(7, nullptr), "7"}};
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
    EXPECT_EQ(printed(char(CHAR_MIN), "%d") + printed(7, "%"), std::to_string(CHAR_MIN) + "7");
    EXPECT_EQ(printed(1.0 / 3.0, "%.400d").substr(0, 8), "0.333333");
    // Widths and precisions are capped at format_info::max_width.
    EXPECT_EQ(printed(1L, "%100000d"), std::string(4095, '0') + "1");
    EXPECT_EQ(printed(1.0, "x%.100000dy"), "x1." + std::string(4096, '0') + "y");
    // From 2^52 on a double is an integer: it prints the digits of its exact
    // value (half-up rounding would round odd values to an even neighbour).
    // Below, rounding is half up as before.
    for (double value : {0x1p52 + 1, 5700000000000001.0, -5700000000000001.0, 0x1p64, 1e22, DBL_MAX}) {
        char exact[400];
        snprintf(exact, sizeof exact, "%.0f", value);
        EXPECT_EQ(printed(value, "%d"), exact);
        EXPECT_EQ(printed(value, "%.2d"), std::string(exact) + ".00");
    }
    EXPECT_EQ(printed(4503599627370495.5, "%d"), "4503599627370496");
}

// Blocks, texts and a value without a name, in one text. Text that is not
// UTF-8 is reported and added to a node all the same; adding appends.
TEST(Printer, BlocksAndTextsIntoNodes) {
    const unsigned char bytes[] = {0x01, 0x02};
    const char block[8] = {'a', 'b', '\0', 'g', 'a', 'r', 'b', 'g'};
    Printer p(0);
    p.Print(bytes, sizeof bytes, format_info("%02X:")).Print(block, sizeof block, format_info("%s"));
    p.Print("wxyz", 4, format_info("%s"));  // at most size - 1 bytes
    p.Print(static_cast<const char*>(nullptr), format_info("<%d>")).Print("t", format_info("<%d>"));
    p.Print(reinterpret_cast<const xmlChar*>("|")).Invalid(7);
    EXPECT_STREQ(static_cast<const char*>(p), "01:02:abwxy<NULL>t|INVALID(7)");

    p.Reset();
    xmlNodePtr node = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("e"));
    testing::internal::CaptureStderr();
    p.Print("v=5").Add_content(node);
    p.Print("\xFF").Add_content(node);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "content err\n");
    EXPECT_STREQ(static_cast<const char*>(p), "v=5\xFF");  // the printer keeps its text
    EXPECT_EQ(Tessel_test::Dump(node), "<e>v=5v=5\xFF</e>");
}

// The string under a printer: Need grows the buffer to exactly one byte more,
// and every holder of the core sees the reallocation.
TEST(Printer, BufferGrowsLinearlyAndNeverOverflows) {
    xmlString s(size_t{4}), shared(s);
    std::memcpy(s.Buf(), "abcd", 4);
    EXPECT_TRUE(!s.Need(3) && s.Need(4) && shared.Len() == 5 && shared.Buf() == s.Buf());
    EXPECT_EQ(std::memcmp(shared.Buf(), "abcd", 4), 0);

    Printer p(0);
    for (int i = 0; i < 2000; ++i) p.Print(12345L, format_info("%d"));
    // Linear growth: the spare room never exceeds about two reservations.
    EXPECT_TRUE(std::strlen(p) == 10000 && p.Len() <= 10000 + 101) << p.Len();
    p.Reset();  // empties the text, keeps the buffer
    EXPECT_TRUE(std::strlen(p) == 0 && p.Len() >= 10000);
    p.Print(1e300, format_info("%100000.100000d"));
    EXPECT_EQ(std::strlen(p), 301u + 1 + format_info::max_width);
    // Digits that exactly fill the room still leave space for the terminator.
    for (size_t fill = 80; fill < 100; ++fill) {
        Printer tight(0);
        tight.Print(std::string(fill, '.').c_str()).Print(ULONG_MAX, format_info("%X"));
        EXPECT_LT(std::strlen(tight), tight.Len());
    }
}

TEST(Endian, BytesAreMostSignificantFirstWithFixedWidths) {
    const std::pair<std::string, std::string> cases[] = {
        {stored<BE_ushort, unsigned>(0xFFFE), "FFFE=65534"},
        {stored<BE_short, int>(-2), "FFFE=-2"},
        {stored<BE_24bit, unsigned long>(0x12345678), "345678=3430008"},  // bits 24-31 are dropped
        {stored<BE_24bit, unsigned long>(0xFFFFFF), "FFFFFF=16777215"},
        {stored<BE_long, long>(-1), "FFFFFFFF=-1"},
        {stored<BE_long, long>(-2147483647L - 1), "80000000=-2147483648"},
        {stored<BE_ulong, unsigned long>(0xDEADBEEF), "DEADBEEF=3735928559"},
        // Four-byte fields keep 32 bits where long is wider.
        {stored<BE_ulong, unsigned long>(static_cast<unsigned long>(0x123456789ULL)), "23456789=591751049"},
        {stored<BE_long, long>(static_cast<long>(0x1FFFFFFFELL)), "FFFFFFFE=-2"}};
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
    // Plain byte arrays: alignment 1, so they sit at any offset of a packed record.
    EXPECT_TRUE(alignof(BE_short) == 1 && alignof(BE_24bit) == 1 && alignof(BE_ulong) == 1 &&
                sizeof(BE_24bit) == 3);
}
