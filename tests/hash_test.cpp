#include "XML/XML_hash.hpp"
#include "XML/XML_value_entry.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <new>
#include <set>
#include <string>

using namespace Tessel;

namespace {

const xmlChar* X(const char* s) { return reinterpret_cast<const xmlChar*>(s); }
std::string S(const xmlChar* s) { return s ? reinterpret_cast<const char*>(s) : "(null)"; }

struct Item {
    const char* name;
    int number;
    const char* Name() const { return name; }
};
const Item items[] = {{"one", 1}, {"two", 2}, {"one", 3}, {"three", 4}};

// Exposes the libxml2 handle of a table.
template <class Base>
struct Probe : Base {
    using Base::Base;
    xmlHashTablePtr& Handle() const { return this->hash; }
};

// The handle a use after destruction would see, for a table used or not.
std::uintptr_t Handle_after_destruction(bool use) {
    typedef Probe<Hash_table<Item>> Table;
    alignas(Table) unsigned char storage[sizeof(Table)];
    Table* table = new (storage) Table(items);
    if (use) table->Init_if_needed();
    volatile xmlHashTablePtr* handle = &table->Handle();
    table->~Table();
    return reinterpret_cast<std::uintptr_t>(*handle);
}

void* Fail_malloc(size_t) { return nullptr; }

// The entries a table's cleanup was given, as name and number.
std::string cleaned;

struct Owning_hash : Hash<Item> {
    Owning_hash() {  // size 0: libxml2 picks the size
        cleanup = [](Item* item, xmlChar* name) { cleaned += S(name) + std::to_string(item->number) + ' '; };
    }
};

}  // namespace

TEST(Hash, Lifecycle) {
    EXPECT_EQ(Handle_after_destruction(false), 0u);
    EXPECT_EQ(Handle_after_destruction(true), 0xDEADDEADu);

    // Count() does not create the table. A table libxml2 cannot create finds
    // nothing, and the next use creates and fills it.
    const Probe<Hash_table<Item>> rows(items);
    EXPECT_EQ(rows.Count(), 4u);
    EXPECT_EQ(rows.Handle(), nullptr);
    xmlFreeFunc free_fn;
    xmlMallocFunc malloc_fn;
    xmlReallocFunc realloc_fn;
    xmlStrdupFunc strdup_fn;
    xmlMemGet(&free_fn, &malloc_fn, &realloc_fn, &strdup_fn);
    xmlMemSetup(free_fn, Fail_malloc, realloc_fn, strdup_fn);
    const Item* while_failing = rows.Lookup(X("two"));
    xmlMemSetup(free_fn, malloc_fn, realloc_fn, strdup_fn);
    EXPECT_EQ(while_failing, nullptr);
    EXPECT_EQ(rows.Handle(), nullptr);
    EXPECT_EQ(rows.Lookup(X("two")), &items[1]);
    EXPECT_EQ(rows.Lookup(X("one")), &items[0]);  // of two rows with one name, the earlier
    EXPECT_EQ(rows[3], &items[3]);
    EXPECT_EQ(rows[4], nullptr);
}

TEST(Hash, EntriesCleanupAndScans) {
    Item owned[] = {{"a", 1}, {"b", 2}, {"a", 3}, {"c", 4}};
    {
        Owning_hash table;
        table.Add(owned[0]);
        table.Add(&owned[1]);
        table.Add(owned[2]);  // same name: refused, the first stays
        table.Add(&owned[3], X("d"));
        EXPECT_EQ(table.Lookup(X("a")), &owned[0]);
        EXPECT_EQ(table.Lookup(X("c")), nullptr);
        EXPECT_EQ(table.Lookup(X("A")), nullptr);
        table.Change(owned[2], X("a"));  // replaces: the old payload is dropped
        EXPECT_EQ(table.Lookup(X("a")), &owned[2]);
        table.Remove(owned[1]);
        table.Remove(X("absent"));
        EXPECT_EQ(cleaned, "a1 b2 ");

        int total = 0;
        table.For_all<int>([](const xmlChar*, const Item& item, int& sum) { sum += item.number; }, total);
        EXPECT_EQ(total, 3 + 4);
        cleaned.clear();
    }
    EXPECT_TRUE(cleaned == "a3 d4 " || cleaned == "d4 a3 ") << cleaned;

    // A scan of a never-used table fills it first.
    static std::set<int> seen;
    Hash_table<Item>(items).For_all([](const xmlChar*, const Item& item) { seen.insert(item.number); });
    EXPECT_EQ(seen, (std::set<int>{1, 2, 4}));
    Hash<Item>().For_all([](const xmlChar*, const Item&) { ADD_FAILURE() << "entry in an empty table"; });
}

TEST(Value_hash, LookupsBothWays) {
    std::string results;
    for (const char* name : {"true", "good", "1", "false", "bad", "0", "True", "", "yes"}) {
        for (bool value : {false, true})  // the value is left alone when the name is not found
            results += Bool_hash.Lookup(X(name), value) ? (value ? 'T' : 'F') : (value ? 'u' : 'U');
        results += ' ';
    }
    EXPECT_EQ(results, "TT TT TT FF FF FF Uu Uu Uu ");
    EXPECT_EQ(S(Bool_hash.Lookup(true)), "true");  // the first row with the value
    EXPECT_EQ(S(Bool_hash.Lookup(false)), "false");
    EXPECT_NE(XML_attr_hash.Lookup(X("xmlns")), nullptr);
    EXPECT_EQ(XML_attr_hash.Lookup(X("xmlns:a")), nullptr);
}
