#pragma once

namespace kx::test
{

/// While it lives, no thread of the program can be made.
class FailingThreads
{
public:
    FailingThreads();
    ~FailingThreads();
    FailingThreads(const FailingThreads &) = delete;
    FailingThreads &operator=(const FailingThreads &) = delete;
};

/// While it lives, one `new` of this thread gets no memory: the one after `before` others.
class FailingMemory
{
public:
    explicit FailingMemory(int before);
    ~FailingMemory();
    FailingMemory(const FailingMemory &) = delete;
    FailingMemory &operator=(const FailingMemory &) = delete;

    [[nodiscard]] static bool works() noexcept;     ///< false under sanitizers, which have an allocator of their own
    [[nodiscard]] static bool hasFailed() noexcept; ///< since the last one was made
};

} // namespace kx::test
