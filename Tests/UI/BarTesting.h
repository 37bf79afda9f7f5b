// A transport bar without a window or in a widget, and a delegate that keeps what it hears.
#pragma once

#include "KXFW/Platform/Toolkit/ViewWidget.h"
#include "KXFW/UI/KXPlayPositionView.h"

#include <QLineEdit>

#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace bar
{

constexpr int64_t kLargest = std::numeric_limits<int64_t>::max();
constexpr int64_t kSmallest = std::numeric_limits<int64_t>::min();

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

inline void setRange(KXPlayPositionView &view, int64_t start, int64_t end)
{
    view.setStartFrame(start);
    view.setEndFrame(end);
}

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

/// A bar in its widget, 420 by 40, that stands for 441,000 frames: 1,102.5 frames a point from x = 10.
struct Hosted {
    explicit Hosted(QWidget *parent = nullptr) : widget(new kx::ViewWidget(view, parent))
    {
        widget->resize(420, 40);
        widget->backWithLayer();
        if (parent)
            after = new QLineEdit(parent);
        widget->awake();
        view->setDelegate(delegate);
        view->setNumFrames(441000);
        setRange(*view, 44100, 220500);
        view->setInternalPlayFrame(110250);
        view->setEnabled(true);
    }

    std::shared_ptr<Listener> delegate = std::make_shared<Listener>();
    std::shared_ptr<KXPlayPositionView> view = std::make_shared<KXPlayPositionView>();
    kx::ViewWidget *widget;     ///< owned by its parent, where it has one
    QLineEdit *after = nullptr; ///< stands there, made before the bar awoke
};

} // namespace bar
