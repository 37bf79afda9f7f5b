#pragma once

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

class KXAFilePlayer;

namespace kx
{

/// A block that a player keeps, made of anything that can be called with `Arguments`, or with the player in front of
/// them. One that holds a shared pointer to its own player would keep it from ever ending: take the player that is
/// passed in, or hold a weak pointer.
template <class... Arguments> class PlayerBlock
{
public:
    PlayerBlock() = default;
    PlayerBlock(std::nullptr_t) {} ///< None. [any]
    /// Of whatever can be called so. [any]
    template <class Block>
    requires(std::is_invocable_v<Block &, KXAFilePlayer &, Arguments...> || std::is_invocable_v<Block &, Arguments...>)
        PlayerBlock(Block block)
    {
        takesPlayer_ = std::is_invocable_v<Block &, KXAFilePlayer &, Arguments...>;
        if constexpr (std::is_invocable_v<Block &, KXAFilePlayer &, Arguments...>)
            block_ = std::move(block);
        else if (std::function<void(Arguments...)> plain(std::move(block)); plain)
            block_ = [plain = std::move(plain)](KXAFilePlayer &, Arguments... arguments) { plain(arguments...); };
    }

    void operator()(KXAFilePlayer &player, Arguments... arguments) const { block_(player, arguments...); } ///< [any]
    explicit operator bool() const noexcept { return static_cast<bool>(block_); }                          ///< [any]
    [[nodiscard]] bool takesPlayer() const noexcept { return takesPlayer_; }                               ///< [any]

private:
    std::function<void(KXAFilePlayer &, Arguments...)> block_;
    bool takesPlayer_ = false;
};

} // namespace kx
