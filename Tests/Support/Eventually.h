#pragma once

#include "Tests/Support/Handshake.h"

#include <gtest/gtest.h>

#include <thread>

namespace kx::test
{

/// Bounds a loop that waits for other threads.
class Deadline
{
public:
    explicit Deadline(std::chrono::seconds time = kHangDeadline) : end_(std::chrono::steady_clock::now() + time) {}
    [[nodiscard]] bool passed() const { return std::chrono::steady_clock::now() > end_; }

private:
    std::chrono::steady_clock::time_point end_;
};

/// Waits until `reached` is true, which other threads bring about.
template <class Condition>
::testing::AssertionResult eventually(Condition reached, std::chrono::seconds time = kHangDeadline)
{
    for (const Deadline deadline(time); !reached();) {
        if (deadline.passed())
            return ::testing::AssertionFailure() << "never came";
        std::this_thread::yield();
    }
    return ::testing::AssertionSuccess();
}

} // namespace kx::test
