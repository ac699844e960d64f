/// \file
/// Parse instances and the walk that drives them.
///
/// Example: the descriptor of `<rec>` and its hand-written instance, which
/// collects the number in every `<rec>`. Typed descriptors (Info<T>) make their
/// own instances; a hand-written one like this suits elements they do not fit:
///
/// \code
/// using namespace Tessel;
/// std::vector<long> values;  // 5, 7 after reading <log><rec>5</rec><rec>7</rec></log>
/// const Format::format_info decimal("%d");
///
/// struct Rec_instance : Instance_base {  // one <rec> while it is read
///     Rec_instance(Input_data& in, const Info_base& info) : Instance_base(in), info(info) {}
///     bool Attribute(const xmlChar*, Format::Scanner& s) override { return s.Error("Not allowed"); }
///     bool Text(Format::Scanner& text) override { return text.Scan(value, decimal); }
///     bool Finalize() override { return true; }  // the whole <rec> has been read
///     bool Commit() override { values.push_back(value); return true; }
///     const xmlChar* Name() const override { return info.Name(); }
///     const Info_base& info;
///     long value = 0;
/// };
/// struct Rec_info : Info_base {  // the descriptor of <rec>, registered by its path
///     using Info_base::Info_base;
///     Instance_base* Get_instance(Input_data& in) const override { return new Rec_instance(in, *this); }
/// };
/// const Info<void> log_element("/log");
/// const Rec_info rec_element("/log/rec");
/// \endcode
///
/// A `<rec>5 x</rec>` reads 5, then fails on "x": the input's error handler gets
/// "Bad TEXT/CDATA for rec: \" x\":Bad character 'x':1 items read", that `<rec>`
/// is not committed, and with abort_on_error set (the default) the parse stops.
///
/// A parse instance stands for one element while it is read: it takes the
/// element's attributes and text and supplies an instance for each child
/// element. Process_contents() is the recursive walk: it reads nodes up to the
/// element's end tag, hands attributes and text to the instance, runs the walk
/// on a child instance for every child element (deleting it when its walk
/// returns) and, if nothing went wrong inside the element, finalizes it at its
/// end tag: Finalize(), then either the attached hooks (oldest first) or, when
/// no hook is attached, Commit().
///
/// Errors are reported through the input source's error handler. With the
/// input's abort_on_error set, the first element-level error makes every open
/// walk return false; with it clear, only the element in which it occurred is
/// not finalized. A rejected attribute is reported and never stops the parse.
/// A Text() that succeeds without moving the scanner's cursor is a text error
/// ("No progress reading text"), so that a faulty instance cannot loop.
///
/// Documents that are not well-formed. With abort_on_error clear, a child whose
/// walk failed on a read error may leave the reader inside it; its remaining
/// nodes are passed over up to its end tag and never handed to the parent as
/// its own. A well-formedness error (libxml2 severity ERROR: truncated or
/// malformed markup, an undefined entity) makes Process() return false
/// whatever abort_on_error says. Validity errors keep their effect: with
/// abort_on_error clear, the element in which one arrives is not finalized and
/// the parse goes on, so one pass collects the validity errors of a document
/// (libxml2 validates ahead of the reader, so an error found while reading the
/// document's first chunk ends the parse at its first node).
#ifndef TESSEL_XML_INSTANCE_HPP
#define TESSEL_XML_INSTANCE_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_formatter.hpp"
#include "XML/XML_info.hpp"
#include "XML/XML_input_stream.hpp"

#include <algorithm>
#include <memory>
#include <new>
#include <string>

namespace Tessel {

class Finalize_hook;

namespace detail {
/// Parse instances, their counters and hooks are made and freed for every
/// element, in nested order: freed blocks of up to 512 bytes are kept on the
/// thread that freed them for the next ones.
void* Recycled_new(size_t size);
void Recycled_delete(void* block, size_t size) noexcept;

/// Allocation through the recycled blocks, for classes of the parse engine.
struct Recycled {
    static void* operator new(size_t size) { return Recycled_new(size); }
    static void operator delete(void* block, size_t size) noexcept { Recycled_delete(block, size); }
    /// Over-aligned classes derived by an application are not recycled.
    static void* operator new(size_t size, std::align_val_t align) { return ::operator new(size, align); }
    static void operator delete(void* block, std::align_val_t align) noexcept {
        ::operator delete(block, align);
    }
};
}  // namespace detail

/// A parse instance: one element while it is read; see the file's description.
class Instance_base : public detail::Recycled {
public:
    /// An instance reading from input.
    explicit Instance_base(Input_data& input) : stream(input), depth(0), whole_text(false), head(nullptr) {}
    Instance_base(const Instance_base&) = delete;
    Instance_base& operator=(const Instance_base&) = delete;
    /// Deletes the attached hooks.
    virtual ~Instance_base();

    /// A new instance for a child element with this tag, owned by the caller,
    /// or null if the element has no such child.
    virtual Instance_base* Get_subinstance(const xmlChar* name) const;
    /// Reads one attribute, or leaves a message in value and returns false.
    virtual bool Attribute(const xmlChar* name, Format::Scanner& value) = 0;
    /// Reads one item of the element's text, or leaves a message and returns false.
    virtual bool Text(Format::Scanner& text) = 0;
    /// Called once the element has been read completely and without errors.
    virtual bool Finalize() = 0;
    /// Called after a successful Finalize() when no hook is attached.
    virtual bool Commit() = 0;
    /// Passes every attribute of an element node (except "xmlns") to
    /// Attribute(), reporting the rejected ones; always true.
    virtual bool Read_attribs(xmlNodePtr node);
    /// The element's name, used in messages.
    virtual const xmlChar* Name() const = 0;

    /// Reads the instance's element; the reader must be on its node or not yet
    /// started. False makes the caller stop.
    bool Process_contents();
    /// Finalizes the element: Finalize(), then the attached hooks (oldest
    /// first) or, without hooks, Commit(). False when Finalize or Commit fails.
    bool Do_finalize();
    /// Debugging aid: writes node as XML to standard error.
    void Dump_node(xmlNodePtr node);

protected:
    /// The input source being read.
    Input_data& stream;
    /// The reader's depth at the element's node, set when its walk starts.
    int depth;
    /// Set by a derived class's constructor when Text() is to get the
    /// element's whole text in one call at its end tag (its text and CDATA
    /// nodes joined, comments and processing instructions left out, empty
    /// when there is none) instead of each text node as it comes.
    bool whole_text;

private:
    friend class Finalize_hook;

    bool Read_child(const xmlChar* name);
    void Pass_over(int child_depth);
    void Read_attribute(xmlAttrPtr attr);
    bool Read_text();
    bool Gather_text(std::string& pieces);
    bool Read_whole_text(const std::string& pieces);
    bool Read_item(Format::Scanner& text, int items);
    bool Unhandled(const xmlChar* name, int type);
    void Trace_node(int type) const;
    void Trace_failure() const;

    Finalize_hook* head;
};

/// An action run when the instance it is hooked to is finalized, instead of
/// the instance's Commit(). Allocated with new; owned by that instance.
class Finalize_hook : public detail::Recycled {
public:
    Finalize_hook() : next(nullptr) {}
    Finalize_hook(const Finalize_hook&) = delete;
    Finalize_hook& operator=(const Finalize_hook&) = delete;
    /// Deletes the hooks attached before this one.
    virtual ~Finalize_hook() { delete next; }

    /// The action.
    virtual void Hook() = 0;

    /// Runs the hooks of the chain from this one on, the oldest first.
    void Do_finalize() {
        if (next) next->Do_finalize();
        Hook();
    }
    /// Attaches this hook to instance, which takes it over.
    void Hook_to(Instance_base* instance) {
        next = instance->head;
        instance->head = this;
    }

private:
    Finalize_hook* next;
};

namespace detail {
/// Writes "<name> Start processing" or "<name> End processing" to standard
/// error, standard output being flushed first.
void Trace_processing(const xmlChar* name, const char* what);
}  // namespace detail

/// The instance of a typed element: joins its descriptor (Info<T> or
/// Info_primative<T>) to the item it fills for the duration of the element,
/// and hands the engine's calls to the descriptor with the item. It keeps one
/// occurrence counter per tag of the descriptor's bindings, so that the n-th
/// child with a tag takes the n-th binding with that tag.
template <class T, class InfoT>
class Instance : public Instance_base {
public:
    /// Calls the descriptor's Start on item.
    Instance(Input_data& input, const InfoT& descriptor, T& target)
        : Instance_base(input), info(descriptor), item(target), indexes(nullptr) {
        whole_text = info.Whole_text();
        info.Start(item, stream);
        if (const size_t tags = info.Tag_count()) {
            indexes = tags < inline_counters
                          ? counters
                          : static_cast<size_t*>(detail::Recycled_new(Counters_size(tags)));
            std::fill_n(indexes, tags + 1, 0);
        }
        if (stream.log_processing) detail::Trace_processing(Name(), "Start");
    }
    ~Instance() override {
        if (stream.log_processing) detail::Trace_processing(Name(), "End");
        Free_counters();
    }

    Instance_base* Get_subinstance(const xmlChar* name) const override {
        return info.Lookup(name, indexes, stream, item);
    }
    bool Attribute(const xmlChar* name, Format::Scanner& value) override {
        return info.Attribute(name, value, item);
    }
    bool Text(Format::Scanner& text) override { return info.Read(text, item); }
    bool Finalize() override { return info.Finalize(item, stream); }
    bool Commit() override { return info.Commit(item, stream); }
    const xmlChar* Name() const override { return info.Name(); }

    /// The descriptor.
    const InfoT& Info() const { return info; }

private:
    /// One counter per tag, and one more for the binding table's guess of the
    /// tag that comes next.
    static size_t Counters_size(size_t tags) { return (tags + 1) * sizeof(size_t); }
    void Free_counters() {
        if (indexes && indexes != counters) detail::Recycled_delete(indexes, Counters_size(info.Tag_count()));
    }

    const InfoT& info;
    T& item;
    size_t* indexes;
    /// The counters of an element with few tags, kept here rather than allocated.
    static constexpr size_t inline_counters = 8;
    size_t counters[inline_counters];
};

namespace detail {
/// The scratch item of a Dummy_instance, built before the instance's Start
/// runs on it.
template <class T>
struct Scratch_item {
    T dummy{};
};
}  // namespace detail

/// The instance of an element that has no item to fill: it fills a scratch
/// item of its own, which starts value-initialised (zeros for plain
/// structures) before the descriptor's Start, and dies with the instance right
/// after Commit, so Commit copies out what the application keeps.
template <class T, class InfoT>
class Dummy_instance : private detail::Scratch_item<T>, public Instance<T, InfoT> {
public:
    /// An instance of descriptor reading from input into a new scratch item.
    Dummy_instance(Input_data& input, const InfoT& descriptor)
        : detail::Scratch_item<T>(), Instance<T, InfoT>(input, descriptor, this->dummy) {}
    ~Dummy_instance() override {}
};

/// The instance of a data-less element: its children are the descriptors
/// registered beneath its descriptor; text and attributes are rejected.
template <>
class Instance<void, Info<void>> : public Instance_base {
public:
    /// An instance of descriptor reading from input.
    Instance(Input_data& input, const Tessel::Info<void>& descriptor)
        : Instance_base(input), info(descriptor), last(nullptr) {}
    ~Instance() override {}

    Instance_base* Get_subinstance(const xmlChar* name) const override;
    bool Attribute(const xmlChar* name, Format::Scanner& value) override;
    bool Text(Format::Scanner& text) override;
    bool Finalize() override { return true; }
    bool Commit() override { return true; }
    const xmlChar* Name() const override { return info.Name(); }

    /// The descriptor.
    const Tessel::Info<void>& Info() const { return info; }

private:
    const Tessel::Info<void>& info;
    /// The descriptor found for the previous child: a document's children
    /// mostly repeat one tag, which is then not looked up again.
    mutable const Info_base* last;
};

}  // namespace Tessel

#endif
