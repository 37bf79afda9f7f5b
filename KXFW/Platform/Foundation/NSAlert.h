#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>
#include <string>
#include <utility>

/// A message for the user. How it is shown is installed from above, by the toolkit where there is one; without that,
/// showing it writes a log line.
class KX_EXPORT NSAlert
{
public:
    /// Shows an alert and returns when the user has answered it.
    using Presenter = std::function<void(const NSAlert &)>;

    // The texts. All [main].
    [[nodiscard]] const std::string &messageText() const noexcept { return messageText_; }
    void setMessageText(std::string text) { messageText_ = std::move(text); }
    [[nodiscard]] const std::string &informativeText() const noexcept { return informativeText_; }
    void setInformativeText(std::string text) { informativeText_ = std::move(text); }

    /// Shows the alert. [main] [blocks]
    void runModal() const;

    /// How every alert is shown from now on; an empty presenter brings the log line back. [main]
    static void setPresenter(Presenter presenter);

private:
    std::string messageText_;
    std::string informativeText_;
};
