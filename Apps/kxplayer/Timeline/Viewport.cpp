#include "Apps/kxplayer/Timeline/Viewport.h"

#include <algorithm>

namespace kxplayer
{

namespace
{

constexpr double kAroundShown = 0.05; ///< of the width, at either side of what is to be shown
constexpr double kPageOverlap = 0.05; ///< of the width, before the line on a new page

} // namespace

Viewport::Viewport(int64_t numFrames, double width)
    : numFrames_(std::max<int64_t>(numFrames, 1)), width_(std::max(width, 1.0)), framesPerPixel_(wholeFile())
{
}

Viewport Viewport::with(double firstFrame, double framesPerPixel) const
{
    Viewport view = *this;
    const double most = wholeFile();
    view.framesPerPixel_ = std::clamp(framesPerPixel, std::min(kLeastFramesPerPixel, most), most);
    view.firstFrame_ = std::clamp(firstFrame, 0.0, std::max(static_cast<double>(numFrames_) - view.span(), 0.0));
    return view;
}

Viewport Viewport::zoomedAt(double x, double factor) const
{
    const double framesPerPixel = with(firstFrame_, framesPerPixel_ / factor).framesPerPixel_;
    return with(frameAt(x) - x * framesPerPixel, framesPerPixel);
}

Viewport Viewport::startingAt(double frame) const
{
    return with(frame, framesPerPixel_);
}

Viewport Viewport::showing(double start, double end) const
{
    const double around = (end - start) * kAroundShown / (1 - 2 * kAroundShown);
    const double framesPerPixel = with(0, (end - start + 2 * around) / width_).framesPerPixel_;
    return with((start + end - width_ * framesPerPixel) / 2, framesPerPixel);
}

Viewport Viewport::resized(double width) const
{
    Viewport view(numFrames_, width);
    return showsAll() ? view : view.with(firstFrame_, framesPerPixel_);
}

Viewport followed(const Viewport &view, double before, double now, Follow mode)
{
    if (mode == Follow::Not || !view.shows(before))
        return view;
    if (!view.shows(now))
        return view.startingAt(now - view.span() * kPageOverlap);
    if (mode == Follow::Continuous && now > before && view.xOf(before) >= view.width() / 2)
        return view.startingAt(view.firstFrame() + now - before);
    return view;
}

} // namespace kxplayer
