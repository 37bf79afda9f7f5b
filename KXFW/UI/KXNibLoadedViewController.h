#pragma once

#include "KXFW/Platform/Toolkit/NSViewController.h"

#include <memory>
#include <optional>
#include <string>
#include <typeinfo>

/// A view controller with a one-call factory. A subclass takes over the constructor (`using
/// KXNibLoadedViewController::KXNibLoadedViewController`) and gives the name of its interface file with a `nibName` of
/// its own. Main thread only.
class KX_EXPORT KXNibLoadedViewController : public NSViewController
{
public:
    using NSViewController::NSViewController;

    /// The interface file of the class; without one the file is named as the class. [any]
    [[nodiscard]] static std::optional<std::string> nibName() { return std::nullopt; }

    /// A new controller of class `Class`, with that class's interface file and the bundle of its code. A class that
    /// receives the call has to be named (`viewController<Screen>()`); without a name it is the base. Nothing is loaded
    /// yet. [main]
    template <class Class = KXNibLoadedViewController> [[nodiscard]] static std::shared_ptr<Class> viewController()
    {
        return std::make_shared<Class>(Class::nibName(), NSBundle::bundleForClass(typeid(Class)));
    }

    ~KXNibLoadedViewController() override; ///< [any]
};
