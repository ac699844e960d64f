/// \file
/// Accessors and manipulators: how a descriptor reads and writes a value as
/// text, and how it reaches one member of a structure.
///
/// Example: the text of an element read into a structure's member, through a
/// manipulator and a formatter, and a bit-field reached by copy:
///
/// \code
/// struct Rec {
///     long id;
///     unsigned flags : 4;
///     unsigned level : 4;
/// };
/// Define_Bitfield(level);  // once per member name, at namespace scope
///
/// Tessel::Accessor<Rec> id_text = Tessel::Get_Access<Rec, long>(Tessel::Access::GetSet(&Rec::id), "%04X");
/// Tessel::Accessor<Rec> level_text = GetBitfield(Rec, level);
/// Rec rec{};
/// // A scanner over "002A" read through id_text sets rec.id to 42; over "7"
/// // through level_text it sets rec.level to 7 and leaves rec.flags alone.
/// // Writing rec through id_text prints "002A".
/// \endcode
///
/// Accessors (Access::Accessor<T>) convert between text and a value of T; they
/// are reference-counted and held through the handle Accessor<T>, which adopts
/// the reference of the pointer it is built from (Get_Access and new give one)
/// and takes one more for every copy. Access::Primative<T> wraps a formatter;
/// Access::Member<P, T, GetSet> reads and writes one member of a P through a
/// manipulator and a formatter of the member's type.
///
/// Manipulators reach one member of a parent structure. GetSet_member<P, T>
/// (from Access::GetSet(&P::m)) hands out a reference to the member; the
/// bit-field manipulators made by Define_Bitfield cannot, and work by value:
/// they derive from Access::GetSet_copy instead of Access::GetSet_nocopy, which
/// tells a binding that it must work on a copy. An application's own
/// manipulator derives from one of the two tags and offers Get, Set and Clone
/// as GetSet_member does. A manipulator has exactly one owner, which deletes it.
///
/// Reading a member through a manipulator stores nothing when the read fails:
/// a reference member is only written by a successful scan, and a copied one is
/// stored back only after success.
///
/// Reference counts are plain ints: accessors are built with the static tables
/// and only read afterwards, from any number of threads.
#ifndef TESSEL_XML_ACCESSOR_HPP
#define TESSEL_XML_ACCESSOR_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_formatter.hpp"

#include <memory>
#include <type_traits>
#include <utility>

namespace Tessel {
namespace Access {

/// Converts between text and a value of T; reference-counted.
template <class T>
class Accessor {
public:
    Accessor() : refcount(1) {}
    Accessor(const Accessor&) = delete;
    Accessor& operator=(const Accessor&) = delete;
    virtual ~Accessor() {}
    /// Reads value from the text at the scanner's cursor; false, with the
    /// reason left in scanner, when the text does not fit.
    virtual bool Read(Format::Scanner& scanner, T& value) const = 0;
    /// Appends value as text to printer.
    virtual void Write(Format::Printer& printer, const T& value) const = 0;
    /// True when the value is read from the element's whole text at once
    /// (strings, lists) rather than from each text node.
    virtual bool Whole_text() const { return false; }
    /// False when value has nothing to write (an empty std::optional): its
    /// attribute or text is then left out.
    virtual bool Present(const T&) const { return true; }

    /// Adds a reference and returns the accessor.
    Accessor* Dup() {
        ++refcount;
        return this;
    }
    /// Removes a reference; the last one deletes the accessor.
    void Drop() {
        if (--refcount < 1) delete this;
    }

private:
    int refcount;
};

/// The stock accessor: a formatter of T, built from the same arguments as a
/// Formatter<T> (none, a format string, a value table or a time mode).
template <class T>
class Primative : public Accessor<T> {
public:
    /// The formatter built from args, as a Formatter<T>.
    template <class... Format_args>
    explicit Primative(const Format_args&... args) : fmt(args...) {}
    ~Primative() override {}
    bool Read(Format::Scanner& scanner, T& value) const override { return fmt.Read(scanner, value); }
    void Write(Format::Printer& printer, const T& value) const override { fmt.Write(printer, value); }
    bool Whole_text() const override { return Format::whole_text<T>; }
    bool Present(const T& value) const override { return Format::Engaged(value); }

    /// The formatter that converts the value.
    const Formatter<T> fmt;
};

/// Tags of manipulators: whether a binding reaches the member by reference
/// (no copy) or must work on a copy and store it back (bit-fields).
struct GetSet_nocopy {
    /// False: the member is reached by reference.
    bool Copy_needed() const { return false; }
};
/// The tag of manipulators that work by value (bit-fields); see GetSet_nocopy.
struct GetSet_copy {
    /// True: the member is read into a copy and stored back.
    bool Copy_needed() const { return true; }
};

/// Reaches the member of P pointed to by ptr.
template <class P, class T>
class GetSet_member : public GetSet_nocopy {
public:
    /// Reaches the member that member points to.
    explicit GetSet_member(T P::*member) : ptr(member) {}
    ///@{
    /// The member of parent.
    T& Get(P& parent) const { return parent.*ptr; }
    const T& Get(const P& parent) const { return parent.*ptr; }
    ///@}
    /// Assigns x to the member of parent.
    void Set(const T& x, P& parent) const { parent.*ptr = x; }
    /// A new manipulator of the same member, owned by the caller.
    GetSet_member* Clone() const { return new GetSet_member(ptr); }

private:
    T P::*ptr;
};

/// True when the manipulator GetSet works by value (derives from GetSet_copy).
template <class GetSet>
constexpr bool copy_needed = std::is_base_of_v<GetSet_copy, GetSet>;

/// Reads and writes one member of P as text: the manipulator reaches it, the
/// formatter converts it. Owns the manipulator.
template <class P, class T, class GetSet>
class Member : public Accessor<P> {
public:
    /// Adopts the manipulator m; the formatter is built from args, as a
    /// Formatter<T> (m is deleted if that throws).
    template <class... Format_args>
    explicit Member(GetSet* m, const Format_args&... args) : manipulator(m), fmt(args...) {}
    ~Member() override {}

    /// Reads the member of parent; on failure the member is left as it was.
    bool Read(Format::Scanner& scanner, P& parent) const override {
        if constexpr (copy_needed<GetSet>) {
            T value = manipulator->Get(parent);
            if (!fmt.Read(scanner, value)) return false;
            manipulator->Set(value, parent);
            return true;
        } else {
            return fmt.Read(scanner, manipulator->Get(parent));
        }
    }
    /// Appends the member of parent as text to printer.
    void Write(Format::Printer& printer, const P& parent) const override {
        fmt.Write(printer, manipulator->Get(parent));
    }
    bool Whole_text() const override { return Format::whole_text<T>; }
    bool Present(const P& parent) const override { return Format::Engaged(manipulator->Get(parent)); }

private:
    const std::unique_ptr<GetSet> manipulator;
    const Formatter<T> fmt;
};

/// A new manipulator for a member: Access::GetSet(&P::m).
template <class P, class T>
GetSet_member<P, T>* GetSet(T P::*member) {
    return new GetSet_member<P, T>(member);
}

}  // namespace Access

/// The handle on an accessor; empty when the element carries no text.
template <class T>
class Accessor {
public:
    /// An empty handle.
    Accessor() : ptr(nullptr) {}
    /// Adopts the reference of accessor (one from Get_Access or new).
    Accessor(Access::Accessor<T>* accessor) : ptr(accessor) {}
    /// Shares other's accessor, adding a reference.
    Accessor(const Accessor& other) : ptr(other.ptr ? other.ptr->Dup() : nullptr) {}
    /// Shares other's accessor, dropping the reference held before.
    Accessor& operator=(const Accessor& other) {
        Accessor held(other);
        std::swap(ptr, held.ptr);
        return *this;
    }
    ~Accessor() {
        if (ptr) ptr->Drop();
    }

    /// Reads with the accessor; without one, "No text allowed".
    bool Read(Format::Scanner& scanner, T& value) const {
        return ptr ? ptr->Read(scanner, value) : scanner.Error("No text allowed");
    }
    /// Writes with the accessor; without one, nothing.
    void Write(Format::Printer& printer, const T& value) const {
        if (ptr) ptr->Write(printer, value);
    }
    /// True when the accessor reads the element's whole text at once; false without one.
    bool Whole_text() const { return ptr && ptr->Whole_text(); }
    /// True when value has something to write; false without an accessor.
    bool Present(const T& value) const { return ptr && ptr->Present(value); }
    /// True when the handle holds an accessor.
    explicit operator bool() const { return ptr != nullptr; }
    /// True when the handle is empty.
    bool operator!() const { return ptr == nullptr; }
    /// The accessor, or null; the handle keeps its reference.
    operator Access::Accessor<T>*() const { return ptr; }

private:
    Access::Accessor<T>* ptr;
};

/// The default accessor of T (its default formatter), with one reference.
template <class T>
Access::Accessor<T>* Get_Access() {
    return new Access::Primative<T>;
}

/// An accessor of a P's member through manipulator m, which it owns; the
/// formatter of T is built from the optional arguments, as a Formatter<T>.
template <class P, class T, class GetSet, class... Format_args>
Access::Accessor<P>* Get_Access(GetSet* m, const Format_args&... args) {
    std::unique_ptr<GetSet> manipulator(m);  // deleted if the allocation throws
    return new Access::Member<P, T, GetSet>(manipulator.release(), args...);
}

///@{
/// Forces a condition member when the guarded element is read: a bool member
/// takes value (sense true) or its negation (sense false); any other member
/// takes value when sense is true and is left alone otherwise.
template <class P, class GetSet>
void Set(P& item, GetSet* manipulator, bool value, bool sense) {
    manipulator->Set(sense ? value : !value, item);
}
template <class P, class GetSet, class V>
void Set(P& item, GetSet* manipulator, V value, bool sense) {
    if (sense) manipulator->Set(value, item);
}
///@}

}  // namespace Tessel

/// Bit-fields cannot be referenced: Define_Bitfield(m); defines the copying
/// manipulator GetSet_bf_m<Parent, T> for members named m; GetSetBitfield(P, m)
/// makes one for P::m; GetBitfield(P, m, format...) is an accessor for it and
/// SubelementBitfield(P, m, name, format...) a sub-element binding. They work
/// at any namespace scope.
#define Define_Bitfield(member)                                                     \
    template <class Parent, class T>                                                \
    class GetSet_bf_##member : public ::Tessel::Access::GetSet_copy {               \
    public:                                                                         \
        T Get(const Parent& parent) const { return parent.member; }                 \
        void Set(const T& x, Parent& parent) const { parent.member = x; }           \
        GetSet_bf_##member* Clone() const { return new GetSet_bf_##member(*this); } \
    }

/// The type of the bit-field member of p.
#define Tessel_bitfield_type(p, member) decltype(::std::declval<p&>().member)
/// A new copying manipulator for the bit-field p::member (Define_Bitfield(member) first).
#define GetSetBitfield(p, member) (new GetSet_bf_##member<p, Tessel_bitfield_type(p, member)>)
/// An accessor of the bit-field p::m; the optional arguments build its formatter.
#define GetBitfield(p, m, ...) \
    ::Tessel::Get_Access<p, Tessel_bitfield_type(p, m)>(GetSetBitfield(p, m), ##__VA_ARGS__)
/// A sub-element binding of the bit-field p::m: the element's name, then the
/// optional arguments of its formatter.
#define SubelementBitfield(p, m, ...) \
    ::Tessel::Subelement<p, Tessel_bitfield_type(p, m)>(GetSetBitfield(p, m), __VA_ARGS__)

#endif
