// Umbrella header: includes the whole public interface of the library.
#ifndef TESSEL_TESSEL_HPP
#define TESSEL_TESSEL_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_filters.hpp"
#include "XML/XML_formatter.hpp"
#include "XML/XML_hash.hpp"
#include "XML/XML_info.hpp"
#include "XML/XML_input_stream.hpp"
#include "XML/XML_instance.hpp"
#include "XML/XML_mutex.hpp"
#include "XML/XML_string.hpp"
#include "XML/XML_value_entry.hpp"

#endif
