// Channel filter lists, the master list and filter change callbacks.
#include "XML/XML_filters.hpp"

#include "intrusive_chain.hpp"

#include <algorithm>

namespace Tessel {

// --- FilterList ---------------------------------------------------------------

FilterList* FilterList::head = nullptr;

// Built on first use and never destroyed: see the header.
FilterList& FilterList::master() {
    static FilterList* const list = new FilterList(4, Unlinked());
    return *list;
}

Mutex& FilterList::mutex() {
    static Mutex* const lock = new Mutex("filterlist");
    return *lock;
}

FilterList::FilterList(size_t channels, Unlinked)
    : next(nullptr), prev(nullptr), num_chan(channels), list(new Filter[channels]()) {}

FilterList::FilterList(size_t channels) : FilterList(channels, Unlinked()) { Link(); }

FilterList::FilterList(const FilterList& other) : FilterList(0, Unlinked()) {
    Mutex_locker lock(mutex(), nullptr, 0);
    Replace_words(other.list, other.num_chan, other.num_chan);
    Link();
}

FilterList::~FilterList() {
    Mutex_locker lock(mutex(), nullptr, 0);
    detail::Intrusive_chain::Unlink(*this);
    delete[] list;
    list = nullptr;
}

void FilterList::Link() {
    Mutex_locker lock(mutex(), __FILE__, __LINE__);
    detail::Intrusive_chain::Link(*this, head);
}

FilterList& FilterList::operator=(const FilterList& other) {
    Mutex_locker lock(mutex(), nullptr, 0);
    if (list != other.list) Replace_words(other.list, other.num_chan, other.num_chan);
    return *this;
}

bool FilterList::operator==(const FilterList& other) const {
    return num_chan == other.num_chan && std::equal(list, list + num_chan, other.list);
}

Filter& FilterList::operator[](size_t channel) {
    if (channel >= num_chan) Resize(channel + 1);
    return list[channel];
}

const Filter& FilterList::operator[](size_t channel) const {
    static const Filter no_word = 0;
    if (num_chan == 0) return no_word;
    return list[std::min(channel, num_chan - 1)];
}

// Words are read and written by Set with relaxed atomic accesses, so a word
// changed by Set while another thread checks it is read either before or after.
static Filter Load(const Filter& word) { return __atomic_load_n(&word, __ATOMIC_RELAXED); }

void FilterList::Set(size_t channel, Filter word) {
    if (channel >= num_chan) Resize(channel + 1);
    __atomic_store_n(&list[channel], word, __ATOMIC_RELAXED);
}

bool FilterList::Check(Filter filter) const {
    return std::any_of(list, list + num_chan,
                       [filter](const Filter& word) { return (Load(word) & filter) != 0; });
}

bool FilterList::Check(Filter filter, unsigned int channel) const {
    return channel >= num_chan || (Load(list[channel]) & filter) != 0;
}

void FilterList::Resize(size_t channels) {
    if (channels == num_chan) return;
    Mutex_locker lock(mutex(), nullptr, 0);
    Replace_words(list, num_chan, channels);
}

void FilterList::Replace_words(const Filter* words, size_t count, size_t channels) {
    Filter* fresh = new Filter[channels]();
    std::copy_n(words, std::min(count, channels), fresh);
    delete[] list;
    list = fresh;
    num_chan = channels;
}

void FilterList::Changed() {
    Mutex_locker lock(mutex(), nullptr, 0);
    FilterList& all = master();
    FilterList sum(all.num_chan);
    for (const FilterList* item = head; item; item = item->next) {
        if (item == &sum) continue;
        if (item->num_chan > all.num_chan) all.Resize(item->num_chan);
        for (size_t channel = 0; channel < item->num_chan; ++channel)
            sum[channel] |= Load(item->list[channel]);
    }
    if (all != sum) {
        all = sum;
        FilterChangeCallback_base::Do(all);
    }
}

// --- change callbacks ---------------------------------------------------------

FilterChangeCallback_base* FilterChangeCallback_base::head = nullptr;

Mutex& FilterChangeCallback_base::mutex() {
    static Mutex* const lock = new Mutex("filterlist callback");
    return *lock;
}

void FilterChangeCallback_base::Link() {
    Mutex_locker lock(mutex(), nullptr, 0);
    detail::Intrusive_chain::Link(*this, head);
}

void FilterChangeCallback_base::Unlink() {
    Mutex_locker lock(mutex(), nullptr, 0);
    detail::Intrusive_chain::Unlink(*this);
}

void FilterChangeCallback_base::Do(const FilterList& master) {
    Mutex_locker lock(mutex(), nullptr, 0);
    for (FilterChangeCallback_base* item = head; item; item = item->next) item->Do_Callback(master);
}

}  // namespace Tessel
