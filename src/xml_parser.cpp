// The library's static tables. They are defined here, ahead of the registry,
// because the registry's root is constructed after them in this file and its
// constructor may use them.
#include "XML/XML_info.hpp"
#include "XML/XML_input_stream.hpp"
#include "XML/XML_instance.hpp"
#include "XML/XML_value_entry.hpp"

#include "intrusive_chain.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>

namespace Tessel {

// Canonical names first: Value_hash<bool>::Lookup(bool) returns the first row
// that carries the value.
const Value_entry<bool> bool_values[6] = {
    {"true", true}, {"good", true}, {"false", false}, {"bad", false}, {"1", true}, {"0", false},
};
const Value_hash<bool> Bool_hash(bool_values);

const XML_attr XML_attr_table[1] = {{"xmlns"}};
const Hash_table<XML_attr> XML_attr_hash(XML_attr_table);

}  // namespace Tessel

namespace Tessel {

// ---------------------------------------------------------------------------
// The registry of descriptors. `root` is defined after Bool_hash and
// XML_attr_hash so that it is constructed after them and destroyed before.

namespace {

// One queued registration: a descriptor waiting for its parent, in an
// intrusive chain.
class Pending {
public:
    // Borrows parent, the parent components kept by the descriptor.
    Pending(const xmlChar* parent, const Info_base& item);
    Pending(const Pending&) = delete;
    Pending& operator=(const Pending&) = delete;
    ~Pending();

    // Deletes every queued entry of that very descriptor.
    static void Cancel(const Info_base& item);
    // Registers every entry whose parent can be found, repeating until a pass
    // registers nothing.
    static void Service_queue();

private:
    friend struct detail::Intrusive_chain;

    Pending* next;
    Pending** prev;
    // The parent components, each NUL-terminated, ended by an empty name.
    const xmlChar* parent;
    const Info_base& item;
};

// The head of the queue and the flag telling that `root` is built: plain
// statics, zero before any constructor runs, so that descriptors built before
// `root` can queue.
Pending* pending;
bool done;

}  // namespace

const Info_root root;

namespace {

// True from the construction of `root` to its destruction: descriptors
// destroyed after `root` must not look for their parent in the registry.
bool registry_open;

// Stores the name of path (the text after its last "/") into name and returns
// whether the descriptor is to be registered: an absolute path with a name.
bool Registered_path(const xmlChar* path, const xmlChar*& name) {
    const char* slash = std::strrchr(reinterpret_cast<const char*>(path), '/');
    name = slash ? reinterpret_cast<const xmlChar*>(slash + 1) : path;
    return path[0] == '/' && *name != 0;
}

// The parent components of an absolute path, each NUL-terminated, ended by an
// empty name, in a new array: "/A/B/D" gives "A", "B", "". An empty component
// ends the list: "/A//B" gives "A", "".
std::unique_ptr<xmlChar[]> Parent_names(const xmlChar* path, const xmlChar* name) {
    const xmlChar* text = path + 1;
    size_t length = static_cast<size_t>(xmlStrlen(text));
    std::unique_ptr<xmlChar[]> names(new xmlChar[length + 1]);
    std::memcpy(names.get(), text, length + 1);
    std::replace(names.get(), names.get() + length, xmlChar('/'), xmlChar(0));
    names[name - text] = 0;
    return names;
}

// The descriptor that a list of parent components leads to from `root`, or
// null when one of them is not registered.
const Info_base* Find_parent(const xmlChar* names) {
    const Info_base* at = &root;
    for (; at && *names; names += xmlStrlen(names) + 1) at = at->Find(names);
    return at;
}

// Writes a trace line to standard error, standard output being flushed first.
void trace(const char* format, ...) __attribute__((format(printf, 1, 2)));
void trace(const char* format, ...) {
    std::fflush(stdout);
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
}

const char* Printable(const xmlChar* text) { return text ? reinterpret_cast<const char*>(text) : "(null)"; }

// Whether an attribute is one the engine passes over; the few such names are
// told apart by their first character before the table is consulted.
bool Skipped(const xmlChar* name) {
    for (const XML_attr& skipped : XML_attr_table)
        if (static_cast<xmlChar>(skipped.name[0]) == name[0]) return XML_attr_hash.Lookup(name) != nullptr;
    return false;
}

const char* Type_name(int type) { return type >= 0 && type < 18 ? node_types[type] : "UNKNOWN"; }

}  // namespace

Info_base::Info_base(const char* path) : Info_base(reinterpret_cast<const xmlChar*>(path)) {}

Info_base::Info_base(const xmlChar* path) : Info_base(path, Unregistered()) { Register_name(); }

Info_base::Info_base(const xmlChar* path, Unregistered)
    : path(path), name(path), parents(nullptr), subelements(nullptr) {}

Info_base::~Info_base() {
    Pending::Cancel(*this);
    Unregister();
    delete subelements;
    delete[] parents;
}

void Info_base::Dump_elements(int indent) const {
    int level = indent;
    if (!NoName()) indent_printf(level++, "<%s>\n", name);
    Dump_registered(level);
}

void Info_base::Dump_registered(int indent) const {
    if (subelements) subelements->For_all(dump_sub, indent);
}

void Info_base::Subregister(Subelement_register&) const {}

const Info_base* Info_base::Find(const xmlChar* sub_name) const {
    return subelements ? subelements->Lookup(sub_name) : nullptr;
}

void Info_base::Register_sub(const Info_base& sub) const {
    if (!subelements) subelements = new Hash<Info_base>();
    subelements->Add(sub);
}

void Info_base::Register_name() {
    if (!Registered_path(path, name)) return;
    parents = Parent_names(path, name).release();
    new Pending(parents, *this);
    if (done) Pending::Service_queue();
}

void Info_base::Unregister() const {
    if (!registry_open || !parents) return;
    const Info_base* parent = Find_parent(parents);
    if (parent && parent->Find(name) == this) parent->subelements->Remove(name);
}

Pending::Pending(const xmlChar* parent_names, const Info_base& descriptor)
    : next(nullptr), prev(nullptr), parent(parent_names), item(descriptor) {
    detail::Intrusive_chain::Link(*this, pending);
}

Pending::~Pending() { detail::Intrusive_chain::Unlink(*this); }

void Pending::Cancel(const Info_base& descriptor) {
    for (Pending* entry = pending; entry;) {
        Pending* following = entry->next;
        if (&entry->item == &descriptor) delete entry;
        entry = following;
    }
}

void Pending::Service_queue() {
    for (bool registered = true; registered;) {
        registered = false;
        for (Pending* entry = pending; entry;) {
            Pending* following = entry->next;
            if (const Info_base* found = Find_parent(entry->parent)) {
                found->Register_sub(entry->item);
                delete entry;
                registered = true;
            }
            entry = following;
        }
    }
}

Instance_base* Info<void>::Get_instance(Input_data& input) const {
    return new Instance<void, Info<void>>(input, *this);
}

void Info<void>::Subregister(Subelement_register&) const {}

xmlNodePtr Info<void>::Write() const { return NoName() ? nullptr : xmlNewNode(nullptr, Name()); }

namespace detail {
std::recursive_mutex& table_creation_mutex() {
    // Never destroyed: tables may be used by static destructors in any order.
    static std::recursive_mutex* const mutex = new std::recursive_mutex;
    return *mutex;
}
}  // namespace detail

// `root` is built when the library is loaded: libxml2's global state and the
// library's own tables are set up here, before any parse can run on any thread.
Info_root::Info_root() : Info<void>("/") {
    xmlInitParser();
    Bool_hash.Init_if_needed();
    XML_attr_hash.Init_if_needed();
    done = true;
    registry_open = true;
    Pending::Service_queue();
    xmlLineNumbersDefault(1);
}

Info_root::~Info_root() {
    registry_open = false;
    while (pending) delete pending;
}

void Dump_elements() { root.Dump_elements(0); }

void indent_printf(int indent, const char* format, ...) {
    if (indent > 0) std::printf("%*s", indent, "");
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
}

void dump_sub(const xmlChar*, const Info_base& item, int& indent) { item.Dump_elements(indent); }

void Add_children(xmlNodePtr parent, xmlNodePtr node) {
    if (!node) return;
    if (xmlStrlen(node->name) > 0) {
        xmlAddChild(parent, node);
        return;
    }
    // The children move to parent: a wrapper of many items is not copied.
    xmlNodePtr children = node->children;
    node->children = node->last = nullptr;
    xmlFreeNode(node);
    if (children) xmlAddChildList(parent, children);
}

// ---------------------------------------------------------------------------
// The parse engine.

namespace {

// The blocks kept for reuse on one thread: a list for every size up to
// granule * sizes. A list never holds more blocks than were in use at once,
// which the nesting of elements bounds (libxml2 stops at depth 256). The
// lists are plain thread storage, reached without a guard; the first block a
// thread allocates registers the release of its lists at the thread's end
// (engine objects are freed on the thread that made them).
constexpr size_t granule = 16, sizes = 32;

struct Block {
    Block* next;
};
struct Recycled_lists {
    Block* lists[sizes];
    bool release_registered;
};
// The library is linked at start-up, so its few bytes of thread storage can
// be reached directly rather than through a lookup on every access.
__attribute__((tls_model("initial-exec"))) thread_local Recycled_lists recycled;

struct Releaser {
    ~Releaser() {
        for (Block*& list : recycled.lists)
            while (list) {
                Block* next = list->next;
                ::operator delete(list);
                list = next;
            }
    }
};
thread_local Releaser releaser;

// A new block, registering the release of the thread's lists first.
void* Allocate(size_t size) {
    if (!recycled.release_registered) {
        static_cast<void>(&releaser);  // constructs it, and so registers its destructor
        recycled.release_registered = true;
    }
    return ::operator new(size);
}

// The list of blocks of size bytes (rounded up); sizes for larger blocks.
size_t Size_class(size_t size) { return size ? (size - 1) / granule : 0; }

}  // namespace

void* detail::Recycled_new(size_t size) {
    const size_t size_class = Size_class(size);
    if (size_class >= sizes) return ::operator new(size);
    Block* block = recycled.lists[size_class];
    if (!block) return Allocate((size_class + 1) * granule);
    recycled.lists[size_class] = block->next;
    return block;
}

void detail::Recycled_delete(void* memory, size_t size) noexcept {
    const size_t size_class = Size_class(size);
    if (size_class >= sizes) {
        ::operator delete(memory);
        return;
    }
    Block* block = static_cast<Block*>(memory);
    block->next = recycled.lists[size_class];
    recycled.lists[size_class] = block;
}

bool Process(Input_data& input) {
    std::unique_ptr<Instance_base> top(root.Get_instance(input));
    const bool completed = top->Process_contents();
    return completed && !input.Malformed();
}

void detail::Trace_processing(const xmlChar* name, const char* what) {
    trace("%s %s processing\n", Printable(name), what);
}

Instance_base::~Instance_base() { delete head; }

Instance_base* Instance_base::Get_subinstance(const xmlChar*) const { return nullptr; }

bool Instance_base::Process_contents() {
    xmlTextReaderPtr reader = stream;
    xmlNodePtr own = xmlTextReaderCurrentNode(reader);
    if (!own) {
        if (!stream.Next_node()) return false;
        own = xmlTextReaderCurrentNode(reader);
    }
    depth = xmlTextReaderDepth(reader);  // where a failed element is passed over from
    if (!Read_attribs(own)) return false;
    // The element's text nodes, joined, when it takes its text whole.
    std::optional<std::string> pieces;
    if (whole_text) pieces.emplace();
    if (xmlTextReaderIsEmptyElement(reader) == 1)
        return ((!whole_text || Read_whole_text(*pieces)) && Do_finalize()) || !stream.abort_on_error;

    const int own_depth = depth;
    bool failed = false;
    for (;;) {
        if (!stream.Next_node()) {
            if (!stream.Error_state()) return true;
            if (stream.log_processing) trace("Error reading or processing %s\n", Name());
            return false;
        }
        // The name is taken only where it is used: most nodes are end tags.
        const int type = xmlTextReaderNodeType(reader);
        if (stream.log_processing) Trace_node(type);
        bool ok = true;
        switch (type) {
            case XML_READER_TYPE_ELEMENT: ok = Read_child(xmlTextReaderConstName(reader)); break;
            case XML_READER_TYPE_TEXT:
            case XML_READER_TYPE_CDATA: ok = whole_text ? Gather_text(*pieces) : Read_text(); break;
            case XML_READER_TYPE_COMMENT:
            case XML_READER_TYPE_DOCUMENT_TYPE:
            case XML_READER_TYPE_WHITESPACE:
            case XML_READER_TYPE_SIGNIFICANT_WHITESPACE: break;
            case XML_READER_TYPE_END_ELEMENT:
                if (xmlTextReaderDepth(reader) != own_depth) break;
                if (!failed)
                    failed = (whole_text && !Read_whole_text(*pieces)) || !Do_finalize();
                else
                    Trace_failure();
                if (!failed || !stream.abort_on_error) return true;
                Trace_failure();
                return false;
            default: ok = Unhandled(xmlTextReaderConstName(reader), type); break;
        }
        if (!ok) {
            failed = true;
            if (stream.abort_on_error) return false;
            // Only a failure can leave the reader above this element.
            if (xmlTextReaderDepth(reader) < own_depth) return true;
        }
    }
}

bool Instance_base::Read_child(const xmlChar* child_name) {
    std::unique_ptr<Instance_base> child(Get_subinstance(child_name));
    if (child) {
        if (child->Process_contents()) return true;
        const int child_depth = child->depth;
        child.reset();
        if (!stream.abort_on_error) Pass_over(child_depth);
        return false;
    }
    if (stream.abort_on_error)
        stream.Error_handler("Bad subelement for %s: %s\n", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr,
                             Name(), child_name);
    else
        stream.Skip_node();
    return false;
}

bool Instance_base::Read_text() {
    // The text or CDATA node's own text, read in place.
    Format::Scanner text(xmlTextReaderCurrentNode(stream)->content, Format::Scanner::Borrow());
    for (int items = 0; text.More(); ++items)
        if (!Read_item(text, items)) return false;
    return true;
}

bool Instance_base::Gather_text(std::string& pieces) {
    if (const xmlChar* text = xmlTextReaderConstValue(stream)) pieces += reinterpret_cast<const char*>(text);
    return true;
}

bool Instance_base::Read_whole_text(const std::string& pieces) {
    Format::Scanner text(reinterpret_cast<const xmlChar*>(pieces.c_str()), Format::Scanner::Borrow());
    return Read_item(text, 0);
}

// Reads one item; items is the number read before it from the same text.
bool Instance_base::Read_item(Format::Scanner& text, int items) {
    const xmlChar* rest = text;
    bool read = Text(text);
    // An item read without moving the cursor would be read forever.
    if (read && static_cast<const xmlChar*>(text) == rest && text.More())
        read = text.Error("No progress reading text");
    if (!read)
        stream.Error_handler("Bad TEXT/CDATA for %s: \"%s\":%s:%d items read",
                             XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, Name(), rest, text.Error_msg(),
                             items);
    return read;
}

// With abort_on_error clear, a child whose walk failed on a read error may
// leave the reader inside it. Its remaining nodes, up to its end tag, are
// passed over here so that none reaches this element as its own. Reads that
// fail with the reader still going on are passed over too; the input's end or
// a reader that has given up ends the pass.
void Instance_base::Pass_over(int child_depth) {
    xmlTextReaderPtr reader = stream;
    while (xmlTextReaderDepth(reader) > child_depth)
        if (!stream.Next_node() &&
            (!stream.Error_state() || xmlTextReaderReadState(reader) != XML_TEXTREADER_MODE_INTERACTIVE))
            return;
}

bool Instance_base::Unhandled(const xmlChar* node_name, int type) {
    stream.Error_handler("Unhandled node %s type %s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, node_name,
                         Type_name(type));
    if (!stream.abort_on_error) stream.Skip_node();
    return false;
}

void Instance_base::Trace_node(int type) const {
    xmlTextReaderPtr reader = stream;
    xmlChar* node_path = xmlGetNodePath(xmlTextReaderCurrentNode(reader));
    trace("node %s type %s path %s\n", Printable(xmlTextReaderConstName(reader)), Type_name(type),
          Printable(node_path));
    xmlFree(node_path);
}

void Instance_base::Trace_failure() const {
    if (stream.log_processing) trace("Error processing child of %s\n", Name());
}

bool Instance_base::Read_attribs(xmlNodePtr node) {
    // Only an element has an attribute list: on other nodes (such as the
    // document type node) the same slot holds something else.
    if (!node || node->type != XML_ELEMENT_NODE) return true;
    for (xmlAttrPtr attr = node->properties; attr; attr = attr->next)
        if (!Skipped(attr->name)) Read_attribute(attr);
    return true;
}

void Instance_base::Read_attribute(xmlAttrPtr attr) {
    // A value of one text node, as most are, is read in place.
    const xmlNode* single = attr->children && !attr->children->next ? attr->children : nullptr;
    Format::Scanner value = single && single->type == XML_TEXT_NODE
                                ? Format::Scanner(single->content, Format::Scanner::Borrow())
                                : Format::Scanner(attr);
    const xmlChar* text = value;
    if (stream.log_processing) trace("attr %s value %s\n", attr->name, text);
    if (!Attribute(attr->name, value))
        stream.Error_handler("Error reading attrib \"%s\"=\"%s\" for %s: %s",
                             XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, attr->name, text, Name(),
                             value.Error_msg());
}

bool Instance_base::Do_finalize() {
    if (!Finalize()) return false;
    if (!head) return Commit();
    head->Do_finalize();
    return true;
}

void Instance_base::Dump_node(xmlNodePtr node) {
    std::fflush(stdout);
    xmlElemDump(stderr, xmlTextReaderCurrentDoc(stream), node);
    std::fputs("\n", stderr);
}

Instance_base* Instance<void, Info<void>>::Get_subinstance(const xmlChar* sub_name) const {
    if (!last || !xmlStrEqual(last->Name(), sub_name)) last = info.Find(sub_name);
    return last ? last->Get_instance(stream) : nullptr;
}

bool Instance<void, Info<void>>::Attribute(const xmlChar*, Format::Scanner& value) {
    return value.Error("No attributes allowed for void");
}

bool Instance<void, Info<void>>::Text(Format::Scanner& text) {
    return text.Error("No text allowed for void");
}

}  // namespace Tessel
