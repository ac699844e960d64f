// Element descriptors and the global registry of descriptors by path.
//
// Example: three descriptors, constructed in any order (here in one file, in
// this order), form the outline inventory > shelf > box:
//
//     using namespace Tessel;
//     const Info<void> box("/inventory/shelf/box");  // queued until its parent is registered
//     const Info<void> inventory("/inventory");      // beneath root, under the name "inventory"
//     const Info<void> shelf("/inventory/shelf");    // beneath inventory; box then finds it
//     const Info<void> loose("box");                 // not registered: reached through bindings only
//
//     const Info_base* found = root.Find(BAD_CAST "inventory");        // &inventory
//     found = inventory.Find(BAD_CAST "shelf")->Find(BAD_CAST "box");  // &box
//     found = root.Find(BAD_CAST "box");                               // null: box is two levels down
//     xmlNodePtr node = inventory.Write();  // a new, empty <inventory/>; root.Write() is null
//     Dump_elements();  // standard output: "<inventory>\n <shelf>\n  <box>\n"
//
// Every element type that can be read or written is described by a descriptor
// derived from Info_base, built from a path. A descriptor whose path begins
// with "/" and has a non-empty last component registers itself beneath the
// descriptor that the path's parent components name: "/Log/Error" goes into
// the table of "/Log" under the name "Error", "/Error" into the table of the
// registry's top, `root`. Other paths ("Error", "/", "/Log/") are not
// registered; such descriptors are reached through sub-element bindings only.
//
// Static objects are constructed in an order nobody controls, so registration
// goes through a queue of pending entries whose head and "root is built" flag
// are zero-initialised statics. The queue is serviced when `root` is built and
// again on every later registration, until each entry finds its parent. Of two
// descriptors with the same path, the one registered first stays; as the queue
// is serviced newest first, that is the later one if both were built before
// `root`, the earlier one otherwise.
//
// Destroying a descriptor removes its pending entry, and also takes it out of
// the table it was registered in (if it is the descriptor stored there), so
// that a descriptor destroyed before the end of the process, for example a
// function-local one, leaves no dangling entry behind. Once `root` has been
// destroyed the registry is gone and destructors leave it alone.
//
// Descriptors, paths and names are borrowed: the path text must outlive the
// descriptor (in practice it is a string literal). Nothing here locks;
// descriptors are registered during static construction, on one thread, and
// only read afterwards.
#ifndef TESSEL_XML_INFO_HPP
#define TESSEL_XML_INFO_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_hash.hpp"

namespace Tessel {

class Input_data;
class Instance_base;
class Subelement_register;

class Info_base {
public:
    explicit Info_base(const char* path);
    explicit Info_base(const xmlChar* path);
    Info_base(const Info_base&) = delete;
    Info_base& operator=(const Info_base&) = delete;
    virtual ~Info_base();

    // A new parse instance for one occurrence of the element, owned by the caller.
    virtual Instance_base* Get_instance(Input_data& input) const = 0;
    // Prints the element and the descriptors registered beneath it to standard
    // output, one space of indentation per level.
    virtual void Dump_elements(int indent) const;
    // Registers nothing; typed descriptors hand their binding rows to reg.
    virtual void Subregister(Subelement_register& reg) const;

    const xmlChar* Name() const { return name; }
    bool NoName() const { return *name == 0; }
    // The descriptor registered directly beneath this one under name, or null.
    const Info_base* Find(const xmlChar* name) const;
    void Register_sub(const Info_base& sub) const;

private:
    void Register_name(const xmlChar* path);
    void Unregister() const;

    const xmlChar* path;
    const xmlChar* name;
    mutable Hash<Info_base>* subelements;
};

template <class T>
class Info;

// The descriptor of an element without text or attributes whose children are
// the descriptors registered beneath it.
//
// Write() returns a new, empty element named after the descriptor, or null
// for a nameless descriptor (such as `root`), which has no element of its own.
template <>
class Info<void> : public Info_base {
public:
    template <class C>
    explicit Info(const C* path) : Info_base(path) {}
    Info(const Info&) = delete;
    Info& operator=(const Info&) = delete;
    ~Info() override {}

    Instance_base* Get_instance(Input_data& input) const override;
    void Subregister(Subelement_register& reg) const override;

    xmlNodePtr Write() const;
};

// The top of the registry; the library has exactly one, `root`.
class Info_root : public Info<void> {
public:
    Info_root();
    ~Info_root() override;
};

extern const Info_root root;

// Prints the whole registry (the outline of `root`) to standard output.
void Dump_elements();
// Prints indent spaces, then the formatted text, to standard output.
void indent_printf(int indent, const char* format, ...) __attribute__((format(printf, 2, 3)));
// Hash<Info_base>::For_all callback: the outline of item at level indent.
void dump_sub(const xmlChar* name, const Info_base& item, int& indent);
// Appends node to parent's children; a node with an empty name is a wrapper
// whose children are copied into parent and which is then freed.
void Add_children(xmlNodePtr parent, xmlNodePtr node);
// Parses the whole input from `root`; true unless an error stopped the parse.
bool Process(Input_data& input);

}  // namespace Tessel

#endif
