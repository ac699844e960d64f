#include "support/value_text.hpp"

#include <gtest/gtest.h>

#include <ctime>

using Tessel::Formatter;
using Tessel::Value_entry;
using Tessel::Value_hash;
using namespace Tessel::Format;
using namespace test_support;

namespace {

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

TEST(Formatter, StringFormats) {
    Formatter<long> number;  // "%d" by default; no space is ever added
    EXPECT_EQ(read<long>(number, " 42 ") + read<long>(number, "0x2A") + written(number, -42L), "42| 42|-42");
    EXPECT_EQ(read<long>(number, ""), "!No prefix found|");
    EXPECT_EQ(written(Formatter<long>("<%04X>"), 42L), "<002A>");
    EXPECT_EQ(read<long>(Formatter<long>(reinterpret_cast<const xmlChar*>("<%04X>")), "<002A>"), "42|");
    Formatter<const char*> text;  // written only
    EXPECT_EQ(written(text, "abc") + written(text, static_cast<const char*>(nullptr)), "abc<NULL>");
    EXPECT_EQ(read<const char*>(text, "hello"), "!Cannot read text into a const char*|hello");

    // Big-endian fields go through scanner and printer overloads of their own:
    // written at the field's width, read with the field's digit limit.
    Formatter<BE_long> field("%X");
    BE_long minus_two;
    minus_two = -2L;
    EXPECT_EQ(written(field, minus_two) + "|" + read<BE_long>(field, "FFFFFFFE7"), "FFFFFFFE|-2|7");
}

TEST(Formatter, ValueTablesWriteNamesAndReadThemBack) {
    Formatter<Level> f(levels);
    Printer p(0);
    for (Level l : {Level::LOW, Level::MID, Level::HIGH, Level(7), Level(-7)}) f.Write(p, l);
    const char* text = p;
    EXPECT_STREQ(text, "low mid high INVALID(7) INVALID(4294967289)");
    auto s = over(text);
    std::string back;
    for (Level l{}; f.Read(*s, l);) back += std::to_string(static_cast<int>(l)) + " ";
    EXPECT_EQ(back + rest(*s), "-5 0 5 7 -7 ");
    EXPECT_EQ(written(f, Level::LOW), "low ");

    const std::pair<const char*, std::string> cases[] = {
        {"  medium x", "0|x"},  // any name of a value; the word ends at white space
        {"purple", "!Unknown name \"purple\"|"},
        {"INVALID(7)x", "!Unknown name \"INVALID(7)x\"|"},
        {"INVALID(", "!Unknown name \"INVALID(\"|"},
        {"INVALID(-1)", "!Unknown name \"INVALID(-1)\"|"},
        {"  ", "!No name found|"},
    };
    for (const auto& c : cases) EXPECT_EQ(read<Level>(f, c.first), c.second);
}

TEST(Formatter, TimesRoundTripInUtc) {
    const time_t leap_day = 1709211909, midnight = 1709164800;  // 2024-02-29 13:05:09 and 00:00:00 UTC
    const struct {
        TIME_MODE mode;
        const char* text;
        time_t read_back;  // the fields not shown are those of 1970-01-01 00:00:00
    } cases[] = {{YYDDMM_HHMMSS, "24-02-29 13:05:09", leap_day},
                 {YYMMDD, "24-02-29", midnight},
                 {HHMMSS, "13:05:09", leap_day - midnight},
                 {HHMM, "13:05", leap_day - midnight - 9}};
    for (const auto& c : cases) {
        Formatter<time_t> f(c.mode);
        EXPECT_EQ(written(f, leap_day) + "|" + read<time_t>(f, c.text),
                  c.text + ("|" + std::to_string(c.read_back) + "|"));
        EXPECT_EQ(written(f, c.read_back), c.text);
    }
    Formatter<time_t> date(YYMMDD), hhmm(HHMM);
    EXPECT_EQ(read<time_t>(date, "69-01-01") + written(date, static_cast<time_t>(-31536000)),
              "-31536000|69-01-01");
    EXPECT_EQ(read<time_t>(date, "68-12-31 x"), "3124137600| x");
    EXPECT_EQ(read<time_t>(date, "24-13-01") + read<time_t>(hhmm, "24:00"),
              "!Time field out of range: 13|-01!Time field out of range: 24|:00");
    EXPECT_EQ(read<time_t>(hhmm, "1305"), "!Prefix mismatch: want \":\", had \"05\"|05");
}
