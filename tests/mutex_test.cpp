#include "XML/XML_mutex.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

using namespace Tessel;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// Recursive: a nested lock is taken at once and silently. A short wait that
// crosses a whole second is no timeout: the deadline is one second after the
// wait begins, not the start of the next second; and once every level is
// unlocked the waiter takes the mutex. Last, the one wait on the deadline: a
// waiter still blocked a second after it began to wait reports the holder,
// and takes the mutex once free.
TEST(Mutex, NestedAndShortWaitsAreSilentLongOnesReportTheHolder) {
    Mutex mutex("m");
    CaptureStderr();
    mutex.Lock(nullptr, 12);
    { Mutex_locker inner(mutex, "inner.cpp", 34); }
    timespec now;
    do clock_gettime(CLOCK_REALTIME, &now);
    while (now.tv_nsec < 990000000 || now.tv_nsec > 995000000);
    std::thread short_wait([&mutex] { Mutex_locker lock(mutex, nullptr, 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));  // past the boundary
    mutex.Unlock();
    short_wait.join();
    EXPECT_EQ(GetCapturedStderr(), "");

    mutex.Lock("holder.cpp", 42);
    std::atomic<bool> waiting(false), locked(false);
    CaptureStderr();
    std::thread waiter([&] {
        waiting = true;
        Mutex_locker locker(mutex, "waiter.cpp", 7);
        locked = true;
    });
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const bool locked_before_release = locked;
    mutex.Unlock();
    waiter.join();
    EXPECT_EQ(GetCapturedStderr(), "mutex tout, err " + std::to_string(ETIMEDOUT) + " " +
                                       strerror(ETIMEDOUT) + "\nm Locked holder.cpp:42 thread " +
                                       std::to_string(static_cast<unsigned long>(pthread_self())) + "\n");
    EXPECT_TRUE(!locked_before_release && locked);
}
