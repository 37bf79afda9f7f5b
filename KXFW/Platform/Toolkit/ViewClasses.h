#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Toolkit/NSView.h"

#include <functional>
#include <memory>
#include <string>

namespace kx
{

/// The view classes that interface files may name: a widget that is promoted to such a class there becomes a view of
/// it.
class KX_EXPORT ViewClasses
{
public:
    using Make = std::function<std::shared_ptr<NSView>()>; ///< a new view, each time that it is called

    static void add(const std::string &name, Make make);         ///< A class of the same name is replaced. [main]
    [[nodiscard]] static bool contains(const std::string &name); ///< [main]
    /// A new view of the class; null when there is no such class. [main]
    [[nodiscard]] static std::shared_ptr<NSView> make(const std::string &name);
};

/// Makes `View` known under a name for as long as the program runs: a static object beside the class's code.
///
///     const kx::ViewClassRegistration<LevelMeter> registration("LevelMeter");
template <class View> struct ViewClassRegistration {
    explicit ViewClassRegistration(const std::string &name)
    {
        ViewClasses::add(name, [] { return std::make_shared<View>(); });
    }
};

} // namespace kx
