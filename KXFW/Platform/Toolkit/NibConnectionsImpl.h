#pragma once

#include "KXFW/Platform/Toolkit/NibConnections.h"

#include <map>
#include <vector>

/// What was declared.
struct kx::NibConnections::Impl {
    struct Outlet {
        std::string name;                    ///< the name of the object in the file
        const std::type_info *wanted;        ///< a handle or a view class
        std::function<bool(QWidget *)> take; ///< whether the object is of that class; it is put in its place if so
    };

    std::vector<Outlet> outlets;
    std::map<std::string, Action> actions;
};
