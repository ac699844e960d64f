#include "support/value_text.hpp"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>

using Tessel::Format::format_info;
using Tessel::Format::Scanner;
using test_support::over;
using test_support::rest;

namespace {

// Scans one T: "value|unread text" on success, "!message|unread text" on
// failure, after checking that a failure left the target alone.
template <class T>
std::string scan(const char* text, const char* format) {
    auto s = over(text);
    T value;
    std::memset(static_cast<void*>(&value), 0x5A, sizeof value);
    T before = value;
    if (!s->Scan(value, format_info(format))) {
        EXPECT_EQ(std::memcmp(&value, &before, sizeof value), 0) << text;
        return "!" + std::string(s->Error_msg()) + "|" + rest(*s);
    }
    std::ostringstream out;
    out << +value << "|" << rest(*s);
    return out.str();
}

}  // namespace

TEST(Scanner, ReadsOneValueOrRecordsWhyNot) {
    const std::pair<std::string, std::string> cases[] = {
        {scan<int>(" 42 ", "%d"), "42| "},
        {scan<int>("\t-0x10", "%d"), "-16|"},
        {scan<unsigned char>("0x1F", "%d"), "31|"},
        {scan<char>("12345", "%d"), "123|45"},
        {scan<unsigned char>("300", "%d"), "44|"},
        {scan<char>("A", "%X"), "10|"},
        {scan<unsigned short>("0A0BC", "%02X"), "10|0BC"},
        {scan<long>("v=5;w", "v=%d;"), "5|w"},
        {scan<long>("7 \n w", "%d\n"), "7|w"},  // a white space suffix takes any amount
        {scan<int>("99999999999", "%d"), std::to_string(static_cast<int>(99999999999ULL)) + "|"},
        {scan<int>("-0x80000000", "%d"), std::to_string(INT_MIN) + "|"},
        {scan<double>("3.25", "%d"), "3.25|"},
        {scan<double>("-.5", "%d"), "-0.5|"},
        {scan<double>("-0", "%d"), "-0|"},
        {scan<double>("1e3", "%d"), "1|e3"},
        {scan<double>("12.5", "%3d"), "12|5"},
        {scan<BE_short>("FFFE", "%04X"), "-2|"},
        {scan<BE_long>("FFFFFFFF", "%08X"), "-1|"},
        {scan<BE_24bit>("ABCDEF7", "%06X"), "11259375|7"},
        {scan<BE_ulong>("123456789", "%X"), "305419896|9"},
        {scan<int>("", "%d"), "!No prefix found|"},
        {scan<double>(" \t\n ", "%d"), "!No prefix found|"},
        {scan<int>("0x", "%d"), "!Empty value|"},
        {scan<long>("-", "%d"), "!Empty value|"},
        {scan<unsigned int>("+7 8", "%d"), "!Bad character '+'|7 8"},
        {scan<int>("- 5", "%d"), "!Bad character ' '|5"},
        {scan<double>("inf", "%d"), "!Bad character 'i'|nf"},
        {scan<BE_ushort>("G", "%04X"), "!Bad character 'G'|"},
        {scan<int>("\xC3\xA9", "%d"), "!Bad character '\xC3'|\xA9"},
        {scan<int>("v=5;", "w=%d;"), "!Prefix mismatch: want \"w=\", had \"v=5;\"|v=5;"},
        {scan<int>(" v=5", "vw%d"), "!Prefix mismatch: want \"vw\", had \" v=5\"|=5"},
        {scan<int>("5kg", "%d g"), "!suffix mismatch: had \"kg\", want \" g\"|kg"},
    };
    for (const auto& c : cases) EXPECT_EQ(c.first, c.second);
}

TEST(Scanner, MessagesAndHostileText) {
    // A success keeps the last message; a message may embed the previous one
    // and is cut at strlen(format) + 100 bytes.
    auto s = over("x 1");
    int v;
    EXPECT_TRUE(!s->Scan(v, format_info("%d")) && s->Scan(v, format_info("%d")));
    const Scanner& done = *s;
    EXPECT_FALSE(done.More());
    s->Error("outer: %s", done.Error_msg());
    EXPECT_STREQ(s->Error_msg(), "outer: Bad character 'x'");
    std::string longer(500, 'z');
    EXPECT_FALSE(s->Error("%s", longer.c_str()));
    EXPECT_EQ(s->Error_msg(), longer.substr(0, 101));

    Scanner none(static_cast<xmlNodePtr>(nullptr));  // no text at all
    long l = 3;
    char text[4] = "xyz";
    EXPECT_FALSE(none.Scan(l, format_info("%d")) || none.More() || none.BiteOffString());
    EXPECT_TRUE(none.Scan(text, format_info("%s")));
    EXPECT_EQ(std::to_string(l) + text, "3");
    none.Consume();

    // Thousands of digits: only the digit limit is taken, whatever the width.
    std::string digits(5000, '7');
    EXPECT_EQ(scan<long>(digits.c_str(), "%d"),
              std::to_string(static_cast<long>(777777777777ULL)) + "|" + digits.substr(12));
    EXPECT_EQ(scan<unsigned long>(digits.c_str(), "%9999d").back(), '|');
    EXPECT_EQ(scan<double>(digits.c_str(), "%9999d"), "inf|");
    s = over("\xA0\xFF 1");  // bytes above 0x7F are not white space
    EXPECT_TRUE(s->More());
    EXPECT_STREQ(reinterpret_cast<const char*>(s->BiteOffString()), "\xA0\xFF");
}

TEST(Scanner, BlocksWordsUnnamedValuesAndCursor) {
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

    s = over("a  b");
    std::string words;
    for (int i = 0; i < 4; ++i) {
        const xmlChar* w = s->BiteOffString();
        words += w ? reinterpret_cast<const char*>(w) : "(null)";
    }
    EXPECT_EQ(words, "a(null)b(null)");
    bool ok = false, blue = true;
    EXPECT_EQ(over(" INVALID(7)")->Invalid(ok), 7u);
    over("BLUE")->Invalid(blue);
    EXPECT_TRUE(ok && !blue);

    s = over("1 2");
    xmlChar* start = s->Save();
    EXPECT_TRUE(s->Scan(bytes[0], format_info("%d")));
    xmlChar* after = s->Reset(start);
    EXPECT_EQ(rest(*s), "1 2");
    EXPECT_EQ(s->Reset(after), start);
    s->Consume();
    EXPECT_FALSE(s->More());
    EXPECT_EQ(rest(*s), "");
}

TEST(Scanner, TakesTextFromReadersAndAttributes) {
    const char doc[] = "<r><e>34</e><c><![CDATA[ 12 ]]></c></r>";
    xmlTextReaderPtr reader = xmlReaderForMemory(doc, sizeof doc - 1, "doc", nullptr, 0);
    std::string seen;
    while (xmlTextReaderRead(reader) == 1) {
        int type = xmlTextReaderNodeType(reader);
        if (type != XML_READER_TYPE_TEXT && type != XML_READER_TYPE_CDATA) continue;
        Scanner s(reader);
        long v = 0;
        EXPECT_TRUE(s.Scan(v, format_info("%d")));
        seen += std::to_string(v) + ";";
    }
    xmlFreeTextReader(reader);
    xmlNodePtr element = xmlNewNode(nullptr, reinterpret_cast<const xmlChar*>("e"));
    Scanner s(xmlNewProp(element, reinterpret_cast<const xmlChar*>("a"),
                         reinterpret_cast<const xmlChar*>(" 0x2A ")));
    unsigned long v = 0;
    EXPECT_TRUE(s.Scan(v, format_info("%d")) && !s.More());
    EXPECT_EQ(seen + std::to_string(v), "34;12;42");
    xmlFreeNode(element);
}
