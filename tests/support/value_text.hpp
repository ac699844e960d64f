// Helpers shared by the value text tests.
#ifndef TESSEL_TEST_VALUE_TEXT_HPP
#define TESSEL_TEST_VALUE_TEXT_HPP

#include "XML/XML_formatter.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>

namespace test_support {

// A scanner over a copy of text, taken from a libxml2 text node.
inline std::unique_ptr<Tessel::Format::Scanner> over(const char* text) {
    xmlNodePtr node = xmlNewText(reinterpret_cast<const xmlChar*>(text));
    auto scanner = std::make_unique<Tessel::Format::Scanner>(node);
    xmlFreeNode(node);
    return scanner;
}

// The unread rest of a scanner's text.
inline std::string rest(const Tessel::Format::Scanner& scanner) {
    const char* p = scanner;
    return p ? p : "(null)";
}

// Reads one T from text with a formatter: "value|unread text", or
// "!message|unread text" after checking that the failure left the target alone.
template <class T, class F>
std::string read(const F& formatter, const char* text) {
    auto s = over(text);
    T value;
    std::memset(static_cast<void*>(&value), 0x5A, sizeof value);
    const T before = value;
    std::ostringstream out;
    if (!formatter.Read(*s, value)) {
        EXPECT_EQ(std::memcmp(&value, &before, sizeof value), 0) << text;
        out << "!" << s->Error_msg();
    } else if constexpr (std::is_enum_v<T>) {
        out << static_cast<long long>(value);
    } else {
        out << +value;
    }
    out << "|" << rest(*s);
    return out.str();
}

}  // namespace test_support

#endif
