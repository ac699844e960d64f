/// \file
/// Name-keyed tables over libxml2 hash tables.
///
/// Example: a table over a static array of rows, each found by its Name():
///
/// \code
/// struct Unit {
///     const char* name;
///     double metres;
///     const char* Name() const { return name; }
/// };
/// const Unit units[] = {{"mm", 0.001}, {"cm", 0.01}, {"m", 1.0}, {"cm", 99.0}};
/// const Tessel::Hash_table<Unit> unit_table(units);  // calls no libxml2 function yet
///
/// const Unit* cm = unit_table.Lookup(BAD_CAST "cm");  // creates and fills the table: &units[1]
/// const Unit* km = unit_table.Lookup(BAD_CAST "km");  // null
/// size_t rows = unit_table.Count();                   // 4; unit_table[3] is &units[3], [4] null
/// double total = 0;
/// unit_table.For_all([](const xmlChar*, const Unit& unit, double& sum) { sum += unit.metres; }, total);
/// // total is 1.011: the second "cm" row was refused when the table was filled
/// \endcode
///
/// Hash<T> maps a UTF-8 name to a pointer to a T that it does not copy.
/// Hash_table<T> fills such a table from a static array of rows, each row
/// stored under its Name().
///
/// Constructing a table never calls libxml2: the libxml2 table is created (and,
/// for a Hash_table, filled) by the first operation that needs it, so tables
/// can be static objects used from other static constructors in any order.
/// Count() never creates the table. A filling that throws (std::bad_alloc)
/// leaves no table: the next operation creates and fills it again. Destroying
/// a table that was never used frees nothing and leaves the handle null;
/// destroying a live table frees it and leaves the marker 0xDEADDEAD in the
/// handle.
///
/// Every operation is const: the handle is mutable state created inside const
/// objects. The first use may come from several threads at once (parses on
/// different threads reach a static table for the first time together): the
/// creation and filling of every table runs under one library-wide lock, and
/// a table is seen as live by other threads only once it is completely filled.
/// After that, lookups take no lock. Entries must not be added, removed or
/// changed while another thread uses the same table.
#ifndef TESSEL_XML_HASH_HPP
#define TESSEL_XML_HASH_HPP

#include "XML/XML_defines.hpp"

#include <libxml/hash.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Tessel {

namespace detail {
/// Held while any table is created and filled. Recursive: filling one table may
/// create another on the same thread.
std::recursive_mutex& table_creation_mutex();
}  // namespace detail

/// Adapts a typed callback to libxml2's scanner callback. The primary form
/// passes a caller's extra argument of type E to every call.
template <class T, class E>
class Hash_Iterator {
public:
    /// The typed callback: an entry's name, the entry and the extra argument.
    typedef void Function(const xmlChar* name, const T& entry, E& extra);

    /// Calls fn with extra_arg, both borrowed.
    Hash_Iterator(Function* fn, E& extra_arg) : extra(extra_arg), ptr(fn) {}

    /// libxml2's scanner callback: data is the iterator, payload the entry.
    static void Callback(void* payload, void* data, const xmlChar* name) {
        Hash_Iterator& it = *static_cast<Hash_Iterator*>(data);
        it.ptr(name, *static_cast<const T*>(payload), it.extra);
    }

private:
    E& extra;
    Function* ptr;
};

/// The form without an extra argument.
template <class T>
class Hash_Iterator<T, void> {
public:
    /// The typed callback: an entry's name and the entry.
    typedef void Function(const xmlChar* name, const T& entry);

    /// Calls fn.
    explicit Hash_Iterator(Function* fn) : ptr(fn) {}

    /// libxml2's scanner callback: data is the iterator, payload the entry.
    static void Callback(void* payload, void* data, const xmlChar* name) {
        static_cast<Hash_Iterator*>(data)->ptr(name, *static_cast<const T*>(payload));
    }

private:
    Function* ptr;
};

/// A table from UTF-8 names to borrowed entries of T, over a libxml2 hash
/// table created on first use; see the file's description.
template <class T>
class Hash {
public:
    /// Receives the payload and the key of every entry the table drops
    /// (removed, replaced, or left in the table when it is freed).
    typedef void Cleanup(T* payload, xmlChar* name);

    /// A table of libxml2's default size; nothing is created yet.
    Hash() : count(0), hash(nullptr), cleanup(nullptr), ready(false) {}
    /// A table sized for size entries (libxml2's default when 0); nothing is
    /// created yet.
    explicit Hash(unsigned int size) : count(size), hash(nullptr), cleanup(nullptr), ready(false) {}
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;

    virtual ~Hash() {
        if (hash) {
            Free();
            // Through a volatile lvalue: the compiler may drop plain stores
            // made at the end of an object's lifetime, and the marker is
            // there to be seen by a use after destruction.
            volatile xmlHashTablePtr* handle = &hash;
            *handle = reinterpret_cast<xmlHashTablePtr>(static_cast<std::uintptr_t>(0xDEADDEAD));
        }
    }

    /// The size given at construction (for a Hash_table, the number of rows);
    /// never creates the table.
    size_t Count() const { return count; }

    /// Creates (and fills) the table unless it exists.
    void Init_if_needed() const {
        if (!ready.load(std::memory_order_acquire)) Create();
    }

    /// The entry stored under name, or null.
    const T* Lookup(const xmlChar* name) const {
        Init_if_needed();
        return static_cast<const T*>(xmlHashLookup(hash, name));
    }

    /// Stores item under its Name().
    void Add(const T& item) const { Add(item, Key(item)); }
    /// Stores *item under its Name().
    void Add(const T* item) const { Add(*item); }
    /// Stores *item under name.
    void Add(const T* item, const xmlChar* name) const { Add(*item, name); }
    /// Removes the entry stored under item's Name().
    void Remove(const T& item) const { Remove(Key(item)); }
    /// Removes the entry stored under item's Name().
    void Remove(const T* item) const { Remove(*item); }

    /// Stores item under name; the first entry stored under a name stays
    /// (libxml2 refuses the later ones, silently).
    virtual void Add(const T& item, const xmlChar* name) const {
        Init_if_needed();
        xmlHashAddEntry(hash, name, const_cast<T*>(&item));
    }

    /// Removes the entry stored under name, if any; it goes to cleanup.
    virtual void Remove(const xmlChar* name) const {
        Init_if_needed();
        const void* payload = xmlHashLookup(hash, name);
        if (xmlHashRemoveEntry(hash, name, nullptr) == 0) Drop(payload, name);
    }

    /// Stores item under name; an entry replaced there goes to cleanup.
    virtual void Change(const T& item, const xmlChar* name) const {
        Init_if_needed();
        const void* replaced = xmlHashLookup(hash, name);
        if (xmlHashUpdateEntry(hash, name, const_cast<T*>(&item), nullptr) == 0) Drop(replaced, name);
    }

    /// Creates the libxml2 table. If libxml2 cannot, the handle stays null
    /// and the next operation tries again.
    virtual void Init() const { hash = xmlHashCreate(static_cast<int>(count)); }

    /// Calls fn for every entry, in libxml2's table order.
    void For_all(typename Hash_Iterator<T, void>::Function* fn) const {
        Hash_Iterator<T, void> it(fn);
        Scan(&Hash_Iterator<T, void>::Callback, &it);
    }

    /// Calls fn for every entry with extra, in libxml2's table order.
    template <class E>
    void For_all(typename Hash_Iterator<T, E>::Function* fn, E& extra) const {
        Hash_Iterator<T, E> it(fn, extra);
        Scan(&Hash_Iterator<T, E>::Callback, &it);
    }

protected:
    /// The size given at construction.
    size_t count;
    /// The libxml2 table: null until created, 0xDEADDEAD once freed.
    mutable xmlHashTablePtr hash;
    /// Receives the entries the table drops; null for none.
    Cleanup* cleanup;

private:
    /// True once the table is created and filled; published after the filling,
    /// so that a thread that sees it true sees the whole table.
    mutable std::atomic<bool> ready;

    /// Frees a table whose filling threw, when it goes out of scope unless
    /// dismissed (table set to null).
    struct Unfilled {
        const Hash* table;
        ~Unfilled() {
            if (table && table->hash) {
                table->Free();
                table->hash = nullptr;
            }
        }
    };

    /// Runs Init() under the creation lock unless the table exists. On the
    /// thread that is filling the table, a nested use finds the table (being
    /// filled) and uses it; another thread waits for the lock. A filling that
    /// throws (std::bad_alloc) leaves no table, and the next operation
    /// starts again.
    __attribute__((noinline)) void Create() const {
        std::lock_guard<std::recursive_mutex> lock(detail::table_creation_mutex());
        if (hash) return;
        Unfilled unfilled{this};
        Init();
        unfilled.table = nullptr;
        ready.store(hash != nullptr, std::memory_order_release);
    }

    /// Frees the libxml2 table, handing its entries to cleanup first.
    void Free() const {
        if (cleanup) xmlHashScan(hash, &Hash::Drop_scanned, const_cast<Hash*>(this));
        xmlHashFree(hash, nullptr);
    }

    /// Name() may return const char* or const xmlChar*; both are UTF-8 bytes.
    static const xmlChar* Key(const T& item) { return reinterpret_cast<const xmlChar*>(item.Name()); }

    /// Entries are handed to cleanup here rather than through libxml2's
    /// deallocator argument: that one is declared over void*, and calling the
    /// typed cleanup through it would call a function through the wrong type.
    void Drop(const void* payload, const xmlChar* name) const {
        if (cleanup && payload)
            cleanup(static_cast<T*>(const_cast<void*>(payload)), const_cast<xmlChar*>(name));
    }

    static void Drop_scanned(void* payload, void* table, const xmlChar* name) {
        static_cast<const Hash*>(table)->Drop(payload, name);
    }

    void Scan(xmlHashScanner callback, void* iterator) const {
        Init_if_needed();
        xmlHashScan(hash, callback, iterator);
    }
};

/// A table filled from a static array of rows, each stored under its Name().
template <class T>
class Hash_table : public Hash<T> {
public:
    /// A table over rows, which are borrowed and must outlive it.
    template <size_t N>
    explicit Hash_table(const T (&rows)[N]) : Hash<T>(N), table(rows) {}

    /// The address of row i, or null past the end of the array.
    const T* operator[](unsigned int i) const { return i < this->count ? &table[i] : nullptr; }

    /// Creates the table and stores every row under its name, in array order,
    /// so that of two rows with the same name the earlier one is found.
    void Init() const override {
        Hash<T>::Init();
        if (!this->hash) return;  // not created: the next operation tries again
        for (size_t i = 0; i < this->count; ++i) this->Add(table[i]);
    }

private:
    const T* table;
};

}  // namespace Tessel

#endif
