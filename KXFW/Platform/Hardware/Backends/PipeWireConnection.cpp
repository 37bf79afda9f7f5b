#include "KXFW/Platform/Hardware/Backends/PipeWireConnection.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

namespace
{

constexpr const char *kPipeWireLabel = "KXFW pipewire";

std::string propertyOf(const spa_dict *properties, const char *key)
{
    const char *value = properties == nullptr ? nullptr : spa_dict_lookup(properties, key);
    return value == nullptr ? "" : value;
}

} // namespace

struct kx::PipeWireConnection::Listened {
    Listened(PipeWireConnection &owner, uint32_t id, const char *type, uint32_t version)
        : connection(owner), proxy(static_cast<pw_proxy *>(pw_registry_bind(owner.registry_, id, type, version, 0)))
    {
    }
    ~Listened()
    {
        if (proxy == nullptr)
            return;
        spa_hook_remove(&hook);
        pipeWire().proxy_destroy(proxy);
    }
    Listened(const Listened &) = delete;
    Listened &operator=(const Listened &) = delete;

    PipeWireConnection &connection;
    pw_proxy *proxy; ///< null where there is no memory
    spa_hook hook{};
};

struct kx::PipeWireConnection::Node : Listened {
    Node(PipeWireConnection &owner, uint32_t id, const spa_dict *properties)
        : Listened(owner, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE),
          described{.mediaClass = propertyOf(properties, PW_KEY_MEDIA_CLASS),
                    .name = propertyOf(properties, PW_KEY_NODE_NAME),
                    .description = propertyOf(properties, PW_KEY_NODE_DESCRIPTION),
                    .format = {}}
    {
        static const pw_node_events events{
            PW_VERSION_NODE_EVENTS,
            [](void *self, const pw_node_info *info) noexcept {
                runLogged(kPipeWireLabel, [&] { static_cast<Node *>(self)->heardInfo(*info); });
            },
            [](void *self, int, uint32_t what, uint32_t, uint32_t, const spa_pod *value) noexcept {
                runLogged(kPipeWireLabel, [&] { static_cast<Node *>(self)->heardParameter(what, value); });
            }};
        if (proxy == nullptr)
            return;
        auto *const node = reinterpret_cast<pw_node *>(proxy);
        pw_node_add_listener(node, &hook, &events, this);
        uint32_t wanted[] = {SPA_PARAM_EnumFormat};
        pw_node_subscribe_params(node, wanted, 1);
    }

    void heardInfo(const pw_node_info &info)
    {
        const std::string told = propertyOf(info.props, PW_KEY_NODE_DESCRIPTION);
        if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) == 0 || told == described.description)
            return;
        described.description = told;
        connection.askForSign();
    }

    /// The first of the formats that a node can have is the one it prefers.
    void heardParameter(uint32_t what, const spa_pod *value)
    {
        if (what != SPA_PARAM_EnumFormat || value == nullptr || described.format)
            return;
        described.format = playableFormat(value);
        connection.askForSign();
    }

    PipeWireNode described;
};

struct kx::PipeWireConnection::Defaults : Listened {
    Defaults(PipeWireConnection &owner, uint32_t id)
        : Listened(owner, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA)
    {
        static const pw_metadata_events events{
            PW_VERSION_METADATA_EVENTS,
            [](void *self, uint32_t subject, const char *key, const char *, const char *value) noexcept {
                runLogged(kPipeWireLabel, [&] { static_cast<Defaults *>(self)->heard(subject, key, value); });
                return 0;
            }};
        if (proxy != nullptr)
            pw_metadata_add_listener(reinterpret_cast<pw_metadata *>(proxy), &hook, &events, this);
    }

    /// No key: all of the subject's are gone.
    void heard(uint32_t subject, const char *key, const char *value)
    {
        if (subject != PW_ID_CORE)
            return;
        if (key == nullptr || std::string_view(key) == "default.audio.sink")
            output = pipeWireDefaultName(value);
        if (key == nullptr || std::string_view(key) == "default.audio.source")
            input = pipeWireDefaultName(value);
        connection.askForSign();
    }

    std::string output;
    std::string input;
};

std::unique_ptr<kx::PipeWireConnection> kx::PipeWireConnection::open(PipeWireLoop &loop, Handlers handlers)
{
    pw_core *const core = pipeWire().context_connect(loop.context(), nullptr, 0);
    if (core == nullptr)
        return nullptr;
    return std::unique_ptr<PipeWireConnection>(new PipeWireConnection(core, std::move(handlers)));
}

kx::PipeWireConnection::PipeWireConnection(pw_core *core, Handlers handlers)
    : core_(core), handlers_(std::move(handlers))
{
    static const pw_core_events coreEvents = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = [](void *self, uint32_t id, int sequence) noexcept {
            if (id == PW_ID_CORE)
                runLogged(kPipeWireLabel, [&] { static_cast<PipeWireConnection *>(self)->heardSign(sequence); });
        };
        events.error = [](void *self, uint32_t id, int, int result, const char *) noexcept {
            runLogged(kPipeWireLabel, [&] { static_cast<PipeWireConnection *>(self)->heardError(id, result); });
        };
        return events;
    }();
    static const pw_registry_events registryEvents{
        PW_VERSION_REGISTRY_EVENTS,
        [](void *self, uint32_t id, uint32_t, const char *type, uint32_t, const spa_dict *properties) noexcept {
            runLogged(kPipeWireLabel,
                      [&] { static_cast<PipeWireConnection *>(self)->heardGlobal(id, type, properties); });
        },
        [](void *self, uint32_t id) noexcept {
            runLogged(kPipeWireLabel, [&] { static_cast<PipeWireConnection *>(self)->heardRemoval(id); });
        }};
    // First of all listeners: a stream of this connection hears of its end after us.
    pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    if (registry_ != nullptr)
        pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
    askForSign();
}

kx::PipeWireConnection::~PipeWireConnection()
{
    nodes_.clear();
    defaults_.clear();
    if (registry_ != nullptr) {
        spa_hook_remove(&registryHook_);
        pipeWire().proxy_destroy(reinterpret_cast<pw_proxy *>(registry_));
    }
    spa_hook_remove(&coreHook_);
    pipeWire().core_disconnect(core_);
}

void kx::PipeWireConnection::heardGlobal(uint32_t id, const char *type, const spa_dict *properties)
{
    const std::string_view kind = type;
    if (kind == PW_TYPE_INTERFACE_Node && propertyOf(properties, PW_KEY_MEDIA_CLASS).starts_with("Audio/"))
        nodes_[id] = std::make_unique<Node>(*this, id, properties);
    else if (kind == PW_TYPE_INTERFACE_Metadata && propertyOf(properties, PW_KEY_METADATA_NAME) == "default")
        defaults_[id] = std::make_unique<Defaults>(*this, id);
    else
        return;
    askForSign();
}

void kx::PipeWireConnection::heardRemoval(uint32_t id)
{
    if (nodes_.erase(id) + defaults_.erase(id) > 0)
        askForSign();
}

void kx::PipeWireConnection::askForSign()
{
    awaitedSign_ = pw_core_sync(core_, PW_ID_CORE, awaitedSign_);
}

void kx::PipeWireConnection::heardSign(int sequence)
{
    if (sequence == awaitedSign_ && !hasBroken_)
        handlers_.described(devices());
}

/// Errors of other objects are their own, as of a node that went before we asked it.
void kx::PipeWireConnection::heardError(uint32_t id, int result)
{
    if (id == PW_ID_CORE && result == -EPIPE && !std::exchange(hasBroken_, true))
        handlers_.broken();
}

kx::PipeWireDevices kx::PipeWireConnection::devices() const
{
    PipeWireDevices devices;
    for (const auto &[id, node] : nodes_)
        devices.add(node->described);
    const auto isThere = [&](const std::string &uid) {
        return std::ranges::find(devices.state.devices, uid, &DeviceInfo::uid) != devices.state.devices.end();
    };
    for (const auto &[id, names] : defaults_) {
        if (devices.sinkFormats.contains(names->output))
            devices.state.defaultOutput = names->output;
        if (isThere(names->input)) // else it is a monitor, which is no device
            devices.state.defaultInput = names->input;
    }
    return devices;
}
