// Helpers shared by the value text tests.
#ifndef TESSEL_TEST_VALUE_TEXT_HPP
#define TESSEL_TEST_VALUE_TEXT_HPP

#include "XML/XML_formatter.hpp"

#include <memory>
#include <string>

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

}  // namespace test_support

#endif
