/// \file
/// Umbrella header: includes the whole public interface of the library.
///
/// Example: the smallest end-to-end use. Two descriptors, registered by their
/// paths when they are constructed, accept a `<log>` holding empty `<rec>`
/// elements, and Process() reads a document through them:
///
/// \code
/// #include <XML/Tessel.hpp>
///
/// static const Tessel::Info<void> log_element("/log");      // <log>, directly beneath `root`
/// static const Tessel::Info<void> rec_element("/log/rec");  // <rec>, inside <log>
///
/// int main() {
///     // log.xml: <!DOCTYPE log [<!ELEMENT log (rec*)> <!ELEMENT rec EMPTY>]><log><rec/><rec/></log>
///     Tessel::Input_file input("log.xml");
///     return input.Process() ? 0 : 1;  // Process() is true: the document was read to its end
/// }
/// \endcode
///
/// A `<note/>` declared in that DTD but without a descriptor would stop the parse
/// with a `"Bad subelement for log: note"` record, printed on standard error by
/// the default error handler (XML_input_stream.hpp). Element text, attributes
/// and children are read into application structures by typed descriptors
/// (Info<T>, XML_info.hpp) with binding rows (XML_subelements.hpp), accessors
/// (XML_accessor.hpp) and attribute tables (XML_attributes.hpp).
#ifndef TESSEL_TESSEL_HPP
#define TESSEL_TESSEL_HPP

#include "XML/XML_accessor.hpp"
#include "XML/XML_attributes.hpp"
#include "XML/XML_defines.hpp"
#include "XML/XML_filters.hpp"
#include "XML/XML_formatter.hpp"
#include "XML/XML_hash.hpp"
#include "XML/XML_info.hpp"
#include "XML/XML_input_stream.hpp"
#include "XML/XML_instance.hpp"
#include "XML/XML_mutex.hpp"
#include "XML/XML_stream.hpp"
#include "XML/XML_string.hpp"
#include "XML/XML_subelements.hpp"
#include "XML/XML_value_entry.hpp"

#endif
