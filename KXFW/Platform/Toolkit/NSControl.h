#pragma once

#include "KXFW/Platform/Toolkit/WidgetHandle.h"

#include <cstdint>
#include <string>

/// A control of a screen: a weak handle to a widget that shows a value and may send an action. The value can be read
/// and set as text or as a number, whatever the widget shows; a text is read as the number it begins with. What the
/// program sets sends no action.
class KX_EXPORT NSControl : public kx::WidgetHandle
{
public:
    using kx::WidgetHandle::WidgetHandle;

    // All [main].

    [[nodiscard]] bool enabled() const;
    void setEnabled(bool enabled) const;
    /// UTF-8, shown as it stands: never as markup.
    [[nodiscard]] std::string stringValue() const;
    void setStringValue(const std::string &value) const;
    /// The value cut to an integer of that width, the nearest one where it is too large.
    [[nodiscard]] int32_t intValue() const;
    [[nodiscard]] int64_t integerValue() const;
    void setIntegerValue(int64_t value) const;
    [[nodiscard]] double doubleValue() const;
    void setDoubleValue(double value) const;
};
