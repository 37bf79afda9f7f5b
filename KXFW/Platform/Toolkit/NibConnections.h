#pragma once

#include "KXFW/Platform/Foundation/Export.h"
#include "KXFW/Platform/Toolkit/NSControl.h"
#include "KXFW/Platform/Toolkit/NSView.h"

#include <functional>
#include <memory>
#include <string>
#include <typeinfo>

namespace kx
{

class InterfaceConnector;

/// The view that lives in a widget; null for any other widget. [main]
[[nodiscard]] KX_EXPORT std::shared_ptr<NSView> viewOf(QWidget *widget);

/// What an interface file can be connected to: places for the objects of the screen, and what its controls do, under
/// the names that the file uses. Made by a view controller for one loading. Main thread only.
///
///     void Screen::declareConnections(kx::NibConnections &connections)
///     {
///         connections.outlet("playButton", playButton_);
///         connections.action("clickPlayButton:", this, &Screen::clickPlayButton);
///     }
class KX_EXPORT NibConnections
{
public:
    /// What a control does, given itself.
    using Action = std::function<void(const NSControl &sender)>;

    NibConnections();  ///< [main]
    ~NibConnections(); ///< [main]
    NibConnections(const NibConnections &) = delete;
    NibConnections &operator=(const NibConnections &) = delete;

    /// The control or window of that name, as a handle: NSButton, NSTextField, NSWindow, ... [main]
    template <class Handle> void outlet(const std::string &name, Handle &place)
    {
        addOutlet(name, typeid(Handle), [&place](QWidget *widget) {
            const Handle handle(widget);
            if (handle)
                place = handle;
            return static_cast<bool>(handle);
        });
    }

    /// The view of that name. [main]
    template <class View> void outlet(const std::string &name, std::weak_ptr<View> &place)
    {
        addOutlet(name, typeid(View), [&place](QWidget *widget) {
            const auto view = std::dynamic_pointer_cast<View>(viewOf(widget));
            if (view)
                place = view;
            return view != nullptr;
        });
    }

    /// What controls do that name the action, such as "clickPlayButton:". The owner of the connections is alive while
    /// `run` runs; once it is gone, controls do nothing. A name that is there already means this from now on. [main]
    void action(const std::string &name, Action run);
    /// The same with an operation of the owner. [main]
    template <class Owner> void action(const std::string &name, Owner *owner, void (Owner::*run)(const NSControl &))
    {
        action(name, [owner, run](const NSControl &sender) { (owner->*run)(sender); });
    }

private:
    friend class InterfaceConnector;

    /// `take` tells whether the object is of the class, a handle's or a view's, and puts it in its place if so.
    void addOutlet(const std::string &name, const std::type_info &wanted, std::function<bool(QWidget *)> take);

    struct Impl;
    const std::unique_ptr<Impl> impl_;
};

} // namespace kx
