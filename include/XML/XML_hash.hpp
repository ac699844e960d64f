// Name-keyed tables over libxml2 hash tables.
//
// Example: a table over a static array of rows, each found by its Name():
//
//     struct Unit {
//         const char* name;
//         double metres;
//         const char* Name() const { return name; }
//     };
//     const Unit units[] = {{"mm", 0.001}, {"cm", 0.01}, {"m", 1.0}, {"cm", 99.0}};
//     const Tessel::Hash_table<Unit> unit_table(units);  // calls no libxml2 function yet
//
//     const Unit* cm = unit_table.Lookup(BAD_CAST "cm");  // creates and fills the table: &units[1]
//     const Unit* km = unit_table.Lookup(BAD_CAST "km");  // null
//     size_t rows = unit_table.Count();                   // 4; unit_table[3] is &units[3], [4] null
//     double total = 0;
//     unit_table.For_all([](const xmlChar*, const Unit& unit, double& sum) { sum += unit.metres; }, total);
//     // total is 1.011: the second "cm" row was refused when the table was filled
//
// Hash<T> maps a UTF-8 name to a pointer to a T that it does not copy.
// Hash_table<T> fills such a table from a static array of rows, each row
// stored under its Name().
//
// Constructing a table never calls libxml2: the libxml2 table is created (and,
// for a Hash_table, filled) by the first operation that needs it, so tables
// can be static objects used from other static constructors in any order.
// Count() never creates the table. Destroying a table that was never used
// frees nothing and leaves the handle null; destroying a live table frees it
// and leaves the marker 0xDEADDEAD in the handle.
//
// Every operation is const: the handle is mutable state created inside const
// objects. The first use may come from several threads at once (parses on
// different threads reach a static table for the first time together): the
// creation and filling of every table runs under one library-wide lock, and
// a table is seen as live by other threads only once it is completely filled.
// After that, lookups take no lock. Entries must not be added, removed or
// changed while another thread uses the same table.
#ifndef TESSEL_XML_HASH_HPP
#define TESSEL_XML_HASH_HPP

#include "XML/XML_defines.hpp"

#include <libxml/hash.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Tessel {

namespace detail {
// Held while any table is created and filled. Recursive: filling one table may
// create another on the same thread.
std::recursive_mutex& table_creation_mutex();
}  // namespace detail

// Adapts a typed callback to libxml2's scanner callback. The primary form
// passes a caller's extra argument of type E to every call.
template <class T, class E>
class Hash_Iterator {
public:
    typedef void Function(const xmlChar* name, const T& entry, E& extra);

    Hash_Iterator(Function* fn, E& extra_arg) : extra(extra_arg), ptr(fn) {}

    static void Callback(void* payload, void* data, const xmlChar* name) {
        Hash_Iterator& it = *static_cast<Hash_Iterator*>(data);
        it.ptr(name, *static_cast<const T*>(payload), it.extra);
    }

private:
    E& extra;
    Function* ptr;
};

template <class T>
class Hash_Iterator<T, void> {
public:
    typedef void Function(const xmlChar* name, const T& entry);

    explicit Hash_Iterator(Function* fn) : ptr(fn) {}

    static void Callback(void* payload, void* data, const xmlChar* name) {
        static_cast<Hash_Iterator*>(data)->ptr(name, *static_cast<const T*>(payload));
    }

private:
    Function* ptr;
};

template <class T>
class Hash {
public:
    // Receives the payload and the key of every entry the table drops
    // (removed, replaced, or left in the table when it is freed).
    typedef void Cleanup(T* payload, xmlChar* name);

    Hash() : count(0), hash(nullptr), cleanup(nullptr), ready(false) {}
    explicit Hash(unsigned int size) : count(size), hash(nullptr), cleanup(nullptr), ready(false) {}
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;

    virtual ~Hash() {
        if (hash) {
            if (cleanup) xmlHashScan(hash, &Hash::Drop_scanned, const_cast<Hash*>(this));
            xmlHashFree(hash, nullptr);
            // Through a volatile lvalue: the compiler may drop plain stores
            // made at the end of an object's lifetime, and the marker is
            // there to be seen by a use after destruction.
            volatile xmlHashTablePtr* handle = &hash;
            *handle = reinterpret_cast<xmlHashTablePtr>(static_cast<std::uintptr_t>(0xDEADDEAD));
        }
    }

    size_t Count() const { return count; }

    void Init_if_needed() const {
        if (!ready.load(std::memory_order_acquire)) Create();
    }

    const T* Lookup(const xmlChar* name) const {
        Init_if_needed();
        return static_cast<const T*>(xmlHashLookup(hash, name));
    }

    void Add(const T& item) const { Add(item, Key(item)); }
    void Add(const T* item) const { Add(*item); }
    void Add(const T* item, const xmlChar* name) const { Add(*item, name); }
    void Remove(const T& item) const { Remove(Key(item)); }
    void Remove(const T* item) const { Remove(*item); }

    // Stores item under name; the first entry stored under a name stays
    // (libxml2 refuses the later ones, silently).
    virtual void Add(const T& item, const xmlChar* name) const {
        Init_if_needed();
        xmlHashAddEntry(hash, name, const_cast<T*>(&item));
    }

    // Removes the entry stored under name, if any; it goes to cleanup.
    virtual void Remove(const xmlChar* name) const {
        Init_if_needed();
        const void* payload = xmlHashLookup(hash, name);
        if (xmlHashRemoveEntry(hash, name, nullptr) == 0) Drop(payload, name);
    }

    // Stores item under name; an entry replaced there goes to cleanup.
    virtual void Change(const T& item, const xmlChar* name) const {
        Init_if_needed();
        const void* replaced = xmlHashLookup(hash, name);
        if (xmlHashUpdateEntry(hash, name, const_cast<T*>(&item), nullptr) == 0) Drop(replaced, name);
    }

    // Creates the libxml2 table. If libxml2 cannot, the handle stays null
    // and the next operation tries again.
    virtual void Init() const { hash = xmlHashCreate(static_cast<int>(count)); }

    // Calls fn for every entry, in libxml2's table order.
    void For_all(typename Hash_Iterator<T, void>::Function* fn) const {
        Hash_Iterator<T, void> it(fn);
        Scan(&Hash_Iterator<T, void>::Callback, &it);
    }

    template <class E>
    void For_all(typename Hash_Iterator<T, E>::Function* fn, E& extra) const {
        Hash_Iterator<T, E> it(fn, extra);
        Scan(&Hash_Iterator<T, E>::Callback, &it);
    }

protected:
    size_t count;
    mutable xmlHashTablePtr hash;
    Cleanup* cleanup;

private:
    // True once the table is created and filled; published after the filling,
    // so that a thread that sees it true sees the whole table.
    mutable std::atomic<bool> ready;

    // Runs Init() under the creation lock unless the table exists. On the
    // thread that is filling the table, a nested use finds the table (being
    // filled) and uses it; another thread waits for the lock.
    __attribute__((noinline)) void Create() const {
        std::lock_guard<std::recursive_mutex> lock(detail::table_creation_mutex());
        if (hash) return;
        Init();
        ready.store(hash != nullptr, std::memory_order_release);
    }

    // Name() may return const char* or const xmlChar*; both are UTF-8 bytes.
    static const xmlChar* Key(const T& item) { return reinterpret_cast<const xmlChar*>(item.Name()); }

    // Entries are handed to cleanup here rather than through libxml2's
    // deallocator argument: that one is declared over void*, and calling the
    // typed cleanup through it would call a function through the wrong type.
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

template <class T>
class Hash_table : public Hash<T> {
public:
    template <size_t N>
    explicit Hash_table(const T (&rows)[N]) : Hash<T>(N), table(rows) {}

    // The address of row i, or null past the end of the array.
    const T* operator[](unsigned int i) const { return i < this->count ? &table[i] : nullptr; }

    // Creates the table and stores every row under its name, in array order,
    // so that of two rows with the same name the earlier one is found.
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
