#include "support/value_text.hpp"

#include <gtest/gtest.h>

#include <ctime>

using Tessel::Formatter;
using Tessel::Value_entry;
using Tessel::Value_hash;
using namespace Tessel::Format;
using test_support::over;
using test_support::rest;

namespace {

template <class F, class T>
std::string written(const F& f, const T& value) {
    Printer p(0);
    f.Write(p, value);
    f.Space_if_needed(p);
    return static_cast<const char*>(p);
}

// "value|unread text", or "!message" on failure.
template <class T, class F>
std::string read(const F& f, const char* text) {
    auto s = over(text);
    T value{};
    if (!f.Read(*s, value)) return "!" + std::string(s->Error_msg());
    return std::to_string(+value) + "|" + rest(*s);
}

enum class Level : int { LOW = -5, MID = 0, HIGH = 5 };
const Value_entry<Level> level_rows[] = {
    {"low", Level::LOW}, {"mid", Level::MID}, {"medium", Level::MID}, {"high", Level::HIGH}};
const Value_hash<Level> levels(level_rows);

}  // namespace

TEST(Formatter, StockFormatsReadAndWriteTheirDefaults) {
    Formatter<long> number;
    EXPECT_EQ(read<long>(number, " 42 ") + read<long>(number, "0x2A") + read<long>(number, "-17"),
              "42| 42|-17|");
    EXPECT_EQ(read<long>(number, ""), "!No prefix found");
    EXPECT_EQ(written(number, -42L), "-42");  // no space is ever added
    EXPECT_EQ(written(Formatter<long>("<%04X>"), 42L), "<002A>");
    EXPECT_EQ(read<long>(Formatter<long>(reinterpret_cast<const xmlChar*>("<%04X>")), "<002A>"), "42|");

    Formatter<const char*> text;
    EXPECT_EQ(written(text, "abc") + written(text, static_cast<const char*>(nullptr)), "abc<NULL>");
    const char* kept = "kept";
    auto s = over("hello");
    EXPECT_FALSE(text.Read(*s, kept));
    EXPECT_STREQ(s->Error_msg(), "Cannot read text into a const char*");
    EXPECT_STREQ(kept, "kept");

    String<BE_ushort> us;  // the default width limits the digits read
    EXPECT_EQ(read<BE_ushort>(us, "1F") + read<BE_ushort>(us, "12345"), "31|4660|5");
    EXPECT_EQ(read<BE_24bit>(String<BE_24bit>(), "ABCDEF7"), "11259375|7");
    BE_long bl;
    BE_24bit b24;
    bl = -1L;
    b24 = 0xFF0ABCDEUL;
    EXPECT_EQ(written(String<BE_long>(), bl) + written(String<BE_24bit>(), b24) +
                  written(String<BE_ulong>(), BE_ulong{{0, 0, 1, 2}}) + written(us, BE_ushort{{0, 0x1F}}),
              "FFFFFFFF0ABCDE00000102001F");
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
    EXPECT_EQ(back, "-5 0 5 7 -7 ");
    EXPECT_FALSE(s->More());

    Level l = Level::HIGH;
    s = over("  medium x");  // any name of a value; the word ends at white space
    EXPECT_TRUE(f.Read(*s, l));
    EXPECT_EQ(l, Level::MID);
    EXPECT_EQ(rest(*s), "x");
    l = Level::HIGH;  // failures below leave it
    for (const char* bad : {"purple", "INVALID(7)x", "INVALID(", "INVALID(-1)"}) {
        s = over(bad);
        EXPECT_FALSE(f.Read(*s, l));
        EXPECT_EQ(s->Error_msg(), "Unknown name \"" + std::string(bad) + "\"");
    }
    s = over("  ");
    EXPECT_FALSE(f.Read(*s, l));
    EXPECT_STREQ(s->Error_msg(), "No name found");
    EXPECT_EQ(l, Level::HIGH);

    Printer q(0);
    q.Print("x");
    f.Space_if_needed(q);
    f.Space_if_needed(q);
    EXPECT_STREQ(static_cast<const char*>(q), "x ");
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
              "!Time field out of range: 13!Time field out of range: 24");
    EXPECT_EQ(read<time_t>(hhmm, "1305"), "!Prefix mismatch: want \":\", had \"05\"");
}
