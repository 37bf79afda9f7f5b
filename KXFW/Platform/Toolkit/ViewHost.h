#pragma once

#include "KXFW/Platform/Layers/LayerHost.h"

class NSView;

namespace kx
{

/// What holds a view and its layers on the screen: a widget of the toolkit.
class ViewHost : public LayerHost
{
public:
    /// This part of the view, in its bounds, has to be painted anew. [main]
    virtual void setNeedsDisplay(const NSRect &area) = 0;
    /// Whether the user can use what is in here; while not, no event comes. [main]
    [[nodiscard]] virtual bool hostIsEnabled() const = 0;

    /// Who shows the view from now on, borrowed: set it to null before it goes. [main]
    static void set(NSView &view, ViewHost *host);

protected:
    ~ViewHost() = default;
};

} // namespace kx
