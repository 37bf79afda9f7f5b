#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <memory>

class QWidget;

namespace kx
{

/// A weak reference to a widget, as a value. Once the widget is gone, or without one, it is empty: what is read through
/// it is 0 or empty, and what is written does nothing. Copied on any thread, used on the main thread.
class KX_EXPORT WidgetHandle
{
public:
    WidgetHandle() = default;               ///< Empty. [any]
    explicit WidgetHandle(QWidget *widget); ///< [main]

    [[nodiscard]] QWidget *widget() const noexcept;                         ///< Null when empty. [main]
    explicit operator bool() const noexcept { return widget() != nullptr; } ///< [main]
    bool operator==(const WidgetHandle &other) const noexcept               ///< Of the same widget. [main]
    {
        return widget() == other.widget();
    }

private:
    struct Token; ///< keeps the toolkit's types out of here
    std::shared_ptr<const Token> token_;
};

} // namespace kx
