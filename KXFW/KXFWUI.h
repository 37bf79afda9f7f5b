/// @file
/// The public interface of libKXFWUI: views and screens over Qt, with the services that they stand on, and all of
/// libKXFW's.
#pragma once

#include "KXFW/KXFW.h"

#include "KXFW/Platform/Foundation/NSColor.h"
#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Layers/CAShapeLayer.h"
#include "KXFW/Platform/Layers/CATransaction.h"
#include "KXFW/Platform/Toolkit/NSBundle.h"
#include "KXFW/Platform/Toolkit/NSButton.h"
#include "KXFW/Platform/Toolkit/NSControl.h"
#include "KXFW/Platform/Toolkit/NSGraphics.h"
#include "KXFW/Platform/Toolkit/NSProgressIndicator.h"
#include "KXFW/Platform/Toolkit/NSSavePanel.h"
#include "KXFW/Platform/Toolkit/NSSlider.h"
#include "KXFW/Platform/Toolkit/NSTextField.h"
#include "KXFW/Platform/Toolkit/NSTimer.h"
#include "KXFW/Platform/Toolkit/NSView.h"
#include "KXFW/Platform/Toolkit/NSViewController.h"
#include "KXFW/Platform/Toolkit/NSWindow.h"
#include "KXFW/Platform/Toolkit/NibConnections.h"
#include "KXFW/Platform/Toolkit/SliderElement.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"
#include "KXFW/Platform/Toolkit/ViewClasses.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"
#include "KXFW/UI/KXAEndRangeKnobLayer.h"
#include "KXFW/UI/KXAFilePlayerViewController.h"
#include "KXFW/UI/KXARangeKnobLayer.h"
#include "KXFW/UI/KXPlayPositionView.h"
#include "KXFW/UI/KXPlayPositionViewDelegate.h"
