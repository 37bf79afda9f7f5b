#include "Apps/kxtool/Input.h"

#include "kx/TimePitch.h"

#include <filesystem>
#include <memory>

namespace kxtool
{

namespace
{

void requireInside(const std::string &file, kx::Frames frame, kx::Frames length)
{
    if (frame > length)
        throw Failure(file, "frame " + std::to_string(frame.count()) + " lies beyond its " +
                                std::to_string(length.count()) + " frames");
}

std::shared_ptr<kx::TimePitch> timePitch(const EffectOptions &options)
{
    auto effect = std::make_shared<kx::TimePitch>();
    require(effect->setRate(options.rate.value_or(1)));
    require(effect->setPitch(options.pitch.value_or(0)));
    return effect;
}

} // namespace

kx::Player makePlayer(const std::string &file, const EffectOptions &effect)
{
    kx::Player player;
    require(player.open(file));
    if (effect.rate || effect.pitch)
        require(player.setEffects({timePitch(effect)}));
    return player;
}

void requireOrder(const RangeOptions &range)
{
    if (range.end && range.start.value_or(0) >= *range.end)
        throw UsageError("--start must lie before --end");
}

kx::Range rangeIn(const std::string &file, const RangeOptions &range, kx::Frames length)
{
    const kx::Range result{kx::Frames(range.start.value_or(0)), kx::Frames(range.end.value_or(length.count()))};
    requireInside(file, result.start, length);
    requireInside(file, result.end, length);
    if (range.start && result.start >= result.end)
        throw Failure(file, "frame " + std::to_string(result.start.count()) + " is its end");
    return result;
}

void requireDifferentFiles(const std::string &input, const std::string &output)
{
    std::error_code error;
    if (std::filesystem::equivalent(input, output, error))
        throw UsageError(printable(output) + " is the input");
}

} // namespace kxtool
