#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>
#include <memory>

namespace kx
{

enum class QualityOfService {
    Default,
    Background, ///< long work that may wait for the rest: runs at a lower scheduling priority
};

/// The process's concurrent queues, one for each quality of service. Tasks start in order and run side by side, on
/// threads that are made as needed and kept. The queues live until the process ends. An exception that leaves a task
/// is logged.
class KX_EXPORT GlobalQueue
{
public:
    static GlobalQueue &withQuality(QualityOfService quality); ///< [any]

    /// Runs `task` soon, on a thread of the queue. [any]
    void async(std::function<void()> task);

    GlobalQueue(const GlobalQueue &) = delete;
    GlobalQueue &operator=(const GlobalQueue &) = delete;

private:
    explicit GlobalQueue(QualityOfService quality);
    struct Pool;
    std::shared_ptr<Pool> pool_;
};

} // namespace kx
