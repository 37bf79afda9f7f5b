#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>
#include <memory>
#include <string>

/// A message for the user. How it is shown is installed from above, by the toolkit where there is one; without that,
/// showing it writes a log line. A value.
///
///     const auto alert = KXAudioUtil::alertWithMessage("Failed to read a file.", path.string());
///     alert->runModal();
class KX_EXPORT NSAlert
{
public:
    /// Shows an alert and returns when the user has answered it.
    using Presenter = std::function<void(const NSAlert &)>;

    // All [main].

    NSAlert(); ///< Without texts.
    ~NSAlert();
    NSAlert(const NSAlert &other);
    NSAlert &operator=(const NSAlert &other);

    // The texts, UTF-8 and shown as they stand: what happened in one short sentence, and what there is to know beside
    // it. All [main].
    [[nodiscard]] const std::string &messageText() const noexcept;
    void setMessageText(std::string text);
    [[nodiscard]] const std::string &informativeText() const noexcept;
    void setInformativeText(std::string text);

    /// Shows the alert. [main] [blocks]
    void runModal() const;

    /// How every alert is shown from now on; an empty presenter brings the log line back. [main]
    static void setPresenter(Presenter presenter);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
