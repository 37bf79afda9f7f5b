#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace kx
{

/// A serial work queue: one task at a time, whoever brings it.
///
/// `sync` tasks run on the calling thread under a priority-inheriting lock (about 10 ns where nobody else is in), so a
/// render thread never hops to another one. `async` tasks run in FIFO order on a worker thread made on first use.
/// An exception leaves a sync task to its caller and frees the queue; one that leaves an async task is logged.
/// Entering the queue from inside itself throws at once.
class KX_EXPORT SerialQueue
{
public:
    explicit SerialQueue(std::string label); ///< [any]
    /// Runs what was still queued, then returns; from inside one of its own tasks it does not wait for them. [any]
    /// [blocks]
    ~SerialQueue();
    SerialQueue(const SerialQueue &) = delete;
    SerialQueue &operator=(const SerialQueue &) = delete;

    [[nodiscard]] const std::string &label() const noexcept; ///< [any]

    /// Runs `task` now, on this thread, and gives its result. Does not allocate. [any] [render] [blocks]
    template <class Task> decltype(auto) sync(Task &&task)
    {
        const Turn turn(*this);
        return std::forward<Task>(task)();
    }

    /// The same for a task that does not let the queue go: without counting a reference. [any] [render] [blocks]
    template <class Task> decltype(auto) syncKept(Task &&task)
    {
        const KeptTurn turn(*this);
        return std::forward<Task>(task)();
    }

    /// Runs `task` later, after those queued before it. [any]
    void async(std::function<void()> task);

private:
    struct Impl;
    struct Lock;

    /// The queue is the calling thread's while this lives; a task may let the queue go meanwhile.
    class Turn
    {
    public:
        explicit Turn(const SerialQueue &queue);
        ~Turn();
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;

    private:
        const std::shared_ptr<Lock> lock_;
    };

    /// The same where the queue stays.
    class KeptTurn
    {
    public:
        explicit KeptTurn(const SerialQueue &queue);
        ~KeptTurn();
        KeptTurn(const KeptTurn &) = delete;
        KeptTurn &operator=(const KeptTurn &) = delete;

    private:
        Lock &lock_;
    };

    const std::unique_ptr<Impl> impl_;
};

} // namespace kx
