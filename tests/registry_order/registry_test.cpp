// The registry built from descriptors in several translation units, before
// and after its root, in every order; its outline; and the write-side helpers.
#include "descriptors.hpp"

#include "../support/recording.hpp"

#include <algorithm>

using namespace Tessel;

namespace {

// The descriptor registered at path, looked up from root one component at a time.
const Info_base* At(const std::string& path) {
    const Info_base* found = &root;
    for (size_t at = 1, end; found && at < path.size(); at = end + 1) {
        end = std::min(path.find('/', at), path.size());
        found = found->Find(BAD_CAST path.substr(at, end - at).c_str());
    }
    return found;
}

TEST(RegistryOrder, EveryDescriptorFindsItsParentWhateverTheOrder) {
    // Before root: a child before its parent, and a parent built after root.
    // After root: a grandchild first, its parents in another unit. Of two
    // duplicates the later one stays when both were queued before root
    // (serviced newest first), the earlier one otherwise. Last, a parent that
    // never exists, and an entry cancelled while queued.
    const std::pair<const char*, const Info_base*> cases[] = {
        {"/early/child", &Early(child)}, {"/deep_early/a/b", &Early(deep_b)},
        {"/late/a/b/d", &late_d},        {"/early_dup", &Early(dup_2)},
        {"/late_dup", &late_dup_first},  {"/orphan/x", nullptr},
        {"/cancelled", &cancelled_top},  {"/cancelled/x", nullptr}};
    for (const auto& c : cases) EXPECT_EQ(At(c.first), c.second) << c.first;
}

// A typed descriptor built before the library's statics and before its rows
// reads documents like any other.
TEST(RegistryOrder, TypedTablesFromSeveralUnitsWhateverTheOrder) {
    items_read.clear();
    EXPECT_EQ(Tessel_test::Processed(Tessel_test::Prolog("items item n m") +
                                     "<item><n>1</n><m>A</m></item><item><n>-2</n><m>ff</m></item></items>"),
              "ok ");
    EXPECT_EQ(items_read, "1 10 -2 255 ");
}

// Descriptors that are not registered, and descriptors destroyed while the
// registry lives.
TEST(RegistryOrder, UnregisteredAndDestroyedDescriptors) {
    // In "/gap//b" an empty component ends the parent list.
    Info<void> gap_b("/gap//b"), gap("/gap"), relative("relative"), empty_name("/empty/");
    EXPECT_TRUE(At("/gap/b") == &gap_b && !At("/relative") && !At("/empty") && empty_name.NoName());
    { Info<void> orphan("/never_parent/x"); }  // cancelled while queued
    Info<void> never_parent("/never_parent");
    EXPECT_TRUE(At("/never_parent") == &never_parent && !At("/never_parent/x"));
    {
        Info<void> temporary("/temporary");
        { Info<void> lost("/temporary"); }  // a lost duplicate does not take the registered one along
        EXPECT_EQ(At("/temporary"), &temporary);
    }
    auto parent = std::make_unique<Info<void>>("/temporary_parent");
    Info<void> child("/temporary_parent/child");
    EXPECT_EQ(At("/temporary_parent/child"), &child);
    parent.reset();  // before its child
    EXPECT_TRUE(!At("/temporary") && !At("/temporary_parent"));
}

TEST(Registry, OutlineAndWrittenElements) {
    // One space of indentation per level.
    EXPECT_EQ(Tessel_test::Output_of([] { late_top.Dump_elements(1); }).first,
              " <late>\n  <a>\n   <b>\n    <d>\n");

    // A nameless node is a wrapper whose children are copied in.
    xmlNodePtr parent = xmlNewNode(nullptr, BAD_CAST "parent"), wrapper = xmlNewNode(nullptr, BAD_CAST "");
    xmlAddChild(wrapper, xmlNewText(BAD_CAST "text"));
    xmlAddChild(wrapper, xmlNewNode(nullptr, BAD_CAST "element"));
    for (xmlNodePtr node : {wrapper, static_cast<xmlNodePtr>(nullptr), late_top.Write()})
        Add_children(parent, node);
    EXPECT_EQ(root.Write(), nullptr);  // nameless: no element of its own
    EXPECT_EQ(Tessel_test::Dump(parent), "<parent>text<element/><late/></parent>");
}

}  // namespace
