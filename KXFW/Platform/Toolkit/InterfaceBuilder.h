#pragma once

#include "KXFW/Platform/Toolkit/InterfaceFile.h"

#include <QWidget>

#include <memory>
#include <string>
#include <vector>

namespace kx
{

/// The widgets that an interface file describes.
struct Interface {
    std::string path;
    std::unique_ptr<QWidget> root;
    std::vector<QWidget *> widgets; ///< those of the file, in its order; the root first
};

/// Whether interface files may name the class: a view's (kx::ViewClasses), or the toolkit's. [main]
[[nodiscard]] bool isWidgetClass(const QString &name);

/// Whether the toolkit has a layout of that class; it follows a null pointer where a file names another one. [main]
[[nodiscard]] bool isLayoutClass(const QString &name);

/// Makes the widgets of a file, unconnected. Throws when the file is no good; no widget stays behind then. What the
/// toolkit finds fault with but does not stop at goes to the log, with the file's name. [main]
[[nodiscard]] Interface makeInterface(const InterfaceFile &file);

} // namespace kx
