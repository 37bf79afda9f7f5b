#pragma once

namespace kx::test
{

/// While it lives, a resource is not to be had: one `new` of this thread, the one after `before` others, or, below 0,
/// any thread. Fails nothing under sanitizers, which have these calls to themselves.
class FailingResource
{
public:
    explicit FailingResource(int before) noexcept;
    ~FailingResource();
    FailingResource(const FailingResource &) = delete;
    FailingResource &operator=(const FailingResource &) = delete;

    [[nodiscard]] static bool hasFailed() noexcept; ///< since the last one was made
};

} // namespace kx::test
