#pragma once

namespace kx
{

/// Marks the time during which this thread renders: units open one around each render, so a render callback always
/// runs inside. What waits, allocates or changes units asks `depth` and refuses. [any] [render]
struct RenderScope {
    RenderScope() noexcept { ++depth(); }
    ~RenderScope() { --depth(); }
    RenderScope(const RenderScope &) = delete;
    RenderScope &operator=(const RenderScope &) = delete;

    /// How many renders this thread is inside of. [any] [render]
    static int &depth() noexcept
    {
        thread_local int value = 0;
        return value;
    }
};

} // namespace kx
