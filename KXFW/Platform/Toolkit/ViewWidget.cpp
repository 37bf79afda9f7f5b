#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include "KXFW/Platform/Layers/RectMath.h"
#include "KXFW/Platform/Toolkit/ElementWidget.h"
#include "KXFW/Platform/Toolkit/LayerPainter.h"
#include "KXFW/Platform/Toolkit/MousePosition.h"
#include "KXFW/Platform/Toolkit/NSGraphics.h"
#include "KXFW/Platform/Toolkit/PaintPacer.h"
#include "KXFW/Platform/Toolkit/QtGeometry.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QMouseEvent>
#include <QPainter>

#include <utility>

namespace
{

constexpr double kSoftEdge = 1; // points that antialiasing may reach beyond an area

} // namespace

kx::ViewWidget::ViewWidget(std::shared_ptr<NSView> view, QWidget *parent)
    : QWidget(parent), view_(std::move(view)),
      pacer_(std::make_unique<PaintPacer>(*this, [this] { refreshElements(); }))
{
    installToolkit();
    view_->setHost(this);
}

kx::ViewWidget::~ViewWidget()
{
    view_->setHost(nullptr);
}

void kx::ViewWidget::backWithLayer()
{
    view_->setWantsLayer(true);
}

void kx::ViewWidget::awake()
{
    placeView();
    view_->awakeFromNib();
    // The elements' place in the Tab order is the view's, whatever was made after it; the toolkit orders stops only.
    setFocusPolicy(Qt::TabFocus);
    QWidget *before = this;
    for (const auto &element : view_->sliderElements()) {
        elements_.push_back(new ElementWidget(element, this));
        setTabOrder(before, elements_.back());
        before = elements_.back();
    }
    setFocusPolicy(Qt::NoFocus);
}

void kx::ViewWidget::setNeedsDisplay(const NSRect &area)
{
    const QRectF turned = flipped(toQt(grown(area, kSoftEdge)), height());
    pacer_->add(alignedWithin(turned, rect()));
}

void kx::ViewWidget::layersDidChange(const std::vector<NSRect> &areas)
{
    for (const NSRect &area : areas)
        setNeedsDisplay(area);
}

void kx::ViewWidget::refreshElements()
{
    atToolkitEdge("The view could not be laid out.", [this] {
        for (ElementWidget *element : elements_)
            element->refresh();
    });
}

void kx::ViewWidget::placeView()
{
    const QPointF corner = mapTo(window(), QPointF(0, height()));
    view_->setFrame({{corner.x(), window()->height() - corner.y()}, {double(width()), double(height())}});
}

void kx::ViewWidget::paintEvent(QPaintEvent *event)
{
    pacer_->painted();
    atToolkitEdge("The view could not be drawn.", [&] {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(0, height());
        painter.scale(1, -1);
        const NSRect dirty = fromQt(flipped(event->rect(), height()));
        {
            const DrawingScope scope(painter);
            view_->drawRect(dirty);
        }
        if (view_->layer())
            paintLayers(painter, *view_->layer(), dirty);
    });
}

bool kx::ViewWidget::event(QEvent *event)
{
    const bool ends = event->type() == QEvent::WindowDeactivate || event->type() == QEvent::EnabledChange;
    const bool known = QWidget::event(event);
    if (event->type() == QEvent::EnabledChange)
        atToolkitEdge("The view could not be laid out.", [this] { view_->hostDidChangeEnabled(); });
    if (ends)
        release(lastPosition_); // last: what hears of the release may delete this widget
    return known;
}

void kx::ViewWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    atToolkitEdge("The view could not be laid out.", [this] { placeView(); });
}

void kx::ViewWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    atToolkitEdge("The view could not be laid out.", [this] { placeView(); });
}

void kx::ViewWidget::hideEvent(QHideEvent *event)
{
    release(lastPosition_);
    QWidget::hideEvent(event);
}

void kx::ViewWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || pressed_)
        return event->ignore();
    pressed_ = true;
    setMouseTracking(true); // a move without the button shows a release that went elsewhere
    send(&NSView::mouseDown, positionInWindow(*this, *event));
}

void kx::ViewWidget::mouseMoveEvent(QMouseEvent *event)
{
    if (!pressed_)
        return event->ignore();
    if (event->buttons() & Qt::LeftButton)
        send(&NSView::mouseDragged, positionInWindow(*this, *event));
    else
        release(positionInWindow(*this, *event));
}

void kx::ViewWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return event->ignore();
    release(positionInWindow(*this, *event));
}

void kx::ViewWidget::release(QPointF inWindow)
{
    if (!std::exchange(pressed_, false))
        return;
    setMouseTracking(false);
    send(&NSView::mouseUp, inWindow);
}

void kx::ViewWidget::send(void (NSView::*handler)(const NSEvent &), QPointF inWindow)
{
    lastPosition_ = inWindow;
    atToolkitEdge("The action failed.", [&] {
        placeView();                                // the view may stand elsewhere in its window since the last layout
        const std::shared_ptr<NSView> kept = view_; // the handler may close the window
        ((*kept).*handler)(NSEvent({inWindow.x(), window()->height() - inWindow.y()}));
    });
}
