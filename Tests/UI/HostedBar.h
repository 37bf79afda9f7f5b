#pragma once

#include "KXFW/Platform/Toolkit/ViewWidget.h"
#include "Tests/UI/BarTesting.h"

#include <QWidget>

#include <memory>

namespace bar
{

/// A bar in its widget, 420 by 40, that stands for 441,000 frames: 1,102.5 frames a point from x = 10.
struct Hosted {
    explicit Hosted(QWidget *parent = nullptr) : widget(new kx::ViewWidget(view, parent))
    {
        widget->resize(420, 40);
        widget->backWithLayer();
        widget->awake();
        view->setDelegate(delegate);
        view->setNumFrames(441000);
        setRange(*view, 44100, 220500);
        view->setInternalPlayFrame(110250);
        view->setEnabled(true);
    }

    std::shared_ptr<Listener> delegate = std::make_shared<Listener>();
    std::shared_ptr<KXPlayPositionView> view = std::make_shared<KXPlayPositionView>();
    kx::ViewWidget *widget; ///< owned by its parent
};

} // namespace bar
