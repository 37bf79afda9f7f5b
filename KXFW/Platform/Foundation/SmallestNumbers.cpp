#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// A library built with -ffast-math (Debian's SoundTouch is) makes the thread that loads it, and every thread that this
/// one starts, take numbers below the normal range for 0. Our users asked for no such arithmetic. Libraries are
/// initialised before those that need them, so this comes after the harm and mends it.
extern "C" [[gnu::constructor]] void kx_keepSmallestNumbers()
{
#if defined(__SSE2__)
    constexpr unsigned int kFlushToZero = 0x8000;
    constexpr unsigned int kDenormalsAreZero = 0x40;
    _mm_setcsr(_mm_getcsr() & ~(kFlushToZero | kDenormalsAreZero));
#endif
}
