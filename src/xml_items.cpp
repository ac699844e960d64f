// The library's own instantiations of the typed layer, for primitive long and
// string elements, and the check of bindings pulled in by nameless descriptors.
#include "XML/XML_subelements.hpp"

#include <cstdio>
#include <cstdlib>

namespace Tessel {

void detail::Binding_mismatch(const char* wanted, const char* got) {
    std::fflush(stdout);
    std::fprintf(stderr, "Mismatch: wanted %s, got %s\n", wanted, got);
    std::abort();
}

template class Access::Accessor<long>;
template class Access::Primative<long>;
template Access::Accessor<long>* Get_Access<long>();
template class Accessor<long>;
template class Info_primative<long>;
template class Instance<long, Info_primative<long>>;
template class Dummy_instance<long, Info_primative<long>>;
template class Subelement_base<long>;
template class Subelement_entry<long, Info_primative<long>>;
template class Subelement_primative<long>;

template class Access::Accessor<const char*>;
template class Access::Primative<const char*>;
template Access::Accessor<const char*>* Get_Access<const char*>();
template class Accessor<const char*>;
template class Info_primative<const char*>;
template class Instance<const char*, Info_primative<const char*>>;
template class Dummy_instance<const char*, Info_primative<const char*>>;
template class Subelement_base<const char*>;
template class Subelement_entry<const char*, Info_primative<const char*>>;
template class Subelement_primative<const char*>;

}  // namespace Tessel
