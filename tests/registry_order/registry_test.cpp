// The registry built from descriptors in several translation units, before
// and after its root, in every order; its outline; and the write-side helpers.
#include "descriptors.hpp"

#include "XML/XML_info.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

using namespace Tessel;

namespace {

const Info_base* Find(const Info_base& parent, const char* name) { return parent.Find(BAD_CAST name); }

TEST(RegistryOrder, EveryDescriptorFindsItsParentWhateverTheOrder) {
    ASSERT_TRUE(early_before_root);
    // Before root, parents after children, and a parent that comes after root.
    EXPECT_EQ(Find(root, "early"), &Early(early_top));
    EXPECT_EQ(Find(Early(early_top), "child"), &Early(early_child));
    EXPECT_EQ(Find(root, "deep_early"), &Early(deep_early_top));
    EXPECT_EQ(Find(Early(deep_early_top), "a"), &deep_early_a);
    EXPECT_EQ(Find(deep_early_a, "b"), &Early(deep_early_b));
    // After root, a grandchild first and its parents from another unit.
    EXPECT_EQ(Find(root, "late"), &late_top);
    EXPECT_EQ(Find(late_top, "a"), &late_a);
    EXPECT_EQ(Find(late_a, "b"), &late_b);
    EXPECT_EQ(Find(late_b, "d"), &late_d);
    // Duplicates: the queue is serviced newest first before root, at once after.
    EXPECT_EQ(Find(root, "early_dup"), &Early(early_dup_second));
    EXPECT_EQ(Find(root, "late_dup"), &late_dup_first);
    // A missing parent, and an entry cancelled while queued.
    EXPECT_EQ(Find(root, "orphan"), nullptr);
    EXPECT_EQ(Find(cancelled_top, "x"), nullptr);
    EXPECT_EQ(Find(root, "cancelled"), &cancelled_top);
    // An empty component ends the parent list.
    EXPECT_EQ(Find(gap_top, "b"), &gap_b);
    // Paths that are not registered.
    EXPECT_EQ(Find(root, "relative"), nullptr);
    EXPECT_STREQ(reinterpret_cast<const char*>(relative.Name()), "relative");
    EXPECT_TRUE(slash_only.NoName());
    EXPECT_TRUE(empty_name.NoName());
    EXPECT_EQ(Find(root, "empty"), nullptr);
    EXPECT_EQ(Find(late_d, "anything"), nullptr);
}

TEST(RegistryOrder, DestroyedDescriptorsLeaveTheRegistry) {
    { Info<void> orphan("/never_parent/x"); }
    static const Info<void> never_parent("/never_parent");
    EXPECT_EQ(Find(root, "never_parent"), &never_parent);
    EXPECT_EQ(Find(never_parent, "x"), nullptr);

    {
        Info<void> temporary("/temporary");
        EXPECT_EQ(Find(root, "temporary"), &temporary);
    }
    EXPECT_EQ(Find(root, "temporary"), nullptr);

    // A lost duplicate does not take the registered one with it.
    Info<void> kept("/temporary_dup");
    { Info<void> lost("/temporary_dup"); }
    EXPECT_EQ(Find(root, "temporary_dup"), &kept);

    // A parent destroyed before its child.
    std::unique_ptr<Info<void>> parent(new Info<void>("/temporary_parent"));
    Info<void> child("/temporary_parent/child");
    EXPECT_EQ(Find(*parent, "child"), &child);
    parent.reset();
    EXPECT_EQ(Find(root, "temporary_parent"), nullptr);
}

TEST(Registry, OutlineIndentsOneSpacePerLevel) {
    testing::internal::CaptureStdout();
    Dump_elements();
    const std::string outline = testing::internal::GetCapturedStdout();
    EXPECT_NE(outline.find("<late>\n <a>\n  <b>\n   <d>\n"), std::string::npos);
    EXPECT_NE(outline.find("<early>\n <child>\n"), std::string::npos);
    EXPECT_EQ(outline.find("relative"), std::string::npos);

    testing::internal::CaptureStdout();
    late_b.Dump_elements(3);
    slash_only.Dump_elements(0);
    indent_printf(0, "%s|", "zero");
    indent_printf(-2, "%d|", -2);
    indent_printf(2, "two");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "   <b>\n    <d>\nzero|-2|  two");
}

TEST(Registry, AddChildrenUnwrapsNamelessNodes) {
    xmlNodePtr parent = xmlNewNode(nullptr, BAD_CAST "parent");
    xmlNodePtr wrapper = xmlNewNode(nullptr, BAD_CAST "");
    xmlAddChild(wrapper, xmlNewText(BAD_CAST "text"));
    xmlAddChild(wrapper, xmlNewNode(nullptr, BAD_CAST "element"));
    Add_children(parent, wrapper);
    Add_children(parent, nullptr);
    xmlNodePtr named = late_top.Write();
    Add_children(parent, named);
    EXPECT_EQ(slash_only.Write(), nullptr);

    xmlBufferPtr buffer = xmlBufferCreate();
    xmlNodeDump(buffer, nullptr, parent, 0, 0);
    EXPECT_STREQ(reinterpret_cast<const char*>(xmlBufferContent(buffer)),
                 "<parent>text<element/><late/></parent>");
    EXPECT_EQ(parent->last, named);
    xmlBufferFree(buffer);
    xmlFreeNode(parent);
}

}  // namespace
