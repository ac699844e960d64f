/// \file
/// Sub-element bindings: which child elements fill which members of the
/// structure that their parent element fills.
///
/// Example: a record with two primitive children, a nested position and a
/// conditional alarm, read from
/// `<rec><seq>7</seq><addr>0x1F</addr><pos><x>1</x><y>2</y></pos><alarm>3</alarm></rec>`:
///
/// \code
/// struct Pos { long x, y; };
/// struct Rec { long seq; unsigned long addr; Pos pos; bool alarmed; long alarm; };
///
/// const Tessel::Subelement_table<Pos> pos_rows[] = {{Tessel::Subelement(&Pos::x, "x")},
///                                                   {Tessel::Subelement(&Pos::y, "y")}};
/// const Tessel::Info<Pos> pos_info("pos", pos_rows);
/// const Tessel::Subelement_table<Rec> rec_rows[] = {
///     {Tessel::Subelement(&Rec::seq, "seq")},
///     {Tessel::Subelement(&Rec::addr, "addr", "0x%X")},
///     {Tessel::Subelement(pos_info).Of(&Rec::pos)},                // filled in place
///     {Tessel::Subelement(&Rec::alarm, "alarm").If(&Rec::alarmed, true)},  // sets alarmed
/// };
/// const Tessel::Info<Rec> rec_info("/rec", rec_rows);
/// \endcode
///
/// A row's binding composes left to right: an entry leads to a descriptor
/// (Subelement(info)), .Of(&P::m) applies a binding to member m of P, .If and
/// .IfNot guard it with a test of a member, and Subelement(&P::m, "tag",
/// format) is a primitive child element holding member m as text, where the
/// format is a format string, a time mode or, for a bool or an enumeration,
/// a Value_hash of names: Subelement(&P::mode, "mode", mode_names). Each row is
/// an aggregate holding its binding: write it in braces.
///
/// Tags. The tag of a row is the name of the descriptor at the end of its
/// chain. A descriptor's rows become a name-keyed table on first use (safe
/// from several threads at once). Within one parent element, the n-th child
/// with a tag takes the n-th row with that tag; when the rows with the tag are
/// used up, the child goes to a descriptor registered beneath the parent, or
/// is unrecognised. A row leading to a nameless descriptor is never selected
/// itself: that descriptor's own rows join the parent's table, reaching
/// through the row's member (to any depth).
///
/// Conditions. Reading a guarded element sets its condition: a bool member
/// takes the value (.If) or its negation (.IfNot); another member takes the
/// value for .If and is left alone for .IfNot. Writing writes the element only
/// when the member compares to the value as the condition says.
///
/// Containers and optionals. A std::vector<M> member bound to a tag,
/// Subelement(&P::values, "v") for a primitive M (std::string included) or
/// Subelement(item_info).Of(&P::items) for a described structure, takes every
/// occurrence of the tag in order, once the earlier rows with that tag have
/// taken theirs (rows after it with the same tag are never reached). Each
/// element is read into a new, value-initialised M and appended when it
/// completes; one that fails is not appended. A std::optional<M> member
/// (Subelement(&P::opt, "o"), .Of(&P::opt)) is read the same way and engaged
/// with the element's value. Both are written only for what they hold: one
/// element per item, none for an empty vector or optional.
/// Subelement_list(&P::flags, "flags") binds a std::vector or std::array to
/// one element whose text lists the items: `<flags>1 0 1 1</flags>`.
///
/// \code
/// struct Unit { std::vector<long> readings; std::vector<Pos> stops;
///               std::optional<std::string> note; std::array<int, 4> flags; };
/// const Tessel::Subelement_table<Unit> unit_rows[] = {
///     {Tessel::Subelement(&Unit::readings, "r")},        // <r>1</r><r>2</r>...
///     {Tessel::Subelement(pos_info).Of(&Unit::stops)},   // <pos>...</pos><pos>...</pos>
///     {Tessel::Subelement(&Unit::note, "note")},         // <note> when engaged
///     {Tessel::Subelement_list(&Unit::flags, "flags")},  // <flags>1 0 1 1</flags>
/// };
/// \endcode
///
/// Like a bit-field's store (below), the append or the engaging takes the
/// place of the element descriptor's Commit; its Finalize still runs and can
/// refuse the element.
///
/// Bit-fields (SubelementBitfield) are read through a temporary: the child
/// element works on a copy initialised from the member, stored back by a
/// finalize hook when the child element completes; nothing is stored when the
/// child fails. The hook takes the place of the child descriptor's Commit.
///
/// Ownership. Bindings are reference-counted: a factory expression's binding
/// carries one reference, which the row it initialises adopts; every tag list
/// holding it adds one. Descriptors are not counted: bindings only refer to
/// them. Bindings, rows and descriptors may therefore be destroyed in any
/// order.
#ifndef TESSEL_XML_SUBELEMENTS_HPP
#define TESSEL_XML_SUBELEMENTS_HPP

#include "XML/XML_accessor.hpp"
#include "XML/XML_defines.hpp"
#include "XML/XML_hash.hpp"
#include "XML/XML_info.hpp"
#include "XML/XML_instance.hpp"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Tessel {

/// Any binding, whatever the structure it works on.
class Subelement_sub_base {
public:
    Subelement_sub_base() {}
    Subelement_sub_base(const Subelement_sub_base&) = delete;
    Subelement_sub_base& operator=(const Subelement_sub_base&) = delete;
    virtual ~Subelement_sub_base() {}
};

/// Receives the rows of a nameless descriptor (Info_base::Subregister).
class Subelement_register {
public:
    /// Receives one row's binding.
    virtual void Register(Subelement_sub_base* sub) = 0;
    virtual ~Subelement_register() {}
};

template <class P, class T>
class Subelement_chain;

template <class T>
class Subelement_base;

namespace detail {
/// Reports a binding of a nameless descriptor that does not fit the structure
/// of the binding that pulls it in, and aborts: the tables are inconsistent.
[[noreturn]] void Binding_mismatch(const char* wanted, const char* got);
/// The binding of a primitive child element called name holding a T: one
/// element for a plain value or a std::array (a list), every occurrence for a
/// std::vector, an element that may be absent for a std::optional.
template <class T, class... Format_args>
Subelement_base<T>* Primitive_binding(const char* name, const Format_args&... args);
/// Gives up a reference to a binding (Binding_ref).
template <class T>
struct Release_binding {
    void operator()(const Subelement_base<T>* binding) const { binding->DecrRefCount(); }
};
/// One reference to a binding, given up at the end of the scope unless handed
/// over with release(): what a factory holds while it builds the rest.
template <class T>
using Binding_ref = std::unique_ptr<Subelement_base<T>, Release_binding<T>>;
}  // namespace detail

/// The binding of one kind of child element to the structure T of its parent.
template <class T>
class Subelement_base : public Subelement_sub_base {
public:
    Subelement_base() : refcount(1) {}

    /// A new instance for one occurrence of the child element, working on the
    /// part of item the binding reaches; owned by the caller.
    virtual Instance_base* Get_instance(Input_data& stream, T& item) const = 0;
    /// A new, detached node for the part of item the binding reaches, or null.
    virtual xmlNodePtr Write(const T& item) const = 0;
    /// The descriptor at the end of the binding.
    virtual const Info_base* Info() const = 0;
    /// The binding that reaches what this one reaches and then does what sub
    /// does, with one reference for the caller; null to drop the row.
    virtual Subelement_base* Clone(Subelement_sub_base* sub) const = 0;

    /// Adds a reference.
    void IncrRefCount() const { ++refcount; }
    /// Removes a reference; the last one deletes the binding.
    void DecrRefCount() const {
        if (--refcount < 1) delete this;
    }
    /// True when the binding takes every further occurrence of its tag (a
    /// std::vector), not one.
    virtual bool Repeats() const { return false; }
    /// The tag: the descriptor's name; empty for an anonymous binding.
    const xmlChar* Name() const { return Info()->Name(); }
    /// Prints the outline of the descriptor at the end of the binding.
    void Dump_elements(int indent) const { Info()->Dump_elements(indent); }
    /// This binding, unchanged.
    Subelement_base& Commit() { return *this; }

    /// This binding applied to member m of a P; for a std::vector member, to a
    /// new element appended for every occurrence; for a std::optional, to the
    /// value it then holds.
    template <class P>
    Subelement_base<P>& Of(T P::*member);
    /// This binding applied to a new element of the std::vector member m,
    /// appended for every occurrence.
    template <class P>
    Subelement_base<P>& Of(std::vector<T> P::*member);
    /// This binding applied to the value that the std::optional member m then
    /// holds.
    template <class P>
    Subelement_base<P>& Of(std::optional<T> P::*member);
    /// This binding, present when member of P equals value (If) or differs
    /// from it (IfNot).
    template <class P, class M, class V>
    Subelement_chain<P, T>& If(M P::*member, V value);
    /// This binding, present when member of P differs from value.
    template <class P, class M, class V>
    Subelement_chain<P, T>& IfNot(M P::*member, V value);

private:
    mutable int refcount;
};

/// Leads to a descriptor; the child's instance works on the item itself.
template <class T, class InfoT>
class Subelement_entry : public Subelement_base<T> {
public:
    /// Leads to descriptor, borrowed.
    explicit Subelement_entry(const InfoT& descriptor) : info(descriptor) {}
    ~Subelement_entry() override {}

    /// A new instance of the descriptor working on item itself.
    Instance_base* Get_instance(Input_data& stream, T& item) const override {
        return new Instance<T, InfoT>(stream, info, item);
    }
    /// The descriptor's element for item.
    xmlNodePtr Write(const T& item) const override { return info.Write(item); }
    /// The descriptor.
    const Info_base* Info() const override { return &info; }
    /// The descriptor's own binding serves unchanged: both work on one object.
    Subelement_base<T>* Clone(Subelement_sub_base* sub) const override {
        Subelement_base<T>* same = dynamic_cast<Subelement_base<T>*>(sub);
        if (!same) detail::Binding_mismatch(typeid(Subelement_base<T>).name(), typeid(*sub).name());
        same->IncrRefCount();
        return same;
    }

private:
    const InfoT& info;
};

/// A primitive child element of its own: a descriptor that lives exactly as
/// long as its binding.
template <class T>
class Subelement_primative : public Info_primative<T>, public Subelement_entry<T, Info_primative<T>> {
public:
    /// The text is formatted as a Formatter<T> built from args.
    template <class... Format_args>
    explicit Subelement_primative(const char* name, const Format_args&... args)
        : Info_primative<T>(name, Accessor<T>(new Access::Primative<T>(args...))),
          Subelement_entry<T, Info_primative<T>>(static_cast<const Info_primative<T>&>(*this)) {}
    ~Subelement_primative() override {}
};

/// A binding on P that hands over to a binding on T; owns one reference to it.
template <class P, class T>
class Subelement_chain : public Subelement_base<P> {
public:
    /// Hands over to next_binding, adopting its reference.
    explicit Subelement_chain(Subelement_base<T>* next_binding) : next(next_binding) {}
    /// Hands over to a new binding leading to info.
    explicit Subelement_chain(const Tessel::Info<T>& info)
        : next(new Subelement_entry<T, Tessel::Info<T>>(info)) {}
    /// Hands over to a new binding leading to the primitive descriptor info.
    explicit Subelement_chain(const Info_primative<T>& info)
        : next(new Subelement_entry<T, Info_primative<T>>(info)) {}
    /// A primitive child element called name, formatted as a Formatter<T>
    /// built from args.
    template <class... Format_args>
    explicit Subelement_chain(const char* name, const Format_args&... args)
        : next(detail::Primitive_binding<T>(name, args...)) {}
    ~Subelement_chain() override { next->DecrRefCount(); }

    /// The descriptor at the end of the chain.
    const Info_base* Info() const override { return next->Info(); }
    /// Whether the binding handed over to repeats.
    bool Repeats() const override { return next->Repeats(); }

protected:
    /// The binding handed over to.
    Subelement_base<T>* next;
};

/// A finalize hook holding the value a child element is read into, which
/// store puts in place once the element is complete.
template <class T, class Store>
class Scratch_hook : public Finalize_hook {
public:
    /// A value that starts as initial, put in place by how.
    Scratch_hook(T initial, Store how) : value(std::move(initial)), store(how) {}
    /// Puts the value in place.
    void Hook() override { store(value); }

    /// The value the child element is read into.
    T value;

private:
    Store store;
};

namespace detail {
/// The instance of next for one child element, reading into a scratch value
/// that starts as initial and is handed to store when the element completes
/// without error; nothing is stored otherwise.
template <class T, class Store>
Instance_base* Scratch_instance(const Subelement_base<T>& next, Input_data& stream, T initial, Store store) {
    auto hook = std::make_unique<Scratch_hook<T, Store>>(std::move(initial), store);
    Instance_base* instance = next.Get_instance(stream, hook->value);
    hook.release()->Hook_to(instance);
    return instance;
}
}  // namespace detail

/// Reaches a member of P through a manipulator (owned), then hands over.
template <class P, class T, class GetSet>
class Subelement_access : public Subelement_chain<P, T> {
public:
    /// The chain is built from what follows the manipulator: a next binding, a
    /// descriptor, or a primitive element's name with its format arguments.
    template <class X, class... More>
    Subelement_access(GetSet* m, const X& x, const More&... more)
        : Subelement_chain<P, T>(x, more...), manipulator(m) {}
    ~Subelement_access() override { delete manipulator; }

    Instance_base* Get_instance(Input_data& stream, P& item) const override {
        if constexpr (Access::copy_needed<GetSet>) {
            const GetSet* m = manipulator;
            return detail::Scratch_instance(*this->next, stream, T(m->Get(item)),
                                            [m, &item](T& value) { m->Set(value, item); });
        } else {
            return this->next->Get_instance(stream, manipulator->Get(item));
        }
    }
    xmlNodePtr Write(const P& item) const override { return this->next->Write(manipulator->Get(item)); }
    Subelement_base<P>* Clone(Subelement_sub_base* sub) const override {
        detail::Binding_ref<T> cloned(this->next->Clone(sub));
        if (!cloned) return nullptr;
        std::unique_ptr<GetSet> m(manipulator->Clone());
        return new Subelement_access(m.release(), cloned.release());
    }

private:
    GetSet* manipulator;
};

/// Guards a binding with a test of member M of P against value.
template <class P, class M, class V, class T, class GetSet>
class IfCondition : public Subelement_chain<P, T> {
public:
    /// Guards next_binding (adopting its reference) with the test of the
    /// member that m (owned) reaches: equal to compared when wanted is true,
    /// different when false.
    IfCondition(GetSet* m, V compared, Subelement_base<T>* next_binding, bool wanted)
        : Subelement_chain<P, T>(next_binding), manipulator(m), value(compared), sense(wanted) {}
    ~IfCondition() override { delete manipulator; }

    Instance_base* Get_instance(Input_data& stream, P& item) const override {
        Tessel::Set(item, manipulator, value, sense);
        return this->next->Get_instance(stream, item);
    }
    xmlNodePtr Write(const P& item) const override {
        const bool equal = manipulator->Get(item) == value;
        return equal == sense ? this->next->Write(item) : nullptr;
    }
    Subelement_base<P>* Clone(Subelement_sub_base* sub) const override {
        detail::Binding_ref<T> cloned(this->next->Clone(sub));
        if (!cloned) return nullptr;
        std::unique_ptr<GetSet> m(manipulator->Clone());
        return new IfCondition(m.release(), value, cloned.release(), sense);
    }

private:
    GetSet* manipulator;
    V value;
    bool sense;
};

/// Appends an element to a std::vector for every occurrence of the tag, read
/// through the binding on one element; an element that fails is not appended.
/// The append takes the place of the element descriptor's Commit. Written as
/// one element per item, in order, and nothing for an empty vector. A vector
/// of a nameless descriptor binds nothing.
template <class M>
class Subelement_each : public Subelement_chain<std::vector<M>, M> {
public:
    using Subelement_chain<std::vector<M>, M>::Subelement_chain;
    ~Subelement_each() override {}

    Instance_base* Get_instance(Input_data& stream, std::vector<M>& items) const override {
        return detail::Scratch_instance(*this->next, stream, M{},
                                        [&items](M& value) { items.push_back(std::move(value)); });
    }
    xmlNodePtr Write(const std::vector<M>& items) const override {
        if (items.empty()) return nullptr;
        detail::Node_holder wrapper(xmlNewNode(nullptr, BAD_CAST ""));
        if (!wrapper) return nullptr;
        for (const M& item : items) Add_children(wrapper.get(), this->next->Write(item));
        return wrapper.release();
    }
    Subelement_base<std::vector<M>>* Clone(Subelement_sub_base*) const override { return nullptr; }
    bool Repeats() const override { return true; }
};

/// Engages a std::optional with the element read through the binding on its
/// value (a value-initialised M to start with); an element that fails leaves
/// it as it was, and the store takes the place of the descriptor's Commit.
/// Written only when engaged. An optional of a nameless descriptor binds
/// nothing.
template <class M>
class Subelement_engaged : public Subelement_chain<std::optional<M>, M> {
public:
    using Subelement_chain<std::optional<M>, M>::Subelement_chain;
    ~Subelement_engaged() override {}

    Instance_base* Get_instance(Input_data& stream, std::optional<M>& target) const override {
        return detail::Scratch_instance(*this->next, stream, M{},
                                        [&target](M& value) { target = std::move(value); });
    }
    xmlNodePtr Write(const std::optional<M>& value) const override {
        return value ? this->next->Write(*value) : nullptr;
    }
    Subelement_base<std::optional<M>>* Clone(Subelement_sub_base*) const override { return nullptr; }
};

template <class T, class... Format_args>
Subelement_base<T>* detail::Primitive_binding(const char* name, const Format_args&... args) {
    using M = Format::item_t<T>;
    if constexpr (std::is_same_v<T, std::vector<M>>)
        return new Subelement_each<M>(name, args...);
    else if constexpr (Format::is_optional<T>)
        return new Subelement_engaged<M>(name, args...);
    else
        return new Subelement_primative<T>(name, args...);
}

// ---- Factories: each returns a new binding carrying one reference ----------
//
// A factory owns what it is given (a manipulator, a reference to a next
// binding) from its first statement, and every part it makes, until the
// binding that adopts them exists: when an allocation throws, nothing leaks.
// The new binding is allocated before the parts are handed over, as the
// allocation comes before the evaluation of a constructor's arguments.

/// A binding that reaches a member of P through the manipulator m (owned) and
/// hands over to next, adopting its reference.
template <class P, class T, class GetSet>
Subelement_base<P>& Subelement(GetSet* m, Subelement_base<T>* next) {
    std::unique_ptr<GetSet> manipulator(m);
    detail::Binding_ref<T> held(next);
    return *new Subelement_access<P, T, GetSet>(manipulator.release(), held.release());
}

/// The same through an application's manipulator (bit-fields).
template <class P, class T, class GetSet, class... Format_args>
Subelement_base<P>& Subelement(GetSet* m, const char* name, const Format_args&... args) {
    std::unique_ptr<GetSet> manipulator(m);
    detail::Binding_ref<T> next(detail::Primitive_binding<T>(name, args...));
    return Subelement<P, T>(manipulator.release(), next.release());
}

/// A primitive child element called name holding member m of P, its text
/// formatted as a Formatter<T> built from the optional arguments (a format
/// string, a time mode, a value table).
template <class P, class T, class... Format_args>
Subelement_base<P>& Subelement(T P::*member, const char* name, const Format_args&... args) {
    return Subelement<P, T>(Access::GetSet(member), name, args...);
}

/// A primitive child element called name whose text is a white-space-separated
/// list of the items of member m of P, a std::vector or a std::array, each item
/// formatted as a Formatter of the item type built from the optional
/// arguments: `<flags>1 0 1 1</flags>`. See Format::List.
template <class P, class C, class... Format_args>
Subelement_base<P>& Subelement_list(C P::*member, const char* name, const Format_args&... args) {
    static_assert(Format::is_list<C>, "Subelement_list binds a std::vector or std::array member");
    detail::Binding_ref<C> items(new Subelement_primative<C>(name, args...));
    Access::GetSet_member<P, C>* m = Access::GetSet(member);
    return Subelement<P, C>(m, items.release());
}

///@{
/// A child element described by info, filling the same item.
template <class T>
Subelement_entry<T, Info<T>>& Subelement(const Info<T>& info) {
    return *new Subelement_entry<T, Info<T>>(info);
}
template <class T>
Subelement_entry<T, Info_primative<T>>& Subelement(const Info_primative<T>& info) {
    return *new Subelement_entry<T, Info_primative<T>>(info);
}
///@}

/// The binding next guarded by the test of the member that m reaches (see
/// IfCondition); .If and .IfNot build it. Adopts m and next's reference.
template <class P, class M, class V, class T, class GetSet>
IfCondition<P, M, V, T, GetSet>& Get_IF(GetSet* m, V value, Subelement_base<T>* next, bool sense) {
    std::unique_ptr<GetSet> manipulator(m);
    detail::Binding_ref<T> held(next);
    return *new IfCondition<P, M, V, T, GetSet>(manipulator.release(), value, held.release(), sense);
}

template <class T>
template <class P>
Subelement_base<P>& Subelement_base<T>::Of(T P::*member) {
    detail::Binding_ref<T> next(this);
    Access::GetSet_member<P, T>* m = Access::GetSet(member);
    return Subelement<P, T>(m, next.release());
}

template <class T>
template <class P>
Subelement_base<P>& Subelement_base<T>::Of(std::vector<T> P::*member) {
    detail::Binding_ref<T> item(this);
    detail::Binding_ref<std::vector<T>> each(new Subelement_each<T>(item.release()));
    Access::GetSet_member<P, std::vector<T>>* m = Access::GetSet(member);
    return Subelement<P, std::vector<T>>(m, each.release());
}

template <class T>
template <class P>
Subelement_base<P>& Subelement_base<T>::Of(std::optional<T> P::*member) {
    detail::Binding_ref<T> value(this);
    detail::Binding_ref<std::optional<T>> engaged(new Subelement_engaged<T>(value.release()));
    Access::GetSet_member<P, std::optional<T>>* m = Access::GetSet(member);
    return Subelement<P, std::optional<T>>(m, engaged.release());
}

template <class T>
template <class P, class M, class V>
Subelement_chain<P, T>& Subelement_base<T>::If(M P::*member, V value) {
    detail::Binding_ref<T> next(this);
    Access::GetSet_member<P, M>* m = Access::GetSet(member);
    return Get_IF<P, M, V, T>(m, value, next.release(), true);
}

template <class T>
template <class P, class M, class V>
Subelement_chain<P, T>& Subelement_base<T>::IfNot(M P::*member, V value) {
    detail::Binding_ref<T> next(this);
    Access::GetSet_member<P, M>* m = Access::GetSet(member);
    return Get_IF<P, M, V, T>(m, value, next.release(), false);
}

// ---- Tables ------------------------------------------------------------------

/// One row of a binding array; adopts the reference of its binding expression
/// and releases it when destroyed.
template <class T>
struct Subelement_table {
    /// The row's binding.
    const Subelement_base<T>& item;

    ~Subelement_table() { item.DecrRefCount(); }
    /// The row's binding.
    operator Subelement_base<T>&() const { return const_cast<Subelement_base<T>&>(item); }
};

/// The bindings that share one tag, in row order; holds a reference on each.
template <class T>
class Subelement_hash_list {
public:
    /// An empty list for the tag tag (borrowed), the tag_index-th distinct tag
    /// of its table.
    Subelement_hash_list(unsigned int tag_index, const xmlChar* tag)
        : name(tag),
          table_size(10),
          count(0),
          index(tag_index),
          repeating(SIZE_MAX),
          table(new Subelement_base<T>*[10]) {}
    Subelement_hash_list(const Subelement_hash_list&) = delete;
    Subelement_hash_list& operator=(const Subelement_hash_list&) = delete;
    ~Subelement_hash_list() {
        for (size_t i = 0; i < count; ++i) table[i]->DecrRefCount();
        delete[] table;
    }

    /// Appends item, adding a reference.
    void Add(Subelement_base<T>& item) {
        if (count == table_size) Grow();
        if (repeating == SIZE_MAX && item.Repeats()) repeating = count;
        table[count++] = &item;
        item.IncrRefCount();
    }
    /// The binding for the next occurrence of the tag: the one after those
    /// already taken in this parent (indexes), or null when all are taken. A
    /// binding that repeats is never used up: the rows after it are not
    /// reached.
    const Subelement_base<T>* Which(size_t* indexes) const {
        if (!indexes) return table[0];
        size_t& taken = indexes[index];
        if (taken >= count) return nullptr;
        return taken == repeating ? table[taken] : table[taken++];
    }
    /// The tag.
    const xmlChar* Name() const { return name; }
    /// The tag's index among the distinct tags of its table.
    size_t Index() const { return index; }
    /// Prints the outline of every binding's descriptor.
    void Dump_elements(int indent) const {
        for (size_t i = 0; i < count; ++i) table[i]->Dump_elements(indent);
    }

private:
    void Grow() {
        Subelement_base<T>** grown = new Subelement_base<T>*[2 * table_size];
        std::copy(table, table + count, grown);
        delete[] table;
        table = grown;
        table_size *= 2;
    }

    const xmlChar* name;
    size_t table_size;
    size_t count;
    size_t index;
    /// The position of the first binding that repeats; SIZE_MAX when none does.
    size_t repeating;
    Subelement_base<T>** table;
};

/// The bindings of a descriptor by tag, built from its row array on first use.
template <class T>
class Subelement_hash : public Hash<Subelement_hash_list<T>> {
    using Base = Hash<Subelement_hash_list<T>>;

public:
    /// A table over rows, which are borrowed and must outlive it.
    template <size_t N>
    explicit Subelement_hash(const Subelement_table<T> (&rows)[N]) : Base(N), table(rows), index_counter(0) {
        this->cleanup = Cleanup;
    }
    ~Subelement_hash() override {}

    /// The binding of row i, or null past the rows; does not fill the table.
    const Subelement_base<T>* operator[](unsigned int i) const {
        return i < this->Count() ? &table[i].item : nullptr;
    }
    /// The number of distinct tags.
    size_t Tag_count() const {
        this->Init_if_needed();
        return index_counter;
    }
    /// The binding for this occurrence of a tag (see Subelement_hash_list::Which).
    /// indexes holds a counter per tag and, after them, the index of the tag
    /// found last.
    const Subelement_base<T>* Lookup(const xmlChar* name, size_t* indexes) const {
        this->Init_if_needed();
        const Subelement_hash_list<T>* list = indexes ? Guess(name, indexes[index_counter]) : nullptr;
        if (!list) list = Base::Lookup(name);
        if (!list) return nullptr;
        if (indexes) indexes[index_counter] = list->Index();
        return list->Which(indexes);
    }
    using Base::Add;
    /// Adds a binding under its tag; an anonymous one brings in the rows of
    /// its nameless descriptor instead, cloned onto it.
    void Add(Subelement_base<T>& item) const {
        const xmlChar* name = item.Name();
        if (!name || !*name) {
            Subreg reg(*this, item);
            item.Info()->Subregister(reg);
            return;
        }
        auto* list = const_cast<Subelement_hash_list<T>*>(Base::Lookup(name));
        if (!list) {
            list = new Subelement_hash_list<T>(static_cast<unsigned int>(index_counter++), name);
            Base::Add(*list, name);
            by_index.push_back(list);
        }
        list->Add(item);
    }
    /// Prints the outline of every binding's descriptor.
    void Dump_elements(int indent) const { this->For_all(dump_an_element, indent); }

    /// Deletes a tag's list when the table drops it.
    static void Cleanup(Subelement_hash_list<T>* list, xmlChar*) { delete list; }

    /// Creates the table and adds the rows in order. The tags are counted
    /// from the start, as a filling that threw may have counted some.
    void Init() const override {
        Base::Init();
        if (!this->hash) return;
        index_counter = 0;
        by_index.clear();
        for (size_t i = 0; i < this->Count(); ++i) Add(table[i]);
    }

    /// Clones the rows of a nameless descriptor onto the binding that leads
    /// to it, and adds the clones to the table.
    class Subreg : public Subelement_register {
    public:
        /// Adds to into the rows cloned onto binding.
        Subreg(const Subelement_hash& into, Subelement_base<T>& binding) : target(into), item(binding) {}
        /// Clones sub onto the binding and adds the clone, unless the clone drops the row.
        void Register(Subelement_sub_base* sub) override {
            const detail::Binding_ref<T> cloned(item.Clone(sub));
            if (cloned) target.Add(*cloned);
        }

    private:
        const Subelement_hash& target;
        Subelement_base<T>& item;
    };

private:
    static void dump_an_element(const xmlChar*, const Subelement_hash_list<T>& list, int& indent) {
        list.Dump_elements(indent);
    }
    /// Tags mostly differ in their first character, compared before the rest.
    static bool Same_name(const xmlChar* a, const xmlChar* b) {
        return *a == *b &&
               std::strcmp(reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b)) == 0;
    }
    /// Children mostly come in row order: the tag after the one found last,
    /// then that one again (a repeated tag), are tried before the table.
    const Subelement_hash_list<T>* Guess(const xmlChar* name, size_t last) const {
        const size_t count = by_index.size();
        if (last + 1 < count && Same_name(by_index[last + 1]->Name(), name)) return by_index[last + 1];
        if (last < count && Same_name(by_index[last]->Name(), name)) return by_index[last];
        return nullptr;
    }

    const Subelement_table<T>* table;
    mutable size_t index_counter;
    /// The tags' lists in the order of their first rows.
    mutable std::vector<const Subelement_hash_list<T>*> by_index;
};

// ---- Typed descriptors' members that need the bindings --------------------

template <class T>
void Info<T>::Subregister(Subelement_register& reg) const {
    if (!sub_hash) return;
    for (unsigned int i = 0; i < sub_hash->Count(); ++i)
        reg.Register(const_cast<Subelement_base<T>*>((*sub_hash)[i]));
}

template <class T>
Instance_base* Info<T>::Lookup(const xmlChar* tag, size_t* indexes, Input_data& input, T& item) const {
    if (sub_hash)
        if (const Subelement_base<T>* binding = sub_hash->Lookup(tag, indexes))
            return binding->Get_instance(input, item);
    const Info_base* sub = Find(tag);
    return sub ? sub->Get_instance(input) : nullptr;
}

template <class T>
size_t Info<T>::Tag_count() const {
    return sub_hash ? sub_hash->Tag_count() : 0;
}

template <class T>
void Info<T>::Subs(const T& item, xmlNode* node) const {
    if (!sub_hash) return;
    for (unsigned int i = 0; i < sub_hash->Count(); ++i) Add_children(node, (*sub_hash)[i]->Write(item));
}

template <class T>
void Info<T>::Dump_elements(int indent) const {
    int level = indent;
    if (!NoName()) {
        indent_printf(level++, "<%s ", reinterpret_cast<const char*>(Name()));
        if (attrs) attrs->hash.For_all(dump_attr);
        std::printf(">\n");
    }
    if (text) indent_printf(level, "Text is allowed\n");
    Dump_registered(level);
    if (sub_hash) sub_hash->Dump_elements(level);
}

template <class T>
Info<T>::~Info() {
    delete sub_hash;
}

/// The descriptor of the error record's element "Error" (XML_Write(info) gives
/// the element of one record).
template <>
const Info<Error_info> Info<Error_info>::info;

/// The library's own instantiations, for primitive long and string elements and
/// the error record.
extern template class Access::Accessor<long>;
extern template class Access::Primative<long>;
extern template class Accessor<long>;
extern template class Info_primative<long>;
extern template class Instance<long, Info_primative<long>>;
extern template class Dummy_instance<long, Info_primative<long>>;
extern template class Subelement_base<long>;
extern template class Subelement_entry<long, Info_primative<long>>;
extern template class Subelement_primative<long>;
extern template class Access::Accessor<const char*>;
extern template class Access::Primative<const char*>;
extern template class Accessor<const char*>;
extern template class Info_primative<const char*>;
extern template class Instance<const char*, Info_primative<const char*>>;
extern template class Dummy_instance<const char*, Info_primative<const char*>>;
extern template class Subelement_base<const char*>;
extern template class Subelement_entry<const char*, Info_primative<const char*>>;
extern template class Subelement_primative<const char*>;
extern template class Info<Error_info>;
extern template class Instance<Error_info, Info<Error_info>>;
extern template class Dummy_instance<Error_info, Info<Error_info>>;
extern template class Subelement_base<Error_info>;
extern template class Subelement_entry<Error_info, Info<Error_info>>;
extern template class Info<Error_info::Node_info>;
extern template class Instance<Error_info::Node_info, Info<Error_info::Node_info>>;
extern template class Dummy_instance<Error_info::Node_info, Info<Error_info::Node_info>>;
extern template class Subelement_base<Error_info::Node_info>;
extern template class Subelement_entry<Error_info::Node_info, Info<Error_info::Node_info>>;

}  // namespace Tessel

#endif
