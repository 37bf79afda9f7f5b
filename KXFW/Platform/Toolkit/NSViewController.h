#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Toolkit/NSBundle.h"
#include "KXFW/Platform/Toolkit/NSWindow.h"

#include <memory>
#include <optional>
#include <string>

class QWidget;

namespace kx
{
class NibConnections;
} // namespace kx

/// Owns a screen that comes out of an interface file, and does what its controls ask for. The file is loaded when the
/// view is first wanted. The controller owns the view until it is put into a parent (a window's layout, a splitter),
/// which owns it from then on; either may go first. Once the controller is gone, the screen does nothing.
///
/// Made with std::make_shared. Main thread only.
class KX_EXPORT NSViewController : public NSObject, public std::enable_shared_from_this<NSViewController>
{
public:
    /// Without a name the file is named as the class, without its namespaces; without a bundle it is that of the class.
    /// Nothing is loaded yet. [main]
    explicit NSViewController(std::optional<std::string> nibName = std::nullopt,
                              std::optional<NSBundle> bundle = std::nullopt);
    ~NSViewController() override; ///< [any]

    // All [main].

    [[nodiscard]] const std::optional<std::string> &nibName() const noexcept; ///< As it was given.
    /// As it was given, else that of the object's class.
    [[nodiscard]] NSBundle nibBundle() const;

    /// The root of the screen. The first call loads it; it throws NSNibLoadingException, whose reason names the file
    /// and all that is wrong with it, or what `viewDidLoad` throws, and the next call tries again. Null while the file
    /// is being loaded, and once the view has gone with its parent.
    [[nodiscard]] QWidget *view();
    /// Whether the screen has been loaded.
    [[nodiscard]] bool isViewLoaded() const noexcept;
    /// The window that the view stands in: the view itself where it has no parent. Loads nothing: empty before.
    [[nodiscard]] NSWindow window() const;

    /// The screen is loaded and connected, its views are awake. A subclass calls the one of its base first.
    virtual void viewDidLoad();

protected:
    /// Names what the interface file connects: outlets, which must all be there, and actions. The base has none; a
    /// subclass calls the one of its base, then adds its own. [main]
    virtual void declareConnections(kx::NibConnections &connections);

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};
