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

// Exposes the libxml2 handle and the cleanup hook of a table.
template <class Base>
struct Probe : Base {
    using Base::Base;
    xmlHashTablePtr& Handle() const { return this->hash; }
    void Set_cleanup(typename Base::Cleanup* fn) { this->cleanup = fn; }
};

// Builds a table in a buffer, optionally uses it, destroys it and returns the
// handle left in the buffer.
xmlHashTablePtr Handle_after_destruction(bool use) {
    typedef Probe<Hash_table<Item>> Table;
    alignas(Table) unsigned char buffer[sizeof(Table)];
    Table* table = new (buffer) Table(items);
    EXPECT_EQ(table->Handle(), nullptr) << "construction creates no libxml2 table";
    if (use) table->Init_if_needed();
    volatile xmlHashTablePtr* handle = &table->Handle();
    table->~Table();
    return *handle;
}

}  // namespace

TEST(Hash, CreatedOnFirstUseAndMarkedOnDestruction) {
    EXPECT_EQ(Handle_after_destruction(false), nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(Handle_after_destruction(true)), 0xDEADDEADu);

    // Count() does not create the table; the first lookup does.
    Probe<Hash<Item>> plain(7);
    EXPECT_EQ(plain.Count(), 7u);
    EXPECT_EQ(plain.Handle(), nullptr);
    EXPECT_EQ(plain.Lookup(X("one")), nullptr);
    EXPECT_NE(plain.Handle(), nullptr);
}

TEST(Hash, EntriesCleanupAndScans) {
    static std::string log;
    log.clear();
    Item owned[] = {{"a", 1}, {"b", 2}, {"a", 3}, {"c", 4}};
    {
        Probe<Hash<Item>> table;  // size 0: libxml2 picks the size
        table.Set_cleanup([](Item* item, xmlChar* name) { log += S(name) + std::to_string(item->number) + " "; });
        table.Add(owned[0]);
        table.Add(&owned[1]);
        table.Add(owned[2]);  // same name: refused, the first stays
        table.Add(&owned[3], X("d"));
        EXPECT_EQ(table.Lookup(X("a")), &owned[0]);
        EXPECT_EQ(table.Lookup(X("d")), &owned[3]);
        EXPECT_EQ(table.Lookup(X("c")), nullptr);
        EXPECT_EQ(table.Lookup(X("A")), nullptr);

        table.Change(owned[2], X("a"));  // replaces: the old payload is dropped
        EXPECT_EQ(table.Lookup(X("a")), &owned[2]);
        table.Remove(owned[1]);
        table.Remove(X("absent"));
        EXPECT_EQ(log, "a1 b2 ");

        int total = 0;
        table.For_all<int>([](const xmlChar*, const Item& item, int& sum) { sum += item.number; }, total);
        EXPECT_EQ(total, 3 + 4);
        log.clear();
    }
    EXPECT_TRUE(log == "a3 d4 " || log == "d4 a3 ") << log;

    // A scan of a never-used table fills it first; of two rows with the same
    // name only the earlier one is stored.
    const Hash_table<Item> rows(items);
    static std::set<int> seen;
    rows.For_all([](const xmlChar*, const Item& item) { seen.insert(item.number); });
    EXPECT_EQ(seen, (std::set<int>{1, 2, 4}));
    EXPECT_EQ(rows.Count(), 4u);
    EXPECT_EQ(rows[3], &items[3]);
    EXPECT_EQ(rows[4], nullptr);
    const Hash<Item> empty;
    empty.For_all([](const xmlChar*, const Item&) { ADD_FAILURE() << "entry in an empty table"; });
}

TEST(Value_hash, LookupsBothWays) {
    const char* const names[] = {"true", "good", "1", "false", "bad", "0", "True", "", "yes"};
    std::string results;
    for (const char* name : names) {
        for (bool value : {false, true}) {
            bool found = Bool_hash.Lookup(X(name), value);
            results += found ? (value ? 'T' : 'F') : (value ? 'u' : 'U');  // unchanged when not found
        }
        results += ' ';
    }
    EXPECT_EQ(results, "TT TT TT FF FF FF Uu Uu Uu ");
    EXPECT_EQ(S(Bool_hash.Lookup(true)), "true");
    EXPECT_EQ(S(Bool_hash.Lookup(false)), "false");

    EXPECT_NE(XML_attr_hash.Lookup(X("xmlns")), nullptr);
    EXPECT_EQ(XML_attr_hash.Lookup(X("xmlns:a")), nullptr);

    static const Value_entry<int> colours[] = {{"red", 1}, {"green", 2}, {"rouge", 1}};
    const Value_hash<int> colour_hash(colours);
    EXPECT_EQ(S(colour_hash.Lookup(1)), "red");
    EXPECT_EQ(colour_hash.Lookup(3), nullptr);
}
