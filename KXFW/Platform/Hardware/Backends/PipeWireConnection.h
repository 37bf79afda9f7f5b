#pragma once

#include "KXFW/Platform/Hardware/Backends/PipeWireDevices.h"
#include "KXFW/Platform/Hardware/Backends/PipeWireLoop.h"

#include <functional>
#include <map>
#include <memory>
#include <pipewire/extensions/metadata.h>

namespace kx
{

/// One connection to a server, and what the server tells of its devices over it: nodes and, in an object called
/// "default", the names of the defaults. That object is the session manager's and goes with it, so that a server
/// without one has no default. Lives under the loop's lock.
///
/// The server answers in order. After anything that it tells we ask it for a sign; what has been told when that comes
/// is whole, and given on at once: a burst of news is one description. The default of a sink that has gone is none
/// until the session manager has chosen another, some milliseconds later.
class PipeWireConnection
{
public:
    struct Handlers {
        std::function<void(PipeWireDevices)> described;
        std::function<void()> broken; ///< once, and nothing after it; the connection must not be destroyed in it
    };

    /// Null when there is no server.
    static std::unique_ptr<PipeWireConnection> open(PipeWireLoop &loop, Handlers handlers);
    /// Nothing more is heard; streams of it are lost.
    ~PipeWireConnection();
    PipeWireConnection(const PipeWireConnection &) = delete;
    PipeWireConnection &operator=(const PipeWireConnection &) = delete;

    [[nodiscard]] pw_core *core() const noexcept { return core_; }

private:
    /// An object of the server that we listen to.
    struct Listened;
    struct Node;
    struct Defaults;

    PipeWireConnection(pw_core *core, Handlers handlers);

    void heardGlobal(uint32_t id, const char *type, const spa_dict *properties);
    void heardRemoval(uint32_t id);
    void heardSign(int sequence);
    void heardError(uint32_t id, int result);
    void askForSign();
    [[nodiscard]] PipeWireDevices devices() const;

    pw_core *const core_;
    Handlers handlers_;
    spa_hook coreHook_{};
    pw_registry *registry_ = nullptr;
    spa_hook registryHook_{};
    std::map<uint32_t, std::unique_ptr<Node>> nodes_; ///< by the server's number
    std::map<uint32_t, std::unique_ptr<Defaults>> defaults_;
    int awaitedSign_ = 0;
    bool hasBroken_ = false;
};

} // namespace kx
