// A transport bar without a window, and a delegate that keeps what it hears.
#pragma once

#include "KXFW/UI/KXPlayPositionView.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace bar
{

using Heard = std::vector<std::pair<std::string, int64_t>>;

struct Listener : NSObject, KXPlayPositionViewDelegate {
    void PlayPositionViewDidChangePlayFrame(int64_t frame) override { hear("play", frame); }
    void PlayPositionViewDidChangeStartFrame(int64_t frame) override { hear("start", frame); }
    void PlayPositionViewDidChangeEndFrame(int64_t frame) override { hear("end", frame); }

    void hear(const char *what, int64_t frame)
    {
        heard.emplace_back(what, frame);
        answer();
    }
    Heard take() { return std::exchange(heard, {}); }

    Heard heard;
    std::function<void()> answer = [] {};
};

/// An enabled view, 40 points high, of a file of `frames` frames with its whole as the range.
inline std::shared_ptr<KXPlayPositionView> view(double width, int64_t frames, NSPoint origin = {})
{
    auto made = std::make_shared<KXPlayPositionView>();
    made->setWantsLayer(true);
    made->setFrame({origin, {width, 40}});
    made->awakeFromNib();
    made->setNumFrames(frames);
    made->setEndFrame(frames);
    made->setEnabled(true);
    return made;
}

inline void setRange(KXPlayPositionView &view, int64_t start, int64_t end)
{
    view.setStartFrame(start);
    view.setEndFrame(end);
}

} // namespace bar
