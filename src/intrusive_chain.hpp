// The library's intrusive lists (filter lists, change callbacks, log streams,
// queued registrations): each object holds next and prev, where prev is the
// address of the pointer that points at the object (the list head or the
// previous object's next), and links itself at the head.
#ifndef TESSEL_SRC_INTRUSIVE_CHAIN_HPP
#define TESSEL_SRC_INTRUSIVE_CHAIN_HPP

namespace Tessel {
namespace detail {

// Unlink tolerates an object that is not linked (prev null), so an object
// leaves its list at most once, and one whose constructor failed before it
// was linked can be destroyed.
struct Intrusive_chain {
    template <class Node>
    static void Link(Node& node, Node*& head) {
        node.next = head;
        if (node.next) node.next->prev = &node.next;
        node.prev = &head;
        head = &node;
    }

    template <class Node>
    static void Unlink(Node& node) {
        if (!node.prev) return;
        if (node.next) node.next->prev = node.prev;
        *node.prev = node.next;
        node.next = nullptr;
        node.prev = nullptr;
    }
};

}  // namespace detail
}  // namespace Tessel

#endif
