#pragma once

#include <cstdint>

namespace kxplayer
{

/// Which part of a file is seen in some pixels, and how large: a value that always shows a part of the file, at scales
/// from 32 pixels a frame to the whole file.
class Viewport
{
public:
    static constexpr double kLeastFramesPerPixel = 1.0 / 32;

    Viewport() = default;
    /// All of `numFrames` frames in `width` pixels, each taken as at least 1.
    Viewport(int64_t numFrames, double width);

    [[nodiscard]] int64_t numFrames() const noexcept { return numFrames_; }
    [[nodiscard]] double width() const noexcept { return width_; }
    [[nodiscard]] double firstFrame() const noexcept { return firstFrame_; }
    [[nodiscard]] double framesPerPixel() const noexcept { return framesPerPixel_; }
    [[nodiscard]] double span() const noexcept { return width_ * framesPerPixel_; } ///< The frames that are seen.
    [[nodiscard]] double endFrame() const noexcept { return firstFrame_ + span(); }
    [[nodiscard]] bool showsAll() const noexcept { return framesPerPixel_ >= wholeFile(); }

    /// Where a frame is, also beyond the edges, and what is there.
    [[nodiscard]] double xOf(double frame) const noexcept { return (frame - firstFrame_) / framesPerPixel_; }
    [[nodiscard]] double frameAt(double x) const noexcept { return firstFrame_ + x * framesPerPixel_; }
    [[nodiscard]] bool shows(double frame) const noexcept { return frame >= firstFrame_ && frame <= endFrame(); }

    /// `factor` times as large, with the frame at `x` in its place as far as the file allows.
    [[nodiscard]] Viewport zoomedAt(double x, double factor) const;
    [[nodiscard]] Viewport pannedBy(double pixels) const { return startingAt(frameAt(pixels)); }
    [[nodiscard]] Viewport startingAt(double frame) const;
    /// As large as shows all frames from `start` to `end`, with a little of what is around them.
    [[nodiscard]] Viewport showing(double start, double end) const;
    [[nodiscard]] Viewport all() const { return {numFrames_, width_}; }
    /// In other pixels: all of the file if that was seen, else at the same scale from the same frame on.
    [[nodiscard]] Viewport resized(double width) const;

    bool operator==(const Viewport &) const = default;

private:
    [[nodiscard]] double wholeFile() const noexcept { return static_cast<double>(numFrames_) / width_; }
    [[nodiscard]] Viewport with(double firstFrame, double framesPerPixel) const;

    int64_t numFrames_ = 1;
    double width_ = 1;
    double firstFrame_ = 0;
    double framesPerPixel_ = 1;
};

/// How the view goes with the play line.
enum class Follow : std::uint8_t { Not, Page, Continuous };

/// The view after the line went from `before` to `now`. It follows a line that was seen: by whole pages, or smoothly
/// once the line has come to the middle. One that was not seen is left alone: the user looks at something else.
[[nodiscard]] Viewport followed(const Viewport &view, double before, double now, Follow mode);

} // namespace kxplayer
