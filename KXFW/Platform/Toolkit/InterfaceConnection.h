#pragma once

#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Toolkit/InterfaceFile.h"
#include "KXFW/Platform/Toolkit/NibConnections.h"
#include "KXFW/Platform/Toolkit/TopLevelObjects.h"

#include <functional>
#include <memory>
#include <string>

namespace kx
{

/// Gives the interface file of a name, or throws.
using InterfaceSource = std::function<InterfaceFile(const std::string &name)>;

/// Loads a screen: the file `name`, and those that its root names as `topLevelObjects`. Its outlets, actions and
/// delegates are connected over all of them together, then the views awake, inner ones before those around them. The
/// owner is borrowed: once it is gone, controls do nothing. Throws one error that lists all that is wrong; no widget
/// stays behind then. [main]
[[nodiscard]] std::unique_ptr<TopLevelObjects> loadScreen(const std::string &name, const InterfaceSource &source,
                                                          const std::shared_ptr<NSObject> &owner,
                                                          const NibConnections &connections);

} // namespace kx
