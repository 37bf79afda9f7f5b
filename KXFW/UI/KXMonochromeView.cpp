#include "KXFW/UI/KXMonochromeView.h"

#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Toolkit/NSGraphics.h"
#include "KXFW/Platform/Toolkit/ViewClasses.h"

namespace
{

const kx::ViewClassRegistration<KXMonochromeView> registeredKXMonochromeView("KXMonochromeView");

} // namespace

void KXMonochromeView::drawRect(const NSRect &dirtyRect)
{
    NSView::drawRect(dirtyRect);
    NSColor::blueColor().set();
    NSFrameRect(dirtyRect);
}
