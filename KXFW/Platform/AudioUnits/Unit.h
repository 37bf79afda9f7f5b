#pragma once

#include "KXFW/Platform/AudioUnits/AudioUnit.h"
#include "KXFW/Platform/AudioUnits/RenderLock.h"
#include "KXFW/Platform/AudioUnits/Renderer.h"
#include "KXFW/Platform/AudioUnits/UnitInput.h"
#include "KXFW/Platform/Foundation/BufferList.h"
#include "KXFW/Platform/Foundation/PriorityMutex.h"
#include "KXFW/Platform/Foundation/StatusOr.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <span>

namespace kx
{

/// A number that may be set and read at any time; the renderer reads it once a slice.
struct Parameter {
    enum class Outside { Limited, Refused };

    AudioUnitParameterID id;
    float minimum;
    float maximum;
    std::atomic<float> value;
    Outside outside = Outside::Limited; ///< values that are: moved to the nearer end, or refused
};

/// One property: where it may be asked for and how large it is. Every unit's elements are 0.
struct PropertyRow {
    AudioUnitPropertyID id;
    uint32_t scopes; ///< scopeBit of each that it is found in
    uint32_t size;   ///< bytes
    bool readable;
    bool writable;
};

[[nodiscard]] constexpr uint32_t scopeBit(AudioUnitScope scope) noexcept
{
    return scope < 32 ? 1u << scope : 0;
}

struct PropertyAddress {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    AudioUnitElement element;
};

inline constexpr uint32_t kDefaultMaximumFrames = 4096;

/// What differs from unit to unit in its two sides.
struct UnitShape {
    UnitFormats formats;        ///< at first
    bool inputSettable = false; ///< else the input format is fixed, and sources adapt to it
    bool outputSettable = false;
    bool hasOutputBus = true; ///< false: the end of a chain; the global scope then has the input's format
};

/// Starting and stopping, for units that render on a thread of their own.
class OutputControl
{
public:
    virtual OSStatus start() = 0;  ///< [any] [blocks]
    virtual OSStatus stop() = 0;   ///< [any] [render] [blocks]
    virtual OSStatus settle() = 0; ///< [any] [blocks]
protected:
    ~OutputControl() = default;
};

/// Base of all units: formats, properties, parameters, the input, and the render entry.
///
/// A unit supplies a renderer for given formats, and may add properties and parameters. This class keeps the renderer
/// in step: a change on an initialised unit makes a new one beside the old and swaps them between two renders.
/// Owned by shared pointers: of the registry (the handle), of the units connected behind it, and of calls under way.
///
/// Locks, in the order in which they are taken: `control_` (changes, never taken on a thread that renders), the render
/// lock (of this unit, then of the units it pulls), the lock over all connections, `values_`. Callers make sure that no
/// change is asked for from inside a render.
class Unit : public std::enable_shared_from_this<Unit>
{
public:
    virtual ~Unit() = default;
    Unit(const Unit &) = delete;
    Unit &operator=(const Unit &) = delete;

    OSStatus initialize();           ///< [any] [blocks]
    virtual OSStatus uninitialize(); ///< [any] [blocks]
    OSStatus reset();                ///< [any] [blocks]
    /// No render starts after it; lets go of the input. Inside a render it only marks the unit. [any] [render] [blocks]
    virtual void dispose();

    OSStatus setProperty(const PropertyAddress &address, const void *data, uint32_t size); ///< [any] [blocks]
    OSStatus getProperty(const PropertyAddress &address, void *data, uint32_t *size);      ///< [any]
    OSStatus setParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element, float value);
    OSStatus getParameter(AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element, float *value);

    /// `frames` frames into `list`, silence where the status is not noErr and the list fits the format. `expected`, if
    /// not null, is the format in which the caller wants them. [any] [render]
    OSStatus render(const AudioTimeStamp &time, uint32_t frames, AudioBufferList &list,
                    const AudioStreamBasicDescription *expected) noexcept;

    /// kAudioUnitProperty_HeldFrames, when the units behind this one hold `behind` frames of what it gave. [any]
    /// [render]
    [[nodiscard]] uint32_t heldFrames(uint32_t behind = 0) const;
    [[nodiscard]] double drawRate() const; ///< kAudioUnitProperty_DrawRate. [any] [render]
    [[nodiscard]] bool hasOutputBus() const noexcept { return shape_.hasOutputBus; }
    [[nodiscard]] bool isDisposed() const noexcept { return disposed_.load(); }
    [[nodiscard]] const UnitInput &input() const noexcept { return input_; }
    [[nodiscard]] AudioUnit handle() const noexcept { return handle_; }
    void setHandle(AudioUnit handle) noexcept { handle_ = handle; } ///< Once, before others know the unit. [any]
    /// Null for units that others pull. [any] [render]
    virtual OutputControl *outputControl() noexcept { return nullptr; }

protected:
    explicit Unit(const UnitShape &shape);

    /// A renderer for `formats`, which are convertible on the settable sides. Called with `control_` held. [any]
    virtual StatusOr<std::unique_ptr<Renderer>> makeRenderer(const UnitFormats &formats) = 0;
    [[nodiscard]] virtual double latencySeconds() const { return 0; }
    /// Input frames that were drawn and are not played, when `behind` frames of the output are not. [any] [render]
    [[nodiscard]] virtual uint32_t ownHeldFrames(uint32_t behind) const { return behind; }
    [[nodiscard]] virtual double ownDrawRate() const { return 1; }
    virtual std::span<Parameter> parameters() noexcept { return {}; }
    /// The unit's own properties; checked against the rows before the calls below. [any]
    [[nodiscard]] virtual std::span<const PropertyRow> ownProperties() const noexcept { return {}; }
    virtual OSStatus setOwnProperty(AudioUnitPropertyID id, const void *data);
    virtual OSStatus getOwnProperty(AudioUnitPropertyID id, void *data);

    void markDisposed() noexcept { disposed_ = true; }
    [[nodiscard]] bool isInitialized() const noexcept { return initialized_.load(); }
    [[nodiscard]] UnitFormats formats() const { return sides().formats; }

    RenderLock renderLock_; ///< guards the renderer, the formats while rendering, and the input

private:
    enum class Side { Input, Output };
    struct Sides {
        UnitFormats formats;
        bool inputSet = false; ///< by the user; else it follows connections
        bool outputSet = false;
    };

    [[nodiscard]] Sides sides() const;
    [[nodiscard]] Side sideOf(AudioUnitScope scope) const noexcept;
    [[nodiscard]] bool settable(Side side) const noexcept;
    [[nodiscard]] OSStatus find(const PropertyAddress &address, PropertyRow &row) const;
    OSStatus setFormat(Side side, const AudioStreamBasicDescription &format, bool byUser);
    OSStatus setRate(Side side, double rate);
    OSStatus setMaximumFrames(uint32_t frames);
    OSStatus setCallback(const AURenderCallbackStruct &callback);
    OSStatus makeConnection(const AudioUnitConnection &connection);
    OSStatus agreeWith(Unit &source);
    enum class History { Forgotten, Kept };
    OSStatus putInPlace(const Sides &wanted, bool initialized, History history = History::Forgotten);
    OSStatus checkList(uint32_t frames, AudioBufferList &list, const AudioStreamBasicDescription *expected) noexcept;
    Parameter *findParameter(AudioUnitParameterID id) noexcept;

    const UnitShape shape_;
    AudioUnit handle_ = nullptr;
    std::mutex control_;
    mutable PriorityMutex values_; ///< guards `sides_` against readers that hold no other lock
    Sides sides_;
    std::atomic<bool> disposed_{false};
    std::atomic<bool> initialized_{false}; ///< there is a renderer
    UnitInput input_;
    std::unique_ptr<Renderer> renderer_;
    std::unique_ptr<BufferList> memory_; ///< lent where a caller brings none
};

} // namespace kx
