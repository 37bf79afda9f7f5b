/// @file
/// The library's objects with owners.
#pragma once

#include <lilv/lilv.h>

#include <memory>
#include <string>

namespace kx
{

template <auto end> struct LilvEnd {
    template <class T> void operator()(T *object) const noexcept { end(object); }
};

using LilvWorldPtr = std::unique_ptr<LilvWorld, LilvEnd<lilv_world_free>>;
using LilvNodePtr = std::unique_ptr<LilvNode, LilvEnd<lilv_node_free>>;
using LilvNodesPtr = std::unique_ptr<LilvNodes, LilvEnd<lilv_nodes_free>>;
using LilvInstancePtr = std::unique_ptr<LilvInstance, LilvEnd<lilv_instance_free>>;

/// Empty for null.
inline std::string textOf(const LilvNode *node)
{
    const char *const text = node ? lilv_node_as_string(node) : nullptr;
    return text ? text : "";
}

} // namespace kx
