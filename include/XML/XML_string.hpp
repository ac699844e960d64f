/// \file
/// xmlString: a growable byte buffer held through a shared, reference-counted core.
///
/// Example:
///
/// \code
/// Tessel::xmlString a(BAD_CAST "abc");  // a new core holding "abc" and its NUL: a.Len() is 4
/// Tessel::xmlString b = a;              // b shares a's core
/// b.Buf()[0] = 'X';                     // (const char*)a is "Xbc" too
/// bool grew = b.Need(9);                // true: the core now has 10 bytes, a.Len() is 10 too
/// grew = a.Need(9);                     // false: 10 bytes are more than 9
/// a = BAD_CAST "z";                     // a alone moves to a new core (Len() 2); b keeps "Xbc"
/// \endcode
///
/// It is the storage under Format::Printer.
///
/// The buffer keeps no text length and no terminator of its own: Len() is the
/// number of bytes allocated, and the user of the buffer decides how much of it
/// holds text. The core is shared, not copied on write: every holder sees every
/// change of the buffer, including a reallocation by Need(). Reference counts
/// are plain ints: a core must not be shared between threads without a lock.
///
/// Members the library itself does not use behave as follows:
/// - xmlString() holds a new empty core (Len() 0, Buf() null).
/// - Copy construction and copy assignment share the other's core.
/// - xmlString(const xmlChar*) and operator=(const xmlChar*) give this holder a
///   new core holding a copy of the text with its terminating NUL (Len() is the
///   text length plus one); a null text gives an empty core. Other holders of
///   the old core keep it unchanged.
/// - The conversion operators return Buf() as it is; they add no terminator,
///   since the buffer does not know where its text ends.
#ifndef TESSEL_XML_STRING_HPP
#define TESSEL_XML_STRING_HPP

#include "XML/XML_defines.hpp"

#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace Tessel {

/// A growable byte buffer held through a shared, reference-counted core; see the file's description.
class xmlString {
public:
    /// The shared buffer and the number of its holders.
    class Core {
    public:
        /// An empty buffer with one holder.
        Core() : len(0), buf(nullptr), refcount(1) {}
        virtual ~Core() { delete[] buf; }

        /// The number of bytes allocated.
        size_t len;
        /// The bytes; null when none are allocated.
        xmlChar* buf;
        /// The number of holders.
        int refcount;
    };

    /// A new empty core (Len() 0, Buf() null).
    xmlString() : core(new Core) {}
    /// A new core of size bytes, not initialised.
    explicit xmlString(size_t size) : core(new Core) {
        try {
            core->buf = new xmlChar[size];
        } catch (...) {
            delete core;
            throw;
        }
        core->len = size;
    }
    /// Shares other's core.
    xmlString(const xmlString& other) : core(other.Ref()) {}
    /// A new core holding a copy of text and its terminating NUL; an empty core
    /// for null. A template only so that a literal 0 picks the sized constructor.
    template <class C, std::enable_if_t<std::is_same_v<C, xmlChar>, int> = 0>
    xmlString(const C* text) : xmlString(text ? std::strlen(reinterpret_cast<const char*>(text)) + 1 : 0) {
        if (text) std::memcpy(core->buf, text, core->len);
    }
    ~xmlString() { Deref(); }

    /// Shares other's core, giving up this holder's one.
    xmlString& operator=(const xmlString& other) {
        xmlString held(other);
        std::swap(core, held.core);
        return *this;
    }
    /// Moves this holder alone to a new core holding a copy of text.
    xmlString& operator=(const xmlChar* text) {
        xmlString copy(text);
        std::swap(core, copy.core);
        return *this;
    }

    ///@{
    /// Buf() as it is, without a terminator added.
    operator const xmlChar*() const { return core->buf; }
    operator const char*() const { return reinterpret_cast<const char*>(core->buf); }
    ///@}

    /// The capacity in bytes, not the length of any text in the buffer.
    size_t Len() const { return core->len; }
    /// The bytes, shared with every holder of the core.
    xmlChar* Buf() { return core->buf; }

    /// Makes sure the buffer has more than n bytes: when it has n or fewer, it is
    /// reallocated to exactly n + 1 bytes, keeping all old bytes. Returns true when
    /// it reallocated.
    bool Need(size_t n) {
        if (core->len > n) return false;
        if (n + 1 == 0) throw std::bad_alloc();
        xmlChar* grown = new xmlChar[n + 1];
        if (core->len) std::memcpy(grown, core->buf, core->len);
        delete[] core->buf;
        core->buf = grown;
        core->len = n + 1;
        return true;
    }

private:
    Core* Ref() const {
        ++core->refcount;
        return core;
    }
    /// Gives up this holder's reference; the last one deletes the core. Out of
    /// line: inlined into a function that destroys two holders of one core,
    /// GCC cannot tell which one deletes it and warns of a use after free.
    void Deref();

    Core* core;
};

}  // namespace Tessel

#endif
