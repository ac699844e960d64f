#include "support/value_text.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

using Tessel::Format::format_info;
using Tessel::Format::Scanner;
using namespace test_support;

namespace {

template <class T>
std::string scan(const char* text, const char* format) {
    return test_support::read<T>(Tessel::Formatter<T>(format), text);
}

}  // namespace

TEST(Scanner, ReadsOneValueOrRecordsWhyNot) {
    const std::string digits(5000, '7');
    const std::pair<std::string, std::string> cases[] = {
        {scan<int>(" 42 ", "%d"), "42| "},
        {scan<int>("\t-0x10", "%d"), "-16|"},
        {scan<unsigned char>("0x1F", "%d"), "31|"},
        {scan<char>("12345", "%d"), "123|45"},  // at most 3 decimal digits for one byte
        {scan<unsigned char>("300", "%d"), "44|"},
        {scan<unsigned short>("0A0BC", "%02X"), "10|0BC"},
        {scan<long>("v=5;w", "v=%d;"), "5|w"},
        {scan<long>("7 \n w", "%d\n"), "7|w"},  // a white space suffix takes any amount
        {scan<int>("99999999999", "%d"), std::to_string(static_cast<int>(99999999999ULL)) + "|"},
        {scan<int>("-0x80000000", "%d"), std::to_string(INT_MIN) + "|"},
        {scan<int>(digits.c_str(), "%d"),
         std::to_string(static_cast<int>(777777777777ULL)) + "|" + digits.substr(12)},
        {scan<double>(digits.c_str(), "%9999d"), "inf|" + digits.substr(format_info::max_width)},
        {scan<double>("3.25", "%d"), "3.25|"},
        {scan<double>("-.5", "%d"), "-0.5|"},
        {scan<double>("-0", "%d"), "-0|"},
        {scan<double>("1e3", "%d"), "1|e3"},
        {scan<double>("12.5", "%3d"), "12|5"},
        {scan<int>("", "%d"), "!No prefix found|"},
        {scan<double>(" \t\n ", "%d"), "!No prefix found|"},
        {scan<int>("0x", "%d"), "!Empty value|"},
        {scan<long>("-", "%d"), "!Empty value|"},
        {scan<unsigned int>("+7 8", "%d"), "!Bad character '+'|7 8"},
        {scan<int>("- 5", "%d"), "!Bad character ' '|5"},
        {scan<double>("inf", "%d"), "!Bad character 'i'|nf"},
        {scan<int>("\xC3\xA9", "%d"), "!Bad character '\xC3'|\xA9"},  // bytes above 0x7F are not white space
        {scan<int>("v=5;", "w=%d;"), "!Prefix mismatch: want \"w=\", had \"v=5;\"|v=5;"},
        {scan<int>(" v=5", "vw%d"), "!Prefix mismatch: want \"vw\", had \" v=5\"|=5"},
        {scan<int>("5kg", "%d g"), "!suffix mismatch: had \"kg\", want \" g\"|kg"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
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
    s = over("x 1");
    int v;
    EXPECT_TRUE(!s->Scan(v, format_info("%d")) && s->Scan(v, format_info("%d")) && !s->More());
    s->Error("outer: %s", s->Error_msg());
    EXPECT_STREQ(s->Error_msg(), "outer: Bad character 'x'");
    std::string longer(500, 'z');
    EXPECT_FALSE(s->Error("%s", longer.c_str()));
    EXPECT_EQ(s->Error_msg(), longer.substr(0, 101));

    s = over("1 2");
    s->Consume();  // to the end of the text
    EXPECT_EQ(rest(*s) + (s->More() ? "more" : ""), "");

    Scanner none(static_cast<xmlNodePtr>(nullptr));  // no text at all
    long l = 3;
    EXPECT_FALSE(none.Scan(l, format_info("%d")) || none.More() || none.BiteOffString());
    EXPECT_TRUE(none.Scan(word, format_info("%s")));
    EXPECT_EQ(std::to_string(l) + word, "3");
    none.Consume();
}

// Every long and unsigned long printed under "%d", "%X" and "%016X" reads back
// whole, whatever the width of long; the 32-bit types and the big-endian
// fields keep their digit limits.
template <class T>
void Expect_round_trips(std::initializer_list<T> values) {
    for (const char* format : {"%d", "%X", "%016X"}) {
        const format_info fi(format);
        for (T value : values) {
            Tessel::Format::Printer printer(0);
            const char* text = printer.Print(value, fi);
            SCOPED_TRACE(std::string(format) + " " + text);
            EXPECT_EQ(scan<T>(text, format), std::to_string(value) + "|");
        }
    }
}

TEST(Scanner, WideIntegersReadBackWhatThePrinterWrote) {
    Expect_round_trips<long>({0, -1, 1234567890123L, LONG_MIN, LONG_MAX});
    Expect_round_trips<unsigned long>({0, 0x100000000UL, ULONG_MAX});
    EXPECT_EQ(scan<long>("123456789012345678901", "%d").back(), '1');  // 20 digits at most
    EXPECT_EQ(scan<BE_long>("FFFFFFFFF", "%X"), "-1|F");
    EXPECT_EQ(scan<BE_ulong>("123456789012", "%d"), std::to_string(123456789012ULL & 0xFFFFFFFF) + "|");
}
