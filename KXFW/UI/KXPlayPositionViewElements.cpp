#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/UI/KXPlayPositionView.h"
#include "KXFW/UI/SpokenTime.h"

#include <algorithm>
#include <array>
#include <utility>

namespace
{

using View = KXPlayPositionView;
using Limits = std::pair<int64_t, int64_t>; ///< frames, both included; in order

constexpr int64_t kStep = 4410; // 0.1 s
constexpr int64_t kPage = 5 * 44100;

/// A part of the bar that moves.
struct Handle {
    const char *name; ///< key in the framework's texts
    std::shared_ptr<CALayer> (*layer)(const View &view);
    int64_t (View::*frame)() const noexcept;
    Limits (*limits)(const View &view);
    void (View::*setFrame)(int64_t frame);
    void (KXPlayPositionViewDelegate::*tell)(int64_t frame);
};

Limits playLimits(const View &view)
{
    return {0, std::max<int64_t>(view.endFrame(), 0)};
}

Limits startLimits(const View &view)
{
    return {0, std::max(view.endFrame(), kMinimumLoopRange) - kMinimumLoopRange};
}

Limits endLimits(const View &view)
{
    const int64_t length = std::max<int64_t>(view.numFrames(), 0);
    const int64_t room = length - kMinimumLoopRange;
    return {view.startFrame() < room ? view.startFrame() + kMinimumLoopRange : length, length};
}

constexpr std::array handles{
    Handle{"Play position", [](const View &view) -> std::shared_ptr<CALayer> { return view.playFrameLayer(); },
           &View::internalPlayFrame, playLimits, &View::setInternalPlayFrame,
           &KXPlayPositionViewDelegate::PlayPositionViewDidChangePlayFrame},
    Handle{"Loop start", [](const View &view) -> std::shared_ptr<CALayer> { return view.startFrameLayer(); },
           &View::startFrame, startLimits, &View::setStartFrame,
           &KXPlayPositionViewDelegate::PlayPositionViewDidChangeStartFrame},
    Handle{"Loop end", [](const View &view) -> std::shared_ptr<CALayer> { return view.endFrameLayer(); },
           &View::endFrame, endLimits, &View::setEndFrame,
           &KXPlayPositionViewDelegate::PlayPositionViewDidChangeEndFrame},
};

/// A handle for keys and screen readers. Without its view it is disabled, at 0, and does nothing.
class HandleElement : public kx::SliderElement
{
public:
    HandleElement(std::weak_ptr<View> view, const Handle &handle) : view_(std::move(view)), handle_(handle) {}

    [[nodiscard]] std::string name() const override
    {
        return kx::StringTable::framework().localizedStringForKey(handle_.name);
    }
    [[nodiscard]] std::string valueText() const override { return kx::spokenTime(value()); }
    [[nodiscard]] bool enabled() const override
    {
        const auto view = view_.lock();
        return view && view->enabled();
    }
    [[nodiscard]] NSRect frame() const override
    {
        const auto view = view_.lock();
        const auto layer = view ? handle_.layer(*view) : nullptr;
        return layer ? layer->frame() : NSRect{};
    }
    [[nodiscard]] int64_t value() const override
    {
        const auto view = view_.lock();
        return view ? ((*view).*handle_.frame)() : 0;
    }
    [[nodiscard]] int64_t minimum() const override { return limits().first; }
    [[nodiscard]] int64_t maximum() const override { return limits().second; }
    [[nodiscard]] int64_t step() const override { return kStep; }
    [[nodiscard]] int64_t page() const override { return kPage; }

    void move(int64_t value) override
    {
        const auto view = view_.lock();
        if (!view || !view->enabled() || view->isDragging())
            return;
        const int64_t frame = std::clamp(value, minimum(), maximum());
        if (frame == this->value())
            return;
        ((*view).*handle_.setFrame)(frame);
        if (const auto told = view->delegate())
            ((*told).*handle_.tell)(frame);
    }

private:
    [[nodiscard]] Limits limits() const
    {
        const auto view = view_.lock();
        return view ? handle_.limits(*view) : Limits{};
    }

    std::weak_ptr<View> view_;
    const Handle &handle_;
};

} // namespace

std::vector<std::shared_ptr<kx::SliderElement>> KXPlayPositionView::sliderElements()
{
    const auto view = std::static_pointer_cast<KXPlayPositionView>(weak_from_this().lock());
    std::vector<std::shared_ptr<kx::SliderElement>> elements;
    elements.reserve(handles.size());
    for (const Handle &handle : handles)
        elements.push_back(std::make_shared<HandleElement>(view, handle));
    return elements;
}
