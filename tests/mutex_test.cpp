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

namespace {

std::string Holder(const char* file, unsigned int line) {
    return std::string("m Locked ") + file + ":" + std::to_string(line) + " thread " +
           std::to_string(static_cast<unsigned long>(pthread_self())) + "\n";
}

std::string Shown(const Mutex& mutex) {
    testing::internal::CaptureStderr();
    mutex.Show();
    return testing::internal::GetCapturedStderr();
}

}  // namespace

TEST(Mutex, ShowsHolderAndNesting) {
    Mutex mutex("m");
    EXPECT_EQ(Shown(mutex), "m not locked\n");
    mutex.Lock(nullptr, 12);
    EXPECT_EQ(Shown(mutex), Holder("<Unknown>", 12));

    // Recursive: the same thread locks again at once; the nested lock
    // overwrites the holder and its unlock clears it.
    testing::internal::CaptureStderr();
    mutex.Lock("inner.cpp", 34);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(Shown(mutex), Holder("inner.cpp", 34));
    mutex.Unlock();
    EXPECT_EQ(Shown(mutex), "m not locked\n");
    mutex.Unlock();
    {
        Mutex_locker locker(mutex, "scope.cpp", 56);
        EXPECT_EQ(Shown(mutex), Holder("scope.cpp", 56));
    }
    EXPECT_EQ(Shown(mutex), "m not locked\n");
}

// The one test that waits on the deadline (up to a second).
TEST(Mutex, ReportsHolderAfterDeadline) {
    Mutex mutex("m");
    mutex.Lock("holder.cpp", 42);
    const std::string expected = "mutex tout, err " + std::to_string(ETIMEDOUT) + " " +
                                 strerror(ETIMEDOUT) + "\n" + Holder("holder.cpp", 42);

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
        mutex.Lock("waiter.cpp", 7);
        waiter_locked = true;
        mutex.Unlock();
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
