#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <functional>

namespace kx
{

/// What the toolkit calls runs in here: an exception does not reach the toolkit's event loop, it is logged, and shown
/// to the user once control is back there. [main]
KX_EXPORT void atToolkitEdge(const char *where, const std::function<void()> &task);

/// Hands the main queue's tasks to the toolkit's event loop and shows alerts as its dialogs, until the application
/// object goes. Views and view controllers do this when they come; without an application object nothing happens.
/// [main]
KX_EXPORT void installToolkit();

} // namespace kx
