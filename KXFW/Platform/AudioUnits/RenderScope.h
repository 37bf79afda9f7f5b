#pragma once

#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
extern "C" void __rtsan_disable(); // NOLINT: their names
extern "C" void __rtsan_enable();  // NOLINT
#define KX_RENDERS [[clang::nonblocking]]
#define KX_REAL_TIME_SANITIZER 1
#endif
#endif
#ifndef KX_RENDERS
/// Behind a function that neither allocates nor waits; the real-time sanitizer holds it to that.
#define KX_RENDERS
#endif

namespace kx
{

/// Marks the time during which this thread renders: output runs open one for each slice on its way to the device, units
/// one around each render, so a render callback always runs inside. What waits, allocates or changes units asks `depth`
/// and refuses. [any] [render]
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

/// Marks what is somebody else's on a thread that renders: the sound system's library, which allocates its packets and
/// locks its loop as it likes. Whoever counts what renders do counts that apart. [any] [render]
struct RenderExemption {
    RenderExemption() noexcept
    {
        ++depth();
#ifdef KX_REAL_TIME_SANITIZER
        __rtsan_disable();
#endif
    }
    ~RenderExemption()
    {
#ifdef KX_REAL_TIME_SANITIZER
        __rtsan_enable();
#endif
        --depth();
    }
    RenderExemption(const RenderExemption &) = delete;
    RenderExemption &operator=(const RenderExemption &) = delete;

    /// [any] [render]
    static int &depth() noexcept
    {
        thread_local int value = 0;
        return value;
    }
};

} // namespace kx
