#pragma once

#include <cstdint>

namespace kx::test
{

/// Counts what threads must not do inside a render: memory taken and given back, and mutexes locked other than the
/// priority-inheriting ones. Counting works in plain builds only; sanitizers own these functions themselves.
///
///     const RenderGuard guard;
///     ... render ...
///     EXPECT_TRUE(guard.isClean()) << guard;
class RenderGuard
{
public:
    struct Counts {
        uint64_t allocations;
        uint64_t frees;
        uint64_t locks;
        uint64_t exempted; ///< of all three, in the sound system's library
    };

    RenderGuard() noexcept : before_(total()) {}

    /// Of all threads, since the guard was made, inside renders.
    [[nodiscard]] Counts counts() const noexcept;
    [[nodiscard]] bool isClean() const noexcept;
    /// False where nothing is counted.
    [[nodiscard]] static bool works() noexcept;

    template <class Stream> friend Stream &operator<<(Stream &out, const RenderGuard &guard)
    {
        const Counts now = guard.counts();
        out << now.allocations << " allocations, " << now.frees << " frees, " << now.locks << " locks in renders, "
            << now.exempted << " exempted";
        return out;
    }

private:
    static Counts total() noexcept;
    Counts before_;
};

} // namespace kx::test
