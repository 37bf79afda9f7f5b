#pragma once

#include "KXFW/Platform/Toolkit/WidgetHandle.h"

#include <cstdint>
#include <functional>

// What sheets and panels end with, beside codes of the program's own.
inline constexpr int64_t NSModalResponseCancel = 0;
inline constexpr int64_t NSModalResponseOK = 1;
inline constexpr int64_t NSModalResponseStop = -1000;

/// A window of the screen, as a weak handle.
class KX_EXPORT NSWindow : public kx::WidgetHandle
{
public:
    using SheetCompletion = std::function<void(int64_t returnCode)>;

    NSWindow() = default;               ///< Empty. [any]
    explicit NSWindow(QWidget *widget); ///< Empty when it is no window. [main]

    // Sheets. All [main].

    /// Shows `sheet` over this window, which takes no input meanwhile, and returns at once. `completion` is called
    /// exactly once, whatever ends the sheet: from within `endSheet` with its code; with the dialog's own result, or
    /// NSModalResponseCancel, soon after the user has closed the sheet, or it or this window was closed or has gone.
    /// Over a window that is not shown, or when the sheet is already open, that is the case at once.
    void beginSheet(const NSWindow &sheet, SheetCompletion completion = {}) const;
    /// Ends a sheet that is open; otherwise nothing happens.
    void endSheet(const NSWindow &sheet, int64_t returnCode = NSModalResponseStop) const;
};
