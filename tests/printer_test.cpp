#include "XML/XML_formatter.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

using Tessel::xmlString;
using Tessel::Format::format_info;
using Tessel::Format::Printer;

namespace {

template <class T>
std::string printed(const T& value, const char* format) {
    Printer p(0);
    return static_cast<const char*>(p.Print(value, format_info(format)));
}

// The text is NUL-terminable after every operation.
void expect_room(Printer& p) { EXPECT_LT(std::strlen(p), p.Len()); }

}  // namespace

TEST(XmlString, NeedGrowsToExactlyOneMoreAndSharesTheCore) {
    xmlString empty(0);
    EXPECT_TRUE(empty.Need(0));
    EXPECT_EQ(empty.Len(), 1u);
    xmlString s(size_t{4});
    std::memcpy(s.Buf(), "abcd", 4);
    xmlChar* before = s.Buf();
    EXPECT_FALSE(s.Need(3));
    EXPECT_EQ(s.Buf(), before);
    xmlString shared(s);
    EXPECT_TRUE(s.Need(4));
    EXPECT_EQ(std::memcmp(s.Buf(), "abcd", 4), 0);
    EXPECT_EQ(shared.Buf(), s.Buf());  // every holder sees the reallocation
    EXPECT_EQ(shared.Len(), 5u);
    shared = reinterpret_cast<const xmlChar*>("other");  // rebinds; s keeps its core
    EXPECT_STREQ(static_cast<const char*>(shared), "other");
    EXPECT_EQ(s.Len(), 5u);
}

TEST(Printer, Numbers) {
    const std::pair<std::string, std::string> cases[] = {
        {printed(255L, "%d"), "255"},
        {printed(255L, "%04X"), "00FF"},
        {printed(0x1234L, "%2X"), "1234"},
        {printed(0, "%X"), "0"},
        {printed(0, "%3X"), "000"},
        {printed(-1, "%X"), "FFFFFFFF"},
        {printed(short(-2), "%X"), "FFFE"},
        {printed(char(-2), "%x"), "FE"},
        {printed('A', "%d"), "65"},
        {printed('A', "%X"), "41"},
        {printed(-7, "%3d"), "-07"},
        {printed(42, "%4d"), "0042"},
        {printed(7, "INVALID(%d)"), "INVALID(7)"},
        {printed(7, "%%%d%%"), "%7%%"},
        {printed(char(CHAR_MIN), "%d"), std::to_string(CHAR_MIN)},
        {printed(-2.345, "%6.2d"), "-02.35"},
        {printed(0.999, "%.2d"), "1.00"},
        {printed(1.5, "%d"), "2"},
        {printed(-2.5, "%d"), "-3"},
        {printed(0.3, "%d"), "0"},
        {printed(-0.0, "%d"), "0"},
        {printed(3.14159, "%.2f"), "3.14f"},
        {printed(std::nan(""), "v=%5d;"), "v=nan;"},
        {printed(HUGE_VAL, "%d"), "inf"},
        {printed(-HUGE_VAL, "%.2d"), "-inf"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);

    // Extremes agree with the C library; doubles of any size keep room for the
    // terminator.
    char expect[100];
    snprintf(expect, sizeof expect, "%ld %lX %lu %u", LONG_MIN, static_cast<unsigned long>(LONG_MIN),
             ULONG_MAX, UINT_MAX);
    Printer p(0);
    format_info spaced("%d ");
    p.Print(LONG_MIN, spaced)
        .Print(LONG_MIN, format_info("%X "))
        .Print(ULONG_MAX, spaced)
        .Print(UINT_MAX, format_info("%d"));
    EXPECT_STREQ(static_cast<const char*>(p), expect);
    std::string max = printed(-std::numeric_limits<double>::max(), "%.3d");
    EXPECT_EQ(std::to_string(max.size()) + max.substr(0, 4), "314-179");
    EXPECT_EQ(printed(1.0 / 3.0, "%.400d").substr(0, 8), "0.333333");
}

TEST(Printer, BlocksTextsAndBigEndianFields) {
    const unsigned char bytes[] = {0x01, 0x02};
    const char block[8] = {'a', 'b', '\0', 'g', 'a', 'r', 'b', 'g'};
    Printer p(0);
    p.Print(bytes, sizeof bytes, format_info("%02X:")).Print(block, sizeof block, format_info("%s"));
    p.Print("wxyz", 4, format_info("%s"));  // at most size - 1 bytes
    p.Print(static_cast<const char*>(nullptr), format_info("<%d>")).Print("t", format_info("<%d>"));
    p.Print(reinterpret_cast<const xmlChar*>("|")).Invalid(7);
    EXPECT_STREQ(static_cast<const char*>(p), "01:02:abwxy<NULL>t|INVALID(7)");
    // Fields print as their native value; hexadecimal shows the field's own width.
    BE_long bl;
    BE_short bs;
    BE_ulong ul;
    bl = -1L;
    bs = short(-2);
    ul = 0xDEADBEEFUL;
    EXPECT_EQ(
        printed(bl, "%X") + printed(bl, " %d") + printed(bs, " %X") + printed(bs, " %d") + printed(ul, " %d"),
        "FFFFFFFF -1 FFFE -2 3735928559");
}

TEST(Printer, BufferGrowsLinearlyAndNeverOverflows) {
    Printer p(0);
    EXPECT_EQ(p.Len(), 100u);
    EXPECT_STREQ(static_cast<const char*>(p), "");
    for (int i = 0; i < 1000; ++i) p.Print(i % 2 ? "b" : "a");
    EXPECT_EQ(std::string(p).substr(996), "abab");
    p.Reset();
    EXPECT_STREQ(static_cast<const char*>(p), "");
    EXPECT_GE(p.Len(), 1000u);

    // Linear growth: the spare room never exceeds about two reservations.
    Printer numbers(0);
    for (int i = 0; i < 2000; ++i) numbers.Print(12345L, format_info("%d"));
    EXPECT_EQ(std::strlen(numbers), 10000u);
    EXPECT_LE(numbers.Len(), 10000u + 101u);

    for (const char* format : {"%100000d", "%100000X", "x%100000.3dy", "%.100000d"}) {
        Printer wide(0);
        wide.Print(1L, format_info(format)).Print(1e300, format_info(format));
        expect_room(wide);
        EXPECT_GE(std::strlen(wide), 100000u) << format;
    }
    // Digits that exactly fill the room still leave space for the terminator.
    for (size_t fill = 80; fill < 100; ++fill) {
        Printer tight(0);
        tight.Print(std::string(fill, '.').c_str()).Print(ULONG_MAX, format_info("%X"));
        expect_room(tight);
    }
}

TEST(Printer, AddsContentToNodes) {
    xmlNodePtr node = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("e"));
    Printer p(0);
    p.Print(5L, format_info("v=%d"));
    testing::internal::CaptureStderr();
    p.Add_content(node);
    p.Print("\xFF");
    p.Add_content(node);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "content err\n");
    EXPECT_STREQ(static_cast<const char*>(p), "v=5\xFF");  // the printer keeps its text
    xmlChar* content = xmlNodeGetContent(node);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(content)).substr(0, 6), "v=5v=5");
    xmlFree(content);
    xmlFreeNode(node);
}
