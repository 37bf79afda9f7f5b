#pragma once

#include "KXFW/Audio/ByteBlock.h"
#include "KXFW/Audio/KXAFiledAudioData2.h"
#include "KXFW/Audio/StatusAssertion.h"
#include "KXFW/Platform/AudioFiles/DiskDeadline.h"
#include "KXFW/Platform/Dispatch/SerialQueue.h"
#include "KXFW/Platform/Foundation/Guarded.h"

#include <atomic>
#include <mutex>
#include <utility>

/// The state of an audio data and its moving parts: pre-reading into the ring, reading out of it, and seeking.
struct KXAFiledAudioData2::Impl {
    enum class Interruption { Allowed, Refused };

    explicit Impl(KXAFiledAudioData2 &data) : owner(data) {} ///< Borrows the data. [any]

    void read(std::byte *destination, uint32_t *frames); ///< [any] [render]
    void seek(int64_t frame);                            ///< [any] [blocks]
    /// One pre-read of `bytesWanted` bytes. Returns the frames stored. [any] [blocks]
    uint32_t preread(uint64_t bytesWanted, const kx::StatusSite &site);
    void readAhead(uint32_t frames); ///< [any] [blocks]
    void startOver();                ///< Nothing of an earlier file is left. [any]
    void fixParts();                 ///< Takes the fields as they are. [any]

    /// Sets what is fixed while a file is open; not null. [any]
    template <class Value> bool setWhileClosed(kx::Guarded<Value> &field, Value value)
    {
        if (fileRef.load() || !value)
            return false;
        const std::shared_ptr<void> old = field.exchange(std::move(value)); // ends after the parts name the new one
        fixParts();
        return true;
    }

    KXAFiledAudioData2 &owner;
    kx::Guarded<std::shared_ptr<KXRingBuffer>> ringBuffer;
    kx::Guarded<std::shared_ptr<kx::ByteBlock>> bridgeBufferData;
    kx::Guarded<std::shared_ptr<kx::SerialQueue>> ringBufferQueue;
    kx::Guarded<std::shared_ptr<kx::SerialQueue>> fileAccessQueue;
    kx::Guarded<std::shared_ptr<kx::SerialQueue>> prereadQueue;
    std::atomic<int64_t> fileLengthFrames{0};
    std::unique_ptr<AudioStreamBasicDescription> fileDataFormat; ///< written under formatLock, then only read
    std::atomic<ExtAudioFileRef> fileRef{nullptr};
    kx::Guarded<std::filesystem::path> fileURL;

    kx::PriorityMutex formatLock;      ///< guards the first fetch of fileDataFormat
    std::atomic<double> fileRate{0.0}; ///< the rate in it, 0 until it is fetched
    std::atomic<bool> endedByFailure{false};
    std::atomic<std::chrono::milliseconds> diskPatience{kx::DiskDeadline::kNone};
    std::atomic<uint64_t> underruns{0};

    /// What is fixed while a file is open, so that the render thread reads it without a lock.
    struct Parts {
        KXRingBuffer *ring;
        kx::ByteBlock *bridge;
        kx::SerialQueue *ringQueue;
        kx::SerialQueue *fileQueue;
    } parts{};

private:
    uint64_t takeFromRing(void *destination, uint64_t bytes);
    uint32_t takeOrDecode(std::byte *destination, uint32_t bytes, uint32_t framesTaken);
    uint32_t decodeIntoRing(uint32_t bytesWanted, Interruption interruption, const kx::StatusSite &site,
                            uint32_t framesTaken = 0);
    uint32_t readBridge(uint32_t frames, Interruption interruption, const kx::StatusSite &site, uint32_t framesTaken);
    void failReading(OSStatus status, uint32_t framesBefore, const kx::StatusSite &site);
    void reportReadFailure(OSStatus status, const kx::StatusSite &site);
    int64_t positionFile(int64_t frame);
    void dropFrames(const kx::StatusSite &site);
    [[nodiscard]] bool isHeldUp() const noexcept;
    template <class Task> decltype(auto) exclusively(Task &&task);

    kx::PriorityMutex transferLock_; ///< held through each whole pre-read and seek, outside the queues
    std::atomic<int> waiting_{0};    ///< seeks and short reads that wait for transferLock_
    std::atomic<bool> failureReported_{false};
    std::atomic<OSStatus> heldFailure_{noErr}; ///< met after frames that are still to be delivered
    int64_t framesToDrop_ = 0;                 ///< of the file, before the sought one; under transferLock_
};
