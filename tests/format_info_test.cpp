#include "XML/XML_formatter.hpp"

#include <gtest/gtest.h>

#include <string>

using Tessel::Format::format_info;

namespace {

// The digest as one line: prefix(len)|zero_pad width.prec hex dump_size|suffix(len) white.
std::string digest(const format_info& fi) {
    char line[200];
    snprintf(line, sizeof line, "%s(%zu)|%d %u.%u %d %d|%s(%zu) %d", fi.prefix ? fi.prefix : "-",
             fi.prefix_len, fi.zero_pad, fi.width, fi.prec, fi.hex, static_cast<int>(fi.dump_size),
             fi.suffix ? fi.suffix : "-", fi.suffix_len, fi.suffix_is_whitespace);
    return line;
}

}  // namespace

TEST(FormatInfo, DigestsFormatStrings) {
    const char* cases[][2] = {
        {"%d", "-(0)|0 0.0 0 0|-(0) 0"},
        {"%04X", "-(0)|1 4.0 1 0|-(0) 0"},
        {"%02X ", "-(0)|1 2.0 1 0| (1) 1"},
        {"%2b", "-(0)|0 2.0 1 1|-(0) 0"},
        {"%S", "-(0)|0 0.0 0 2|-(0) 0"},
        {"%%d", "%d(2)|0 0.0 0 0|-(0) 0"},
        {"a%%b%d", "a%b(3)|0 0.0 0 0|-(0) 0"},
        {"%%%x", "%(1)|0 0.0 1 0|-(0) 0"},
        {"%005d", "-(0)|1 5.0 0 0|-(0) 0"},
        {"%-5d", "-(0)|0 0.0 0 0|-5d(3) 0"},
        {"%5.d", "-(0)|0 5.0 0 0|-(0) 0"},
        {"%.2f", "-(0)|0 0.2 0 0|f(1) 0"},
        {"%123456.99999d", "-(0)|0 4096.4096 0 0|-(0) 0"},  // capped at max_width
        {"%d \n", "-(0)|0 0.0 0 0| \n(2) 1"},
        {"%d x", "-(0)|0 0.0 0 0| x(2) 0"},
        {"abc", "abc(3)|0 0.0 0 0|-(0) 0"},
        {"%", "-(0)|0 0.0 0 0|-(0) 0"},
        {nullptr, "-(0)|0 0.0 0 0|-(0) 0"},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c[0]);
        format_info fi(c[0]);
        EXPECT_EQ(digest(fi), c[1]);
        EXPECT_EQ(fi.format, c[0]);
    }
    EXPECT_EQ(digest(format_info::invalid), "INVALID((8)|0 0.0 0 0|)(1) 0");
    EXPECT_EQ(digest(format_info(reinterpret_cast<const xmlChar*>("x=%04X;"))), "x=(2)|1 4.0 1 0|;(1) 0");
    EXPECT_EQ(format_info("x=%04X;").Estimate(), 7u);
}
