// The timed mutex.
#include "XML/XML_mutex.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace Tessel {

namespace {

// The holder fields are written by the holding thread and read by Show()
// without the lock, from any thread: relaxed atomic accesses keep that
// diagnostic read free of data races.
template <class T>
void Set(T& field, T value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

template <class T>
T Get(const T& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

}  // namespace

Mutex::Mutex(const char* name_arg) : locker(0), name(name_arg), file(nullptr), line(0) {
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attr);
}

Mutex::~Mutex() { pthread_mutex_destroy(&mutex); }

void Mutex::Lock(const char* file_arg, unsigned int line_arg) {
    // The deadline is one second after the wait begins, on the clock that
    // pthread_mutex_timedlock measures against.
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 1;
    int err = pthread_mutex_timedlock(&mutex, &deadline);
    if (err == ETIMEDOUT) {
        fflush(stdout);
        fprintf(stderr, "mutex tout, err %d %s\n", err, strerror(err));
        Show();
        pthread_mutex_lock(&mutex);
    }
    Set(locker, pthread_self());
    Set(file, file_arg ? file_arg : "<Unknown>");
    Set(line, line_arg);
}

void Mutex::Unlock() {
    Set(locker, pthread_t(0));
    Set(file, static_cast<const char*>(nullptr));
    Set(line, 0u);
    pthread_mutex_unlock(&mutex);
}

void Mutex::Show() const {
    fflush(stdout);
    const pthread_t holder = Get(locker);
    // A Lock or Unlock on another thread may change the fields between these
    // reads, so file can be null while holder is not.
    const char* const where = Get(file);
    if (holder)
        fprintf(stderr, "%s Locked %s:%u thread %lu\n", name, where ? where : "<Unknown>", Get(line),
                static_cast<unsigned long>(holder));
    else
        fprintf(stderr, "%s not locked\n", name);
}

}  // namespace Tessel
