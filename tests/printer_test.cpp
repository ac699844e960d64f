// The printer under format strings, the growing string under it, and the
// big-endian fields whose values it prints.
#include "XML/XML_formatter.hpp"
#include "shared/endian.hpp"

#include <gtest/gtest.h>

#include "support/recording.hpp"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

using namespace Tessel;
using namespace Tessel::Format;

namespace {

// The bytes a field stores for value, in hexadecimal, and what it reads back.
template <class T, class V>
std::string stored(V value) {
    T field;
    field = value;
    return static_cast<const char*>(Printer(0).Print(field.bytes, sizeof field.bytes, format_info("%02X"))) +
           ("=" + std::to_string(static_cast<V>(field)));
}

template <class T>
std::string printed(const T& value, const char* format) {
    return static_cast<const char*>(Printer(0).Print(value, format_info(format)));
}

}  // namespace

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
        {printed(7, "abc"), "abc7"},          {printed(7, nullptr), "7"},
    };
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
        {stored<BE_long, long>(static_cast<long>(0x1FFFFFFFELL)), "FFFFFFFE=-2"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
    // Plain byte arrays: alignment 1, so they sit at any offset of a packed record.
    EXPECT_TRUE(alignof(BE_short) == 1 && alignof(BE_24bit) == 1 && alignof(BE_ulong) == 1 &&
                sizeof(BE_24bit) == 3);
}
