// Umbrella header: includes the whole public interface of the library.
#ifndef TESSEL_TESSEL_HPP
#define TESSEL_TESSEL_HPP

#include "XML/XML_defines.hpp"

#endif
