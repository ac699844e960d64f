// Channel filters: a filter word (Filter) is a set of category bits; a
// FilterList holds one word per channel and admits a record offered with a
// filter value when a word shares a bit with it (Check).
//
// Every FilterList except the master list is linked into one global chain
// from construction to destruction. After changing lists an application calls
// FilterList::Changed(), which recomputes the master list (the per-channel
// union of all lists, never fewer channels than before) and, if it differs
// from the previous one, calls every registered FilterChangeCallback with it.
//
// Statics and their lifetime. The library's statics here are used by the
// constructors and destructors of filter lists that may themselves be static
// objects in any translation unit (an output file or input source at
// namespace scope), built and destroyed in an order nobody controls. So:
//  - FilterList::head and FilterChangeCallback_base::head are plain pointers,
//    constant-initialised to null before any constructor runs.
//  - FilterList::master(), FilterList::mutex() and
//    FilterChangeCallback_base::mutex() are functions that build their object
//    on first use (thread-safe function-local statics) and never destroy it,
//    so they exist from the first constructor that needs them until the
//    process ends, whatever the order of static construction and destruction.
//    Their names are those of the objects they return ("filterlist" and
//    "filterlist callback" for the mutexes).
//
// Locks. FilterList::mutex() guards the chain of lists, copies, assignments,
// resizes and Changed(); Check and operator[] without growth take no lock,
// so a list must not be read while another thread assigns, resizes or
// destroys it. Writing a word through operator[] takes no lock either, while
// Changed() reads the words of every list: an application that writes words
// on one thread while another may call Changed() must keep the two apart
// itself (for instance under a lock of its own held for both).
// Changed() calls the callbacks while holding FilterList::mutex() and then
// FilterChangeCallback_base::mutex(), always in that order (Do is reachable
// only through Changed()). Both are recursive, so a callback may read and
// change filter lists on its own thread; it must not log to or close output
// streams, and must not destroy its own callback object.
//
// A list of 0 channels is allowed: it has no word, so Check(filter) is false,
// Check(filter, channel) is true for every channel (every channel is beyond
// the list), the constant operator[] yields a zero word that is not part of
// the list, and the writable operator[] grows the list as for any list.
//
// The master list and the mutexes are never destroyed; neither are the
// master's words (memory that stays reachable until the process ends).
#ifndef TESSEL_XML_FILTERS_HPP
#define TESSEL_XML_FILTERS_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_mutex.hpp"

namespace Tessel {

// Links and unlinks the objects of the library's intrusive chains, whose prev
// field is the address of the pointer that points at the object.
struct Intrusive_chain;

// A filter word. Only its low 32 bits carry categories; the library's error
// records use 0x80000000.
typedef unsigned long Filter;

class FilterList {
public:
    // A list of channels words, all 0, linked at the head of the chain.
    explicit FilterList(size_t channels);
    // A copy of other's words, linked at the head of the chain.
    FilterList(const FilterList& other);
    virtual ~FilterList();
    // Copies other's words; chain membership does not change.
    FilterList& operator=(const FilterList& other);

    bool operator==(const FilterList& other) const;
    bool operator!=(const FilterList& other) const { return !(*this == other); }

    // The word of a channel; a channel at or beyond the end first grows the
    // list to channel + 1 channels, the new words 0.
    Filter& operator[](size_t channel);
    // The word of a channel; a channel at or beyond the end yields the last
    // channel's word.
    const Filter& operator[](size_t channel) const;

    size_t Channels() const { return num_chan; }

    // Recomputes the master list and calls the change callbacks if it changed.
    static void Changed();

    // True when any channel's word shares a bit with filter.
    bool Check(Filter filter) const;
    // True when channel is beyond the list or its word shares a bit with filter.
    bool Check(Filter filter, unsigned int channel) const;

private:
    friend struct Intrusive_chain;

    struct Unlinked {};
    // The master list: never in the chain.
    FilterList(size_t channels, Unlinked);

    void Link();
    void Resize(size_t channels);
    // Replaces the words by channels words: the first of words, then zeros.
    void Replace_words(const Filter* words, size_t count, size_t channels);

    FilterList* next;
    FilterList** prev;
    size_t num_chan;
    Filter* list;

    static FilterList& master();
    static FilterList* head;
    static Mutex& mutex();
};

// A receiver of master list changes. Objects are called by Changed(), newest
// first, with the new master list.
//
// A derived class links itself with Link() at the end of its constructor and
// unlinks itself with Unlink() at the start of its destructor (the base
// destructor unlinks too, for safety). Linking only once the object is
// complete means that a Changed() on another thread never calls an object
// that is still being built or already being torn down.
class FilterChangeCallback_base {
public:
    FilterChangeCallback_base() : next(nullptr), prev(nullptr) {}
    virtual ~FilterChangeCallback_base() { Unlink(); }
    FilterChangeCallback_base(const FilterChangeCallback_base&) = delete;
    FilterChangeCallback_base& operator=(const FilterChangeCallback_base&) = delete;

protected:
    // Links this object at the head of the callback chain.
    void Link();
    // Unlinks this object, if linked; waits for a running Do to finish.
    void Unlink();

private:
    friend class FilterList;
    friend struct Intrusive_chain;

    virtual void Do_Callback(const FilterList& master) = 0;

    // Calls every linked callback with master, newest first.
    static void Do(const FilterList& master);

    FilterChangeCallback_base* next;
    FilterChangeCallback_base** prev;

    static FilterChangeCallback_base* head;
    static Mutex& mutex();
};

// Calls a function on every master list change.
class FilterChangeCallback : public FilterChangeCallback_base {
public:
    explicit FilterChangeCallback(void (*fn)(const FilterList& master)) : callback(fn) { Link(); }
    ~FilterChangeCallback() override { Unlink(); }

private:
    void Do_Callback(const FilterList& master) override { callback(master); }

    void (*callback)(const FilterList& master);
};

}  // namespace Tessel

#endif
