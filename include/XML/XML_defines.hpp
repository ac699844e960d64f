/// \file
/// Common definitions for every Tessel header: libxml2's types and the library's namespaces.
///
/// Example: names and text cross the interface as libxml2's UTF-8 xmlChar,
/// elements as its tree nodes:
///
/// \code
/// #include <XML/XML_defines.hpp>
///
/// const xmlChar* tag = BAD_CAST "rec";         // a string literal as xmlChar
/// xmlNodePtr node = xmlNewNode(nullptr, tag);  // <rec/>
/// bool same = xmlStrEqual(node->name, tag);    // true
/// xmlFreeNode(node);
/// namespace Fmt = Tessel::Format;              // Fmt::Scanner, Fmt::Printer (XML_formatter.hpp)
/// \endcode
///
/// The interface is written in the libxml2 types that this header includes
/// (`<libxml/tree.h>`, `<libxml/xmlreader.h>`, `<libxml/xmlstring.h>`). Every name of
/// the library lives in the namespace Tessel, value text in Tessel::Format.
/// Tessel::Access and Tessel::Attrib are declared here and hold nothing yet.
#ifndef TESSEL_XML_DEFINES_HPP
#define TESSEL_XML_DEFINES_HPP

#include <libxml/tree.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlstring.h>

#include <cstddef>

/// Every name of the library.
namespace Tessel {
///@{
/// The types for 64-bit members. long reads at most 12 decimal or 8
/// hexadecimal digits whatever its width, and std::int64_t is long on some
/// platforms and long long on others; long long reads and writes its whole
/// range on every platform, with values out of range refused.
using int64 = long long;
using uint64 = unsigned long long;
///@}

/// Value text: format strings, the scanner, the printer and the formatters
/// (XML_formatter.hpp).
namespace Format {}
/// Accessors and manipulators (XML_accessor.hpp).
namespace Access {}
/// Attribute tables (XML_attributes.hpp).
namespace Attrib {}
}  // namespace Tessel

#endif
