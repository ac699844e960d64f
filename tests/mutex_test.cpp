#include "XML/XML_mutex.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

using namespace Tessel;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

std::string Holder(const char* file, unsigned int line) {
    return std::string("m Locked ") + file + ":" + std::to_string(line) + " thread " +
           std::to_string(static_cast<unsigned long>(pthread_self())) + "\n";
}

std::string Shown(const Mutex& mutex) {
    CaptureStderr();
    mutex.Show();
    return GetCapturedStderr();
}

}  // namespace

TEST(Mutex, ShowsHolderAndNesting) {
    Mutex mutex("m");
    EXPECT_EQ(Shown(mutex), "m not locked\n");
    mutex.Lock(nullptr, 12);
    EXPECT_EQ(Shown(mutex), Holder("<Unknown>", 12));
    {
        // Recursive: the nested lock is taken at once and silently, it
        // overwrites the holder, and its unlock clears it.
        CaptureStderr();
        Mutex_locker inner(mutex, "inner.cpp", 34);
        EXPECT_EQ(GetCapturedStderr(), "");
        EXPECT_EQ(Shown(mutex), Holder("inner.cpp", 34));
    }
    EXPECT_EQ(Shown(mutex), "m not locked\n");
    mutex.Unlock();
}

// The one test that waits on the deadline (up to a second).
TEST(Mutex, ReportsHolderAfterDeadline) {
    Mutex mutex("m");
    mutex.Lock("holder.cpp", 42);
    const std::string expected = "mutex tout, err " + std::to_string(ETIMEDOUT) + " " + strerror(ETIMEDOUT) +
                                 "\n" + Holder("holder.cpp", 42);

    // Standard error goes into a pipe that this thread reads while it still
    // holds the mutex, so the waiter is sure to pass its deadline.
    fflush(stderr);
    int pipe_fds[2];
    ASSERT_EQ(pipe(pipe_fds), 0);
    const int saved_stderr = dup(2);
    dup2(pipe_fds[1], 2);
    close(pipe_fds[1]);
    std::atomic<bool> waiter_locked(false);
    std::thread waiter([&] {
        Mutex_locker locker(mutex, "waiter.cpp", 7);
        waiter_locked = true;
    });
    std::string report;
    char c;
    while (std::count(report.begin(), report.end(), '\n') < 2 && read(pipe_fds[0], &c, 1) == 1) report += c;
    const bool locked_before_release = waiter_locked;
    mutex.Unlock();
    waiter.join();
    dup2(saved_stderr, 2);
    close(saved_stderr);
    while (read(pipe_fds[0], &c, 1) == 1) report += c;  // anything more is a fault
    close(pipe_fds[0]);

    EXPECT_EQ(report, expected);
    EXPECT_FALSE(locked_before_release);
    EXPECT_TRUE(waiter_locked);
}
