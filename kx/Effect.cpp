#include "kx/Effect.h"

namespace kx
{

Effect::Effect() noexcept = default;
Effect::~Effect() = default;

void Effect::prepare(const Format & /*format*/) {}
void Effect::reset() noexcept {}

std::uint32_t Effect::latency() const noexcept
{
    return 0;
}

std::uint32_t Effect::heldFrames() const noexcept
{
    return 0;
}

double Effect::drawRate() const noexcept
{
    return 1;
}

} // namespace kx
