// Common definitions for every Tessel header: the libxml2 types the interface is
// written in and the library's namespaces.
#ifndef TESSEL_XML_DEFINES_HPP
#define TESSEL_XML_DEFINES_HPP

#include <libxml/tree.h>
#include <libxml/xmlreader.h>
#include <libxml/xmlstring.h>

#include <cstddef>

namespace Tessel {
namespace Format {}
namespace Access {}
namespace Attrib {}
}  // namespace Tessel

#endif
