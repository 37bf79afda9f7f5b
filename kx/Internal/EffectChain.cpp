#include "kx/Internal/EffectChain.h"

#include "KXFW/Platform/AudioUnits/RenderStage.h"
#include "kx/Internal/Errors.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

namespace kx
{

namespace
{

/// The effects that are in a chain. Never destroyed: a player may outlive the statics of a program that ends.
struct TakenEffects {
    std::mutex lock;
    std::set<const Effect *> effects;

    static TakenEffects &instance()
    {
        static auto *const all = new TakenEffects;
        return *all;
    }
};

/// An effect's place in the only chain that has it; `isMine` is false where it was another's before.
class EffectLease
{
public:
    explicit EffectLease(const Effect *effect) : effect_(effect), isMine(take(effect)) {}
    ~EffectLease()
    {
        const std::lock_guard guard(TakenEffects::instance().lock);
        if (isMine)
            TakenEffects::instance().effects.erase(effect_);
    }
    EffectLease(const EffectLease &) = delete;
    EffectLease &operator=(const EffectLease &) = delete;

private:
    static bool take(const Effect *effect)
    {
        const std::lock_guard guard(TakenEffects::instance().lock);
        return TakenEffects::instance().effects.insert(effect).second;
    }

    const Effect *effect_;

public:
    const bool isMine;
};

/// What comes before a stage, as an effect sees it.
class EffectInput final : public Effect::Source
{
public:
    explicit EffectInput(StageSource &source) noexcept : source_(source) {}

    void pull(const Effect::Block &block) noexcept override
    {
        if (block.channelCount == RenderStage::kChannels)
            return source_.pull({block.channels, block.channelCount, block.frames});
        for (std::uint32_t i = 0; i < block.channelCount; ++i)
            std::fill_n(block.channels[i], block.frames, 0.0F);
    }
    [[nodiscard]] std::uint32_t jumps() const noexcept override { return source_.jumps(); }

private:
    StageSource &source_;
};

Error refusedEffect(const char *reason)
{
    return {ErrorCode::InvalidArgument, reason, {}};
}

} // namespace

/// An effect in a chain, which is its only one while this lives.
class EffectStage final : public RenderStage
{
public:
    /// Null where another chain has the effect. Prepares it. [any] [blocks]
    static std::shared_ptr<EffectStage> take(std::shared_ptr<Effect> effect)
    {
        auto stage = std::make_shared<EffectStage>(std::move(effect));
        if (!stage->lease_.isMine)
            return nullptr;
        stage->effect_->prepare({});
        return stage;
    }
    explicit EffectStage(std::shared_ptr<Effect> effect) : effect_(std::move(effect)), lease_(effect_.get()) {}

    [[nodiscard]] const Effect *effect() const noexcept { return effect_.get(); } ///< [any]

    void process(StageSource &source, const PlanarBlock &out) noexcept override
    {
        EffectInput input(source);
        effect_->process(input, {out.planes, out.channels, out.frames});
    }
    void reset() noexcept override { effect_->reset(); }
    [[nodiscard]] uint32_t latency() const noexcept override { return effect_->latency(); }
    [[nodiscard]] uint32_t heldFrames() const noexcept override { return effect_->heldFrames(); }
    [[nodiscard]] double drawRate() const noexcept override { return effect_->drawRate(); }

private:
    std::shared_ptr<Effect> effect_;
    EffectLease lease_;
};

EffectChain::EffectChain() noexcept = default;

EffectChain::EffectChain(EffectChain &&other) noexcept
    : effects_(std::move(other.effects_)), stages_(std::move(other.stages_)), unit_(std::exchange(other.unit_, nullptr))
{
}

EffectChain &EffectChain::operator=(EffectChain &&other) noexcept
{
    EffectChain before(std::move(other)); // becomes what this one was, and ends
    std::swap(effects_, before.effects_);
    std::swap(stages_, before.stages_);
    std::swap(unit_, before.unit_);
    return *this;
}

EffectChain::~EffectChain()
{
    if (unit_)
        AudioComponentInstanceRelease(unit_);
}

Result<EffectChain> EffectChain::make(std::vector<std::shared_ptr<Effect>> effects, const EffectChain &replaced)
{
    return caught({}, [&]() -> Result<EffectChain> {
        EffectChain chain;
        for (const std::shared_ptr<Effect> &effect : effects) {
            const auto isIts = [&](const auto &stage) { return stage->effect() == effect.get(); };
            if (!effect)
                return refusedEffect("an effect is missing");
            if (std::ranges::any_of(chain.stages_, isIts))
                return refusedEffect("an effect is there twice");
            const auto kept = std::ranges::find_if(replaced.stages_, isIts);
            auto stage = kept != replaced.stages_.end() ? *kept : EffectStage::take(effect);
            if (!stage)
                return refusedEffect("another player has the effect");
            chain.stages_.push_back(std::move(stage));
        }
        if (!effects.empty())
            chain.unit_ = makeStageUnit({chain.stages_.begin(), chain.stages_.end()});
        chain.effects_ = std::move(effects);
        return chain;
    });
}

} // namespace kx
