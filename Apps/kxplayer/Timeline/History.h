#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace kxplayer
{

/// The states that something was in, to go back and forth between them. Changes that belong together, as those of one
/// drag, are one step.
template <class State> class History
{
public:
    static constexpr std::size_t kMostSteps = 1000; ///< then the oldest are forgotten

    explicit History(State now = {}) : states_{std::move(now)} {}

    /// Forgets all that was.
    void begin(State now)
    {
        states_.assign(1, std::move(now));
        at_ = 0;
        step_ = 0;
    }

    /// The state is `now`; what was undone is forgotten. Joins the change before where both have the same step, which
    /// is none at 0. A state that is as before is no change.
    void change(State now, int step = 0)
    {
        if (now == states_[at_])
            return;
        const bool joins = std::exchange(step_, step) == step && step != 0;
        states_.resize(at_ + 1);
        if (joins)
            states_.back() = std::move(now);
        else
            states_.push_back(std::move(now));
        if (states_.size() > kMostSteps + 1)
            states_.erase(states_.begin());
        at_ = states_.size() - 1;
    }

    [[nodiscard]] bool canUndo() const noexcept { return at_ > 0; }
    [[nodiscard]] bool canRedo() const noexcept { return at_ + 1 < states_.size(); }
    /// The state before, or the one that was undone, which then is the present one; as it is where there is none.
    const State &undo() { return go(canUndo() ? at_ - 1 : at_); }
    const State &redo() { return go(canRedo() ? at_ + 1 : at_); }

private:
    const State &go(std::size_t to)
    {
        step_ = 0;
        return states_[at_ = to];
    }

    std::vector<State> states_;
    std::size_t at_ = 0;
    int step_ = 0;
};

} // namespace kxplayer
