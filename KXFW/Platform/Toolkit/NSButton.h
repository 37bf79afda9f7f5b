#pragma once

#include "KXFW/Platform/Toolkit/NSControl.h"

inline constexpr int64_t NSOffState = 0;
inline constexpr int64_t NSOnState = 1;

/// A push button, check box or radio button; its action is sent when the user clicks it.
class KX_EXPORT NSButton : public NSControl
{
public:
    NSButton() = default;               ///< Empty. [any]
    explicit NSButton(QWidget *widget); ///< Empty when it is no button. [main]

    // All [main].

    /// The title as it is shown, without the mark of a mnemonic.
    [[nodiscard]] std::string title() const;
    void setTitle(const std::string &title) const;
    /// NSOnState while a check box is ticked or a toggle is down.
    [[nodiscard]] int64_t state() const;
    void setState(int64_t state) const; ///< Any value but NSOffState is on.
};
