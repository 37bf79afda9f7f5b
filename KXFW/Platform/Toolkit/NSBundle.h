#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <memory>
#include <optional>
#include <string>
#include <typeinfo>

/// A binary that brings interface files: the program, or a library. They are built into it as resources, in a folder
/// that is named as the binary: `:/KXFWUI` of libKXFWUI.so.1, `:/kxplayer` of the program kxplayer. A value.
class KX_EXPORT NSBundle
{
public:
    explicit NSBundle(std::string name);        ///< [any]
    ~NSBundle();                                ///< [any]
    NSBundle(const NSBundle &other);            ///< [any]
    NSBundle &operator=(const NSBundle &other); ///< [any]
    /// The binary that holds the class's code: bundleForClass(typeid(Class)). [any]
    [[nodiscard]] static NSBundle bundleForClass(const std::type_info &cls);

    [[nodiscard]] const std::string &name() const noexcept; ///< [any]
    bool operator==(const NSBundle &other) const noexcept;  ///< [any]

    /// The resource of the interface file of that name, given without ".ui": the bundle's own, else the framework's, so
    /// that a program finds those which are linked into it. None when there is no such file. A name never leads out of
    /// these folders. [any]
    [[nodiscard]] std::optional<std::string> pathForInterfaceFile(const std::string &file) const;

private:
    struct Impl;
    std::shared_ptr<const Impl> impl_;
};
