#include "XML/XML_hash.hpp"
#include "XML/XML_value_entry.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace Tessel;

namespace {

const xmlChar* X(const char* s) { return reinterpret_cast<const xmlChar*>(s); }

struct Item {
    const char* name;
    int number;
    const char* Name() const { return name; }
};
const Item items[] = {{"one", 1}, {"two", 2}, {"one", 3}, {"three", 4}};

std::string cleaned;  // the entries a table's cleanup was given, as name and number

void Note(Item* item, xmlChar* name) {
    cleaned += reinterpret_cast<char*>(name) + std::to_string(item->number) + ' ';
}

struct Owning_hash : Hash<Item> {
    Owning_hash() { cleanup = Note; }  // size 0: libxml2 picks the size
};

}  // namespace

// A table libxml2 cannot create finds nothing, and the next use creates and
// fills it. A table of entries added one by one hands those it drops to its
// cleanup. A value table looks names up both ways.
TEST(Hash, RowsEntriesCleanupScansAndValueTables) {
    const Hash_table<Item> rows(items);
    const xmlMallocFunc saved = xmlMalloc;
    xmlMalloc = [](size_t) -> void* { return nullptr; };
    const Item* while_failing = rows.Lookup(X("two"));
    xmlMalloc = saved;
    EXPECT_EQ(while_failing, nullptr);
    EXPECT_EQ(rows.Lookup(X("two")), &items[1]);
    EXPECT_TRUE(rows.Count() == 4 && rows[3] == &items[3] && !rows[4]);

    cleaned.clear();
    Item owned[] = {{"a", 1}, {"b", 2}, {"a", 3}, {"c", 4}};
    {
        Owning_hash table;
        table.Add(owned[0]);
        table.Add(&owned[1]);
        table.Add(owned[2]);  // same name: refused, the first stays
        table.Add(&owned[3], X("d"));
        EXPECT_TRUE(table.Lookup(X("a")) == &owned[0] && !table.Lookup(X("c")) && !table.Lookup(X("A")));
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
    std::set<int> seen;
    Hash_table<Item>(items).For_all<std::set<int>>(
        [](const xmlChar*, const Item& item, std::set<int>& numbers) { numbers.insert(item.number); }, seen);
    EXPECT_EQ(seen, (std::set<int>{1, 2, 4}));
    Hash<Item>().For_all([](const xmlChar*, const Item&) { ADD_FAILURE() << "entry in an empty table"; });

    // Value tables look names up both ways.
    std::string results;
    for (const char* name : {"true", "good", "1", "false", "bad", "0", "True", "", "yes"}) {
        for (bool value : {false, true})  // the value is left alone when the name is not found
            results += Bool_hash.Lookup(X(name), value) ? (value ? 'T' : 'F') : (value ? 'u' : 'U');
        results += ' ';
    }
    EXPECT_EQ(results, "TT TT TT FF FF FF Uu Uu Uu ");
    // The first row with the value.
    EXPECT_STREQ(reinterpret_cast<const char*>(Bool_hash.Lookup(true)), "true");
    EXPECT_STREQ(reinterpret_cast<const char*>(Bool_hash.Lookup(false)), "false");
    EXPECT_TRUE(XML_attr_hash.Lookup(X("xmlns")) && !XML_attr_hash.Lookup(X("xmlns:a")));
}

// Threads that reach a table for the first time together all see it whole:
// it is filled under the creation lock and published once filled. Of two rows
// with one name, the earlier is found.
TEST(Hash, ConcurrentFirstUse) {
    for (int round = 0; round < 20; ++round) {
        const Hash_table<Item> table(items);
        std::atomic<bool> go(false);
        std::atomic<int> found(0);
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([&] {
                while (!go) std::this_thread::yield();
                if (table.Lookup(X("three")) == &items[3] && table.Lookup(X("one")) == &items[0]) ++found;
            });
        go = true;
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(found, 4);
    }
}
