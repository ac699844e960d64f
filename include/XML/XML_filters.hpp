/// \file
/// Channel filters: per-channel words of category bits that admit or refuse records.
///
/// Example:
///
/// \code
/// Tessel::FilterList outputs(2);  // two channels, both words 0, linked into the chain
/// outputs[0] = 0x1 | 0x4;         // channel 0 takes categories 0x1 and 0x4
/// outputs[1] = 0x2;               // channel 1 takes 0x2
/// outputs.Check(0x4);             // true: channel 0 shares 0x4
/// outputs.Check(0x8);             // false: no channel takes 0x8
/// outputs.Check(0x2, 0);          // false: channel 0 does not take 0x2
/// outputs.Check(0x2, 5);          // true: channel 5 is beyond the list
/// outputs[3] = 0x8;               // grows the list to 4 channels; channel 2 is 0
/// Tessel::FilterList::Changed();  // recomputes the master list; calls the callbacks if it changed
/// \endcode
///
/// A filter word (Filter) is a set of category bits; a FilterList holds one word
/// per channel and admits a record offered with a filter value when a word
/// shares a bit with it (Check).
///
/// Every FilterList except the master list is linked into one global chain
/// from construction to destruction. After changing lists an application calls
/// FilterList::Changed(), which recomputes the master list (the per-channel
/// union of all lists, never fewer channels than before) and, if it differs
/// from the previous one, calls every registered FilterChangeCallback with it.
///
/// Statics and their lifetime. The library's statics here are used by the
/// constructors and destructors of filter lists that may themselves be static
/// objects in any translation unit (an output file or input source at
/// namespace scope), built and destroyed in an order nobody controls. So:
///  - FilterList::head and FilterChangeCallback_base::head are plain pointers,
///    constant-initialised to null before any constructor runs.
///  - FilterList::master(), FilterList::mutex() and
///    FilterChangeCallback_base::mutex() are functions that build their object
///    on first use (thread-safe function-local statics) and never destroy it,
///    so they exist from the first constructor that needs them until the
///    process ends, whatever the order of static construction and destruction.
///    Their names are those of the objects they return ("filterlist" and
///    "filterlist callback" for the mutexes).
///
/// Locks. FilterList::mutex() guards the chain of lists, copies, assignments,
/// resizes and Changed(); Check and operator[] without growth take no lock,
/// so a list must not be read while another thread assigns, resizes or
/// destroys it. A word written through operator[] must not be written while
/// another thread may read it (Check, Changed()); Set writes a word that other
/// threads may be reading at that moment, such as the filters of a log stream
/// that other threads log to. Set grows the list under the lock if needed.
/// Changed() calls the callbacks while holding FilterList::mutex() and then
/// FilterChangeCallback_base::mutex(), always in that order (Do is reachable
/// only through Changed()). Both are recursive, so a callback may read and
/// change filter lists on its own thread; it must not log to or close output
/// streams, and must not destroy its own callback object.
///
/// A list of 0 channels is allowed: it has no word, so Check(filter) is false,
/// Check(filter, channel) is true for every channel (every channel is beyond
/// the list), the constant operator[] yields a zero word that is not part of
/// the list, and the writable operator[] grows the list as for any list.
///
/// The master list and the mutexes are never destroyed; neither are the
/// master's words (memory that stays reachable until the process ends).
#ifndef TESSEL_XML_FILTERS_HPP
#define TESSEL_XML_FILTERS_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_mutex.hpp"

#include <utility>

namespace Tessel {

namespace detail {
/// Links and unlinks the objects of the library's intrusive chains, whose prev
/// field is the address of the pointer that points at the object.
struct Intrusive_chain;
}  // namespace detail

/// A filter word. Only its low 32 bits carry categories.
typedef unsigned long Filter;
/// The category of the library's error records: the top bit of the 32.
constexpr Filter error_filter = 0x80000000;

/// One filter word per channel; see the file's description.
class FilterList {
public:
    /// A list of channels words, all 0, linked at the head of the chain.
    explicit FilterList(size_t channels);
    /// A copy of other's words, linked at the head of the chain.
    FilterList(const FilterList& other);
    virtual ~FilterList();
    /// Copies other's words; chain membership does not change.
    FilterList& operator=(const FilterList& other);

    ///@{
    /// Whether the two lists have the same channels with the same words.
    bool operator==(const FilterList& other) const;
    bool operator!=(const FilterList& other) const { return !(*this == other); }
    ///@}

    /// The word of a channel; a channel at or beyond the end first grows the
    /// list to channel + 1 channels, the new words 0.
    Filter& operator[](size_t channel);
    /// The word of a channel; a channel at or beyond the end yields the last
    /// channel's word.
    const Filter& operator[](size_t channel) const;

    /// The number of channels.
    size_t Channels() const { return num_chan; }
    /// Sets a channel's word, growing the list as operator[] does; safe while
    /// other threads read the list.
    void Set(size_t channel, Filter word);

    /// Recomputes the master list and calls the change callbacks if it changed.
    static void Changed();

    /// True when any channel's word shares a bit with filter.
    bool Check(Filter filter) const;
    /// True when channel is beyond the list or its word shares a bit with filter.
    bool Check(Filter filter, unsigned int channel) const;

private:
    friend struct detail::Intrusive_chain;

    struct Unlinked {};
    /// The master list: never in the chain.
    FilterList(size_t channels, Unlinked);

    void Link();
    void Resize(size_t channels);
    /// Replaces the words by channels words: the first of words, then zeros.
    void Replace_words(const Filter* words, size_t count, size_t channels);

    FilterList* next;
    FilterList** prev;
    size_t num_chan;
    Filter* list;

    static FilterList& master();
    static FilterList* head;
    static Mutex& mutex();
};

/// A receiver of master list changes. Objects are called by Changed(), newest
/// first, with the new master list.
///
/// An application's own callback derives from FilterChangeCallback_base,
/// overrides Do_Callback, and is created as a Linked_callback of its class:
///
/// \code
/// struct Channel_watch : Tessel::FilterChangeCallback_base {
///     size_t channels = 0;
///     void Do_Callback(const Tessel::FilterList& master) override { channels = master.Channels(); }
/// };
/// Tessel::Linked_callback<Channel_watch> watch;  // called from here on
/// \endcode
///
/// Linked_callback links the object into the callback chain once it is
/// completely constructed and unlinks it before any part of it is destroyed,
/// so Changed() on another thread never calls a half-built or half-destroyed
/// callback. The base class cannot be misused: a class derived from it alone
/// stays abstract (its private Linked() is pure, and only Linked_callback and
/// FilterChangeCallback implement it), so an unlinked callback, which would
/// never be called, does not compile.
class FilterChangeCallback_base {
public:
    virtual ~FilterChangeCallback_base() { Unlink(); }
    FilterChangeCallback_base(const FilterChangeCallback_base&) = delete;
    FilterChangeCallback_base& operator=(const FilterChangeCallback_base&) = delete;

protected:
    FilterChangeCallback_base() : next(nullptr), prev(nullptr) {}

private:
    friend class FilterList;
    friend class FilterChangeCallback;
    friend struct detail::Intrusive_chain;
    template <class Callback>
    friend class Linked_callback;

    virtual void Do_Callback(const FilterList& master) = 0;
    /// Implemented by the classes that link a callback once it is complete.
    virtual void Linked() = 0;

    /// Links this object at the head of the callback chain.
    void Link();
    /// Unlinks this object, if linked; waits for a running Do to finish.
    void Unlink();

    /// Calls every linked callback with master, newest first.
    static void Do(const FilterList& master);

    FilterChangeCallback_base* next;
    FilterChangeCallback_base** prev;

    static FilterChangeCallback_base* head;
    static Mutex& mutex();
};

/// An application's callback class, linked while the object is complete. The
/// arguments go to Callback's constructor.
template <class Callback>
class Linked_callback final : public Callback {
public:
    /// Builds the callback from args, then links it.
    template <class... Args>
    explicit Linked_callback(Args&&... args) : Callback(std::forward<Args>(args)...) {
        this->FilterChangeCallback_base::Link();
    }
    ~Linked_callback() override { this->FilterChangeCallback_base::Unlink(); }

private:
    void Linked() override {}
};

/// Calls a function on every master list change.
class FilterChangeCallback final : public FilterChangeCallback_base {
public:
    /// Links a callback that calls fn.
    explicit FilterChangeCallback(void (*fn)(const FilterList& master)) : callback(fn) { Link(); }
    ~FilterChangeCallback() override { Unlink(); }

private:
    void Do_Callback(const FilterList& master) override { callback(master); }
    void Linked() override {}

    void (*callback)(const FilterList& master);
};

}  // namespace Tessel

#endif
