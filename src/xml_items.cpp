// The library's own instantiations of the typed layer (primitive long and
// string elements, the error record and its node records), the descriptors of
// the error record's element "Error", and the check of bindings pulled in by
// nameless descriptors.
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

template class Info<Error_info>;
template class Instance<Error_info, Info<Error_info>>;
template class Dummy_instance<Error_info, Info<Error_info>>;
template class Subelement_base<Error_info>;
template class Subelement_entry<Error_info, Info<Error_info>>;
template class Info<Error_info::Node_info>;
template class Instance<Error_info::Node_info, Info<Error_info::Node_info>>;
template class Dummy_instance<Error_info::Node_info, Info<Error_info::Node_info>>;
template class Subelement_base<Error_info::Node_info>;
template class Subelement_entry<Error_info::Node_info, Info<Error_info::Node_info>>;

// The error record as XML. "Location" describes the record itself; the same
// node rows serve "Parent_Node" and "Node", each written only when valid.
namespace {

using Node_info = Error_info::Node_info;

const Subelement_table<Error_info> location_subs[] = {
    {Subelement(&Error_info::uri, "URI")},
    {Subelement(&Error_info::line, "Line")},
    {Subelement(&Error_info::col, "Column")},
    {Subelement(&Error_info::xpath, "XPath").If(&Error_info::xpath_valid, true)},
};
const Info<Error_info> location("Location", location_subs);

const Subelement_table<Node_info> node_subs[] = {
    {Subelement(&Node_info::node_type_string, "NodeType")},
    {Subelement(&Node_info::node_name, "Name")
         .IfNot(&Node_info::node_name, static_cast<const char*>(nullptr))},
    {Subelement(&Node_info::node_line, "Line")},
};
const Info<Node_info> parent("Parent_Node", node_subs);
const Info<Node_info> child("Node", node_subs);

const Subelement_table<Error_info> Error_subs[] = {
    {Subelement(&Error_info::severity_string, "Severity")},
    {Subelement(&Error_info::msg, "Text")},
    {Subelement(location)},
    {Subelement(parent).If(&Node_info::valid, true).Of(&Error_info::parent)},
    {Subelement(child).If(&Node_info::valid, true).Of(&Error_info::node)},
};

}  // namespace

template <>
const Info<Error_info> Info<Error_info>::info("Error", Error_subs);

}  // namespace Tessel
