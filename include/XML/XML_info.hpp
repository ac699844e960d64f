/// \file
/// Element descriptors and the global registry of descriptors by path.
///
/// Example: three descriptors, constructed in any order (here in one file, in
/// this order), form the outline inventory > shelf > box:
///
/// \code
/// using namespace Tessel;
/// const Info<void> box("/inventory/shelf/box");  // queued until its parent is registered
/// const Info<void> inventory("/inventory");      // beneath root, under the name "inventory"
/// const Info<void> shelf("/inventory/shelf");    // beneath inventory; box then finds it
/// const Info<void> loose("box");                 // not registered: reached through bindings only
///
/// const Info_base* found = root.Find(BAD_CAST "inventory");        // &inventory
/// found = inventory.Find(BAD_CAST "shelf")->Find(BAD_CAST "box");  // &box
/// found = root.Find(BAD_CAST "box");                               // null: box is two levels down
/// xmlNodePtr node = inventory.Write();  // a new, empty <inventory/>; root.Write() is null
/// Dump_elements();  // standard output: "<inventory>\n <shelf>\n  <box>\n"
/// \endcode
///
/// Every element type that can be read or written is described by a descriptor
/// derived from Info_base, built from a path. A descriptor whose path begins
/// with "/" and has a non-empty last component registers itself beneath the
/// descriptor that the path's parent components name: "/Log/Error" goes into
/// the table of "/Log" under the name "Error", "/Error" into the table of the
/// registry's top, `root`. Other paths ("Error", "/", "/Log/") are not
/// registered; such descriptors are reached through sub-element bindings only.
///
/// Static objects are constructed in an order nobody controls, so registration
/// goes through a queue of pending entries whose head and "root is built" flag
/// are zero-initialised statics. The queue is serviced when `root` is built and
/// again on every later registration, until each entry finds its parent. Of two
/// descriptors with the same path, the one registered first stays; as the queue
/// is serviced newest first, that is the later one if both were built before
/// `root`, the earlier one otherwise.
///
/// Destroying a descriptor removes its pending entry, and also takes it out of
/// the table it was registered in (if it is the descriptor stored there), so
/// that a descriptor destroyed before the end of the process, for example a
/// function-local one, leaves no dangling entry behind. Once `root` has been
/// destroyed the registry is gone and destructors leave it alone. A
/// constructor whose registration throws (std::bad_alloc) undoes it the same
/// way, and a destructor allocates nothing.
///
/// Descriptors, paths and names are borrowed: the path text must outlive the
/// descriptor (in practice it is a string literal). Nothing here locks;
/// descriptors are registered during static construction, on one thread, and
/// only read afterwards.
#ifndef TESSEL_XML_INFO_HPP
#define TESSEL_XML_INFO_HPP

#include "XML/XML_accessor.hpp"
#include "XML/XML_attributes.hpp"
#include "XML/XML_defines.hpp"
#include "XML/XML_formatter.hpp"
#include "XML/XML_hash.hpp"

#include <cstdio>
#include <memory>

namespace Tessel {

class Input_data;
class Instance_base;
class Subelement_register;
template <class T>
struct Subelement_table;
template <class T>
class Subelement_hash;
template <class T, class InfoT>
class Dummy_instance;

namespace detail {
/// Frees a node with its subtree.
struct Free_node {
    void operator()(xmlNodePtr node) const { xmlFreeNode(node); }
};
/// A node being built: freed with what it holds when an exception
/// (std::bad_alloc from a printer) leaves it unfinished.
using Node_holder = std::unique_ptr<xmlNode, Free_node>;
}  // namespace detail

/// The base of every element descriptor: its path, its name and the
/// descriptors registered beneath it; see the file's description.
class Info_base {
public:
    ///@{
    /// A descriptor of path, registered beneath its parent when path is
    /// absolute and has a name; path is borrowed.
    explicit Info_base(const char* path);
    explicit Info_base(const xmlChar* path);
    ///@}
    Info_base(const Info_base&) = delete;
    Info_base& operator=(const Info_base&) = delete;
    virtual ~Info_base();

    /// A new parse instance for one occurrence of the element, owned by the caller.
    virtual Instance_base* Get_instance(Input_data& input) const = 0;
    /// Prints the element and the descriptors registered beneath it to standard
    /// output, one space of indentation per level.
    virtual void Dump_elements(int indent) const;
    /// Registers nothing; typed descriptors hand their binding rows to reg.
    virtual void Subregister(Subelement_register& reg) const;

    /// The element's name: the path's last component ("" for a nameless descriptor).
    const xmlChar* Name() const { return name; }
    /// True for a nameless descriptor (such as `root`).
    bool NoName() const { return *name == 0; }
    /// The descriptor registered directly beneath this one under name, or null.
    const Info_base* Find(const xmlChar* name) const;
    /// Registers sub directly beneath this descriptor, under its name; of two
    /// descriptors with one name, the first stays.
    void Register_sub(const Info_base& sub) const;

protected:
    /// Prints the outline of every descriptor registered beneath this one.
    void Dump_registered(int indent) const;

private:
    /// The tag of the constructor that registers nothing.
    struct Unregistered {};
    /// A descriptor of path, not registered yet. The public constructors
    /// delegate to it and then register, so that when the registration throws
    /// the destructor runs and undoes what it had done.
    Info_base(const xmlChar* path, Unregistered);

    void Register_name();
    void Unregister() const;

    const xmlChar* path;
    const xmlChar* name;
    /// The parent components of a registered path, each NUL-terminated, ended
    /// by an empty name; null when the path is not registered. Kept for the
    /// descriptor's lifetime, so that the destructor finds the parent without
    /// allocating.
    xmlChar* parents;
    mutable Hash<Info_base>* subelements;
};

template <class T>
class Info;

/// The descriptor of an element without text or attributes whose children are
/// the descriptors registered beneath it.
///
/// Write() returns a new, empty element named after the descriptor, or null
/// for a nameless descriptor (such as `root`), which has no element of its own.
template <>
class Info<void> : public Info_base {
public:
    /// A descriptor of path (see Info_base).
    template <class C>
    explicit Info(const C* path) : Info_base(path) {}
    Info(const Info&) = delete;
    Info& operator=(const Info&) = delete;
    ~Info() override {}

    Instance_base* Get_instance(Input_data& input) const override;
    void Subregister(Subelement_register& reg) const override;

    /// A new, empty element named after the descriptor; null when nameless.
    xmlNodePtr Write() const;
};

/// The top of the registry; the library has exactly one, `root`.
class Info_root : public Info<void> {
public:
    Info_root();
    ~Info_root() override;
};

/// The top of the registry: descriptors with a path of one component
/// ("/log") are registered beneath it, and Process starts there.
extern const Info_root root;

// ---- Typed descriptors ---------------------------------------------------------

/// The descriptor of an element that fills a structure T: its text through an
/// accessor, its attributes through an attribute table, its children through
/// a table of sub-element bindings (then through the descriptors registered
/// beneath it). Applications derive from it to act on items: Start when an
/// item's element begins, Finalize when it has been read without error (false
/// fails the element), Commit after Finalize (store the item).
///
/// Constructors: the path, then any of the binding rows, the attribute table
/// and the text accessor, in the orders below. The rows and the attribute
/// table are borrowed static objects; the accessor handle is shared.
///
/// Each application type that is written with XML_Write defines its static
/// descriptor in one source file,
/// \code
/// template <> const Info<Rec> Info<Rec>::info("rec", rec_rows);
/// \endcode
/// and declares it where Rec is described, for the other source files:
/// \code
/// template <> const Info<Rec> Info<Rec>::info;
/// \endcode
template <class T>
class Info : public Info_base {
public:
    ///@{
    /// A descriptor of path (see Info_base) with the binding rows, the
    /// attribute table and the text accessor given; what is not given is
    /// absent (no text: "No text allowed").
    template <class C>
    explicit Info(const C* path) : Info(path, nullptr, nullptr, Accessor<T>()) {}
    template <class C, size_t N>
    Info(const C* path, const Subelement_table<T> (&rows)[N])
        : Info(path, std::make_unique<Subelement_hash<T>>(rows), nullptr, Accessor<T>()) {}
    template <class C>
    Info(const C* path, Accessor<T> text_accessor) : Info(path, nullptr, nullptr, text_accessor) {}
    template <class C>
    Info(const C* path, const Attrib::Attrib_Hash<T>& attributes)
        : Info(path, nullptr, &attributes, Accessor<T>()) {}
    template <class C, size_t N>
    Info(const C* path, const Subelement_table<T> (&rows)[N], const Attrib::Attrib_Hash<T>& attributes)
        : Info(path, std::make_unique<Subelement_hash<T>>(rows), &attributes, Accessor<T>()) {}
    template <class C>
    Info(const C* path, Accessor<T> text_accessor, const Attrib::Attrib_Hash<T>& attributes)
        : Info(path, nullptr, &attributes, text_accessor) {}
    template <class C, size_t N>
    Info(const C* path, const Subelement_table<T> (&rows)[N], const Attrib::Attrib_Hash<T>& attributes,
         Accessor<T> text_accessor)
        : Info(path, std::make_unique<Subelement_hash<T>>(rows), &attributes, text_accessor) {}
    ///@}
    Info(const Info&) = delete;
    Info& operator=(const Info&) = delete;
    ~Info() override;

    /// A scratch instance: a new item of its own, handed over by Commit.
    Instance_base* Get_instance(Input_data& input) const override {
        return new Dummy_instance<T, Info<T>>(input, *this);
    }
    void Dump_elements(int indent) const override;
    /// Hands every binding row to reg (a nameless descriptor's rows join the
    /// table of the binding that leads to it).
    void Subregister(Subelement_register& reg) const override;
    /// The element for item: attributes, text, then children in row order.
    virtual xmlNodePtr Write(const T& item) const;
    /// Called when an item's element begins; does nothing by default.
    virtual void Start(T&, Input_data&) const {}
    /// Called when an item's element has been read without error; false fails
    /// the element. True by default.
    virtual bool Finalize(T&, Input_data&) const { return true; }
    /// Called after Finalize, to store the item; true by default.
    virtual bool Commit(T&, Input_data&) const { return true; }

    /// The number of distinct tags of the binding rows.
    size_t Tag_count() const;
    /// The instance for a child element: the binding for this occurrence of
    /// the tag, else the descriptor registered beneath this one; null if none.
    Instance_base* Lookup(const xmlChar* name, size_t* indexes, Input_data& input, T& item) const;
    /// Reads an attribute through the attribute table ("Unknown attr %s").
    bool Attribute(const xmlChar* name, Format::Scanner& value, T& item) const {
        if (attrs)
            if (const Attrib::Hash_entry<T>* entry = attrs->hash.Lookup(name))
                return entry->Read(value, item);
        return value.Error("Unknown attr %s", reinterpret_cast<const char*>(name));
    }
    /// Reads one item of the element's text ("No text allowed" without an accessor).
    bool Read(Format::Scanner& scanner, T& item) const { return text.Read(scanner, item); }
    /// True when the text accessor reads the element's whole text at once.
    bool Whole_text() const { return whole_text; }

    /// Attribute table callback of Dump_elements: prints `name=""` to standard output.
    static void dump_attr(const xmlChar* name, const Attrib::Hash_entry<T>&) {
        std::printf("%s=\"\" ", reinterpret_cast<const char*>(name));
    }
    /// Hash<Info_base>::For_all callback: the outline of item at level indent.
    static void dump_sub(const xmlChar*, const Info_base& item, int& indent) { item.Dump_elements(indent); }

    /// The steps of Write, for descriptors that compose their own: this one
    /// makes a new element carrying item's attributes (null when libxml2
    /// cannot create it); Write_text and Write_subs fill it.
    xmlNodePtr Write_header(const T& item) const;
    /// Adds item's text to node (Text).
    void Write_text(const T& item, xmlNode* node) const { Text(item, node); }
    /// Adds the elements of item's binding rows to node, in row order (Subs).
    void Write_subs(const T& item, xmlNode* node) const { Subs(item, node); }
    /// Adds item's text to node, unless the accessor has nothing to write.
    void Text(const T& item, xmlNode* node) const;
    /// Adds the elements of item's binding rows to node, in row order.
    void Subs(const T& item, xmlNode* node) const;

    /// The descriptor XML_Write uses for T, defined by the application (see above).
    static const Info<T> info;

protected:
    /// The text accessor; empty when the element has no text.
    const Accessor<T> text;
    /// The binding rows by tag; null without rows.
    Subelement_hash<T>* const sub_hash;
    /// The attribute table; null without attributes.
    const Attrib::Attrib_Hash<T>* const attrs;

private:
    /// The table of rows is held by the parameter until the base is built:
    /// a registration that throws leaves nothing behind.
    template <class C>
    Info(const C* path, std::unique_ptr<Subelement_hash<T>> subs, const Attrib::Attrib_Hash<T>* attributes,
         Accessor<T> text_accessor)
        : Info_base(path),
          text(text_accessor),
          sub_hash(subs.release()),
          attrs(attributes),
          whole_text(text.Whole_text()) {}

    /// What the accessor says, asked once: the engine asks for every element.
    const bool whole_text;
};

template <class T>
xmlNodePtr Info<T>::Write(const T& item) const {
    detail::Node_holder node(Write_header(item));
    if (!node) return nullptr;
    Write_text(item, node.get());
    Write_subs(item, node.get());
    return node.release();
}

template <class T>
xmlNodePtr Info<T>::Write_header(const T& item) const {
    detail::Node_holder node(xmlNewNode(nullptr, Name()));
    if (!node) return nullptr;
    Format::Printer printer(0);
    if (attrs) attrs->Log(node.get(), item, printer);
    return node.release();
}

template <class T>
void Info<T>::Text(const T& item, xmlNode* node) const {
    if (!text.Present(item)) return;
    Format::Printer printer(0);
    text.Write(printer, item);
    printer.Add_content(node);
}

/// The element for value, by the descriptor Info<T>::info, which the
/// application defines for each type it writes this way. The caller owns the
/// result (or null, when libxml2 cannot create the element).
template <class T>
xmlNodePtr XML_Write(const T& value) {
    return Info<T>::info.Write(value);
}

/// The descriptor of an element holding one value of T as its text, with no
/// attributes and no children.
template <class T>
class Info_primative : public Info_base {
public:
    /// The text through the default formatter of T.
    template <class C>
    explicit Info_primative(const C* path) : Info_primative(path, Get_Access<T>()) {}
    /// The text through text_accessor.
    template <class C>
    Info_primative(const C* path, Accessor<T> text_accessor)
        : Info_base(path), text(text_accessor), whole_text(text.Whole_text()) {}
    Info_primative(const Info_primative&) = delete;
    Info_primative& operator=(const Info_primative&) = delete;
    ~Info_primative() override {}

    Instance_base* Get_instance(Input_data& input) const override {
        return new Dummy_instance<T, Info_primative<T>>(input, *this);
    }
    /// The element holding value as its text.
    virtual xmlNodePtr Write(const T& value) const {
        detail::Node_holder node(xmlNewNode(nullptr, Name()));
        if (!node || !text.Present(value)) return node.release();
        Format::Printer printer(0);
        text.Write(printer, value);
        printer.Add_content(node.get());
        return node.release();
    }

    /// 0: the element has no binding rows.
    size_t Tag_count() const { return 0; }
    /// Null: the element has no children.
    Instance_base* Lookup(const xmlChar*, size_t*, Input_data&, T&) const { return nullptr; }
    /// Rejects every attribute ("No attributes for ...").
    bool Attribute(const xmlChar*, Format::Scanner& value, T&) const {
        return value.Error("No attributes for %s\n", reinterpret_cast<const char*>(Name()));
    }
    /// Reads the element's text into value through the accessor.
    bool Read(Format::Scanner& scanner, T& value) const { return text.Read(scanner, value); }
    /// True when the accessor reads the element's whole text at once.
    bool Whole_text() const { return whole_text; }
    /// Does nothing.
    void Start(T&, Input_data&) const {}
    /// True.
    bool Finalize(T&, Input_data&) const { return true; }
    /// True.
    bool Commit(T&, Input_data&) const { return true; }

    /// A descriptor of T that an application may define; the library neither
    /// defines nor uses it.
    static const Info_primative<T> reserved;

protected:
    /// The text accessor.
    const Accessor<T> text;

private:
    const bool whole_text;
};

/// Prints the whole registry (the outline of `root`) to standard output.
void Dump_elements();
/// Prints indent spaces, then the formatted text, to standard output.
void indent_printf(int indent, const char* format, ...) __attribute__((format(printf, 2, 3)));
/// Hash<Info_base>::For_all callback: the outline of item at level indent.
void dump_sub(const xmlChar* name, const Info_base& item, int& indent);
/// Appends node to parent's children; a node with an empty name is a wrapper
/// whose children are copied into parent and which is then freed.
void Add_children(xmlNodePtr parent, xmlNodePtr node);
/// Parses the whole input from `root`; true unless an error stopped the parse.
bool Process(Input_data& input);

}  // namespace Tessel

// The typed descriptors' instances and bindings.
#include "XML/XML_instance.hpp"
#include "XML/XML_subelements.hpp"

#endif
