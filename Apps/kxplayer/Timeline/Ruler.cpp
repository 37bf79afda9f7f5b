#include "Apps/kxplayer/Timeline/Ruler.h"

#include "kx/Frames.h"

#include <cmath>
#include <cstdio>

namespace kxplayer
{

namespace
{

constexpr double kLabelGap = 12;         ///< pixels from a label to the next tick
constexpr double kLeastTickDistance = 5; ///< pixels

/// A distance of labels: in frames, or in milliseconds, and into how many parts ticks divide it.
struct RulerStep {
    int64_t frames;
    int64_t milliseconds;
    int parts;

    [[nodiscard]] double length() const
    {
        return milliseconds ? static_cast<double>(milliseconds * kx::kSampleRate) / 1000 : static_cast<double>(frames);
    }
};

constexpr int64_t kRulerSecond = 1000;
constexpr int64_t kRulerMinute = 60 * kRulerSecond;
constexpr int64_t kRulerHour = 60 * kRulerMinute;
constexpr RulerStep kRulerSteps[] = {
    {1, 0, 1},
    {2, 0, 2},
    {5, 0, 5},
    {10, 0, 5},
    {20, 0, 4},
    {0, 1, 5},
    {0, 2, 4},
    {0, 5, 5},
    {0, 10, 5},
    {0, 20, 4},
    {0, 50, 5},
    {0, 100, 5},
    {0, 200, 4},
    {0, 500, 5},
    {0, kRulerSecond, 5},
    {0, 2 * kRulerSecond, 4},
    {0, 5 * kRulerSecond, 5},
    {0, 10 * kRulerSecond, 5},
    {0, 30 * kRulerSecond, 3},
    {0, kRulerMinute, 6},
    {0, 2 * kRulerMinute, 4},
    {0, 5 * kRulerMinute, 5},
    {0, 10 * kRulerMinute, 5},
    {0, 30 * kRulerMinute, 3},
    {0, kRulerHour, 6},
    {0, 2 * kRulerHour, 4},
    {0, 5 * kRulerHour, 5},
    {0, 10 * kRulerHour, 5},
    {0, 50 * kRulerHour, 5},
    {0, 200 * kRulerHour, 4},
    {0, 1000 * kRulerHour, 5},
    {0, 5000 * kRulerHour, 5},
};

std::string labelOf(int64_t number, const RulerStep &step)
{
    if (!step.milliseconds)
        return std::to_string(number * step.frames);
    const int64_t all = number * step.milliseconds;
    const auto part = [](int64_t value) { return static_cast<long long>(value); };
    char text[64];
    if (all >= kRulerHour)
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", part(all / kRulerHour), part(all / kRulerMinute % 60),
                      part(all / kRulerSecond % 60));
    else
        std::snprintf(text, sizeof text, "%lld:%02lld", part(all / kRulerMinute), part(all / kRulerSecond % 60));
    std::string label = text;
    if (step.milliseconds < kRulerSecond) {
        std::snprintf(text, sizeof text, ".%03lld", part(all % kRulerSecond));
        label += text;
        label.resize(label.size() - (step.milliseconds >= 100 ? 2 : step.milliseconds >= 10 ? 1 : 0));
    }
    return label;
}

/// The finest step whose labels have room, of which the last that is seen is the longest; null for none.
const RulerStep *stepOf(const Viewport &view, double characterWidth)
{
    for (const RulerStep &step : kRulerSteps) {
        const auto last = static_cast<int64_t>(view.endFrame() / step.length());
        const double room = static_cast<double>(labelOf(last, step).size()) * characterWidth + kLabelGap;
        if (step.length() / view.framesPerPixel() >= room)
            return &step;
    }
    return nullptr;
}

} // namespace

std::vector<Tick> ticksOf(const Viewport &view, double characterWidth)
{
    const RulerStep *const found = stepOf(view, characterWidth);
    if (!found)
        return {};
    const RulerStep &step = *found;
    const int parts = step.length() / step.parts / view.framesPerPixel() >= kLeastTickDistance ? step.parts : 1;
    std::vector<Tick> ticks;
    for (auto number = static_cast<int64_t>(view.firstFrame() / step.length());; ++number) {
        for (int part = 0; part < parts; ++part) {
            const double frame = (static_cast<double>(number) + static_cast<double>(part) / parts) * step.length();
            if (frame > view.endFrame())
                return ticks;
            ticks.push_back({frame, part == 0 ? labelOf(number, step) : std::string()});
        }
    }
}

} // namespace kxplayer
