/// \file
/// The library's lock: a recursive POSIX mutex with a name, held for a scope by Mutex_locker.
///
/// Example:
///
/// \code
/// Tessel::Mutex table_mutex("table");  // the name appears in its reports
/// std::map<int, int> table;
///
/// void Put(int key, int value) {
///     Tessel::Mutex_locker lock(table_mutex, __FILE__, __LINE__);  // unlocked at the end of the scope
///     table[key] = value;
/// }
/// void Put_pair(int key, int value) {
///     Tessel::Mutex_locker lock(table_mutex, __FILE__, __LINE__);
///     Put(key, value);      // locks again on the same thread: no deadlock
///     Put(key + 1, value);  // other lockers see both entries or neither
/// }
///
/// table_mutex.Show();  // standard error: "table not locked"; inside Put, something like
///                      // "table Locked app.cpp:5 thread <holder's pthread_t>"
/// \endcode
///
/// A Mutex remembers the thread, source file and line of its most recent Lock.
/// Lock takes a free mutex at once; otherwise it waits up to one second,
/// measured from the start of the wait, and if the mutex is still taken by
/// then, it prints `"mutex tout, err <code> <text>"` and the holder (Show) on
/// standard error and then waits without limit. A lock therefore never fails,
/// but a stuck holder becomes visible.
///
/// Each nested Lock overwrites the holder fields and the first Unlock clears
/// them, so Show reports "not locked" while an outer level still holds the
/// mutex. Show reads the holder fields without locking (they are accessed
/// atomically, one by one): it is a diagnostic, and a holder that is changing
/// may be shown with fields from two different Locks.
#ifndef TESSEL_XML_MUTEX_HPP
#define TESSEL_XML_MUTEX_HPP

#include "XML/XML_defines.hpp"

#include <pthread.h>

namespace Tessel {

/// A recursive POSIX mutex with a name; see the file's description.
class Mutex {
public:
    /// name is borrowed and must outlive the mutex.
    explicit Mutex(const char* name);
    ~Mutex();
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    /// Takes the mutex, recording the thread, file and line as its holder;
    /// file may be null (recorded as `"<Unknown>"`).
    void Lock(const char* file, unsigned int line);
    /// Releases one level of the lock and clears the holder fields.
    void Unlock();
    /// Prints the mutex's name and its holder, or "not locked", on standard error.
    void Show() const;

private:
    /// Waits for the lock, reporting a wait of more than a second.
    void Wait();

    pthread_mutexattr_t attr;
    pthread_mutex_t mutex;
    pthread_t locker;
    const char* name;
    const char* file;
    unsigned int line;
};

/// Holds a Mutex for the lifetime of a scope.
class Mutex_locker {
public:
    /// Locks mutex, recording file and line as the holder.
    Mutex_locker(Mutex& mutex, const char* file, unsigned int line) : my_mutex(mutex) {
        my_mutex.Lock(file, line);
    }
    ~Mutex_locker() { my_mutex.Unlock(); }
    Mutex_locker(const Mutex_locker&) = delete;
    Mutex_locker& operator=(const Mutex_locker&) = delete;

private:
    Mutex& my_mutex;
};

}  // namespace Tessel

#endif
