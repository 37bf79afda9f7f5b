#include "KXFW/Platform/Toolkit/ViewWidget.h"

#include "KXFW/Platform/Layers/RectMath.h"
#include "KXFW/Platform/Toolkit/DrawingScope.h"
#include "KXFW/Platform/Toolkit/ElementWidget.h"
#include "KXFW/Platform/Toolkit/LayerPainter.h"
#include "KXFW/Platform/Toolkit/MousePosition.h"
#include "KXFW/Platform/Toolkit/PaintPacer.h"
#include "KXFW/Platform/Toolkit/QtGeometry.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"
#include "KXFW/Platform/Toolkit/ViewHost.h"

#include <QMouseEvent>
#include <QPainter>

#include <cmath>
#include <utility>
#include <vector>

namespace
{

constexpr double kSoftEdge = 1; // points that antialiasing may reach beyond an area

} // namespace

/// The widget as the view's host.
struct kx::ViewWidget::Impl final : ViewHost {
    Impl(ViewWidget &own, std::shared_ptr<NSView> shown)
        : widget(own), view(std::move(shown)), pacer(own, [this] { refreshElements(); })
    {
        set(*view, this);
    }
    ~Impl() { set(*view, nullptr); }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;

    void setNeedsDisplay(const NSRect &area) override;
    [[nodiscard]] bool hostIsEnabled() const override { return widget.isEnabled(); }
    void layersDidChange(const std::vector<NSRect> &areas) override;
    void addElements();
    void refreshElements();
    void placeView();
    void send(void (NSView::*handler)(const NSEvent &), QPointF inWindow);
    void release(QPointF inWindow);

    ViewWidget &widget;
    const std::shared_ptr<NSView> view;
    PaintPacer pacer;
    std::vector<ElementWidget *> elements; ///< children, in the order of the view's elements
    bool pressed = false;
    QPointF lastPosition;
};

void kx::ViewWidget::Impl::setNeedsDisplay(const NSRect &area)
{
    const QRectF turned = flipped(toQt(grown(area, kSoftEdge)), widget.height());
    pacer.add(alignedWithin(turned, widget.rect()));
}

void kx::ViewWidget::Impl::layersDidChange(const std::vector<NSRect> &areas)
{
    for (const NSRect &area : areas)
        setNeedsDisplay(area);
}

/// The toolkit orders stops only, and takes a stop for a whole with its children, no stop itself, when one of them is
/// its proxy.
void kx::ViewWidget::Impl::addElements()
{
    const auto stops = view->sliderElements();
    if (stops.empty())
        return;
    widget.setFocusPolicy(Qt::TabFocus);
    QWidget *before = &widget;
    for (const auto &element : stops) {
        elements.push_back(new ElementWidget(element, &widget));
        setTabOrder(before, elements.back());
        before = elements.back();
    }
    widget.setFocusProxy(elements.front());
}

void kx::ViewWidget::Impl::refreshElements()
{
    atToolkitEdge("The view could not be laid out.", [this] {
        for (ElementWidget *element : elements)
            element->refresh();
    });
}

void kx::ViewWidget::Impl::placeView()
{
    const QWidget *window = widget.window();
    const QPointF corner = widget.mapTo(window, QPointF(0, widget.height()));
    view->setFrame({{corner.x(), window->height() - corner.y()}, {double(widget.width()), double(widget.height())}});
}

void kx::ViewWidget::Impl::send(void (NSView::*handler)(const NSEvent &), QPointF inWindow)
{
    lastPosition = inWindow;
    atToolkitEdge("The action failed.", [&] {
        placeView();                               // the view may stand elsewhere in its window since the last layout
        const std::shared_ptr<NSView> kept = view; // the handler may close the window
        ((*kept).*handler)(NSEvent({inWindow.x(), widget.window()->height() - inWindow.y()}));
    });
}

void kx::ViewWidget::Impl::release(QPointF inWindow)
{
    if (!std::exchange(pressed, false))
        return;
    widget.setMouseTracking(false);
    send(&NSView::mouseUp, inWindow);
}

kx::ViewWidget::ViewWidget(std::shared_ptr<NSView> view, QWidget *parent)
    : QWidget(parent), impl_(std::make_unique<Impl>(*this, std::move(view)))
{
    installToolkit();
}

kx::ViewWidget::~ViewWidget()
{
    impl_->release(impl_->lastPosition); // the view may live on
}

const std::shared_ptr<NSView> &kx::ViewWidget::view() const noexcept
{
    return impl_->view;
}

void kx::ViewWidget::backWithLayer()
{
    impl_->view->setWantsLayer(true);
}

void kx::ViewWidget::awake()
{
    impl_->placeView();
    impl_->view->awakeFromNib();
    impl_->addElements();
}

QSize kx::ViewWidget::sizeHint() const
{
    const NSSize size = impl_->view->intrinsicContentSize();
    return {int(std::ceil(size.width)), int(std::ceil(size.height))};
}

QSize kx::ViewWidget::minimumSizeHint() const
{
    return sizeHint();
}

void kx::ViewWidget::paintEvent(QPaintEvent *event)
{
    impl_->pacer.painted();
    atToolkitEdge("The view could not be drawn.", [&] {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.translate(0, height());
        painter.scale(1, -1);
        const NSRect dirty = fromQt(flipped(event->rect(), height()));
        {
            const DrawingScope scope(painter);
            impl_->view->drawRect(dirty);
        }
        if (impl_->view->layer())
            paintLayers(painter, *impl_->view->layer(), dirty);
    });
}

bool kx::ViewWidget::event(QEvent *event)
{
    const bool ends = event->type() == QEvent::WindowDeactivate || event->type() == QEvent::EnabledChange;
    const bool known = QWidget::event(event);
    if (event->type() == QEvent::EnabledChange)
        atToolkitEdge("The view could not be laid out.", [this] { impl_->view->hostDidChangeEnabled(); });
    if (ends)
        impl_->release(impl_->lastPosition); // last: what hears of the release may delete this widget
    return known;
}

void kx::ViewWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    atToolkitEdge("The view could not be laid out.", [this] { impl_->placeView(); });
}

void kx::ViewWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    atToolkitEdge("The view could not be laid out.", [this] { impl_->placeView(); });
}

void kx::ViewWidget::hideEvent(QHideEvent *event)
{
    impl_->release(impl_->lastPosition);
    QWidget::hideEvent(event);
}

void kx::ViewWidget::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || impl_->pressed)
        return event->ignore();
    impl_->pressed = true;
    setMouseTracking(true); // a move without the button shows a release that went elsewhere
    impl_->send(&NSView::mouseDown, positionInWindow(*this, *event));
}

void kx::ViewWidget::mouseMoveEvent(QMouseEvent *event)
{
    if (!impl_->pressed)
        return event->ignore();
    if (event->buttons() & Qt::LeftButton)
        impl_->send(&NSView::mouseDragged, positionInWindow(*this, *event));
    else
        impl_->release(positionInWindow(*this, *event));
}

void kx::ViewWidget::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return event->ignore();
    impl_->release(positionInWindow(*this, *event));
}
