#include "KXFW/Platform/Toolkit/WidgetHandle.h"

#include <QPointer>
#include <QWidget>

struct kx::WidgetHandle::Token {
    QPointer<QWidget> widget;
};

kx::WidgetHandle::WidgetHandle(QWidget *widget)
    : token_(widget ? std::make_shared<const Token>(Token{widget}) : nullptr)
{
}

QWidget *kx::WidgetHandle::widget() const noexcept
{
    return token_ ? token_->widget.data() : nullptr;
}
