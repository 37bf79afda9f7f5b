#include "KXFW/Audio/KXAPlayerParam.h"

#include "KXFW/Platform/Foundation/Guarded.h"

#include <atomic>

struct KXAPlayerParam::Impl {
    std::atomic<bool> loop{true};
    std::atomic<float> volume{0.0F};
    std::atomic<int64_t> byteOffset{0};
    std::atomic<int64_t> startOffset{0};
    std::atomic<int64_t> endOffset{0};
    std::atomic<AudioUnit> postUnit{nullptr};
    std::atomic<uint64_t> mode{0};
    std::atomic<AudioUnit> outputUnit{nullptr};
    kx::Guarded<AudioStreamBasicDescription> inputDesc;
    kx::Guarded<AudioStreamBasicDescription> outputDesc;
};

KXAPlayerParam::KXAPlayerParam() : impl_(std::make_unique<Impl>()) {}
KXAPlayerParam::~KXAPlayerParam() = default;

bool KXAPlayerParam::loop() const noexcept
{
    return impl_->loop;
}

void KXAPlayerParam::setLoop(bool loop) noexcept
{
    impl_->loop = loop;
}

float KXAPlayerParam::volume() const noexcept
{
    return impl_->volume;
}

void KXAPlayerParam::setVolume(float volume) noexcept
{
    impl_->volume = volume;
}

int64_t KXAPlayerParam::byteOffset() const noexcept
{
    return impl_->byteOffset;
}

void KXAPlayerParam::setByteOffset(int64_t byteOffset) noexcept
{
    impl_->byteOffset.store(byteOffset, std::memory_order_release); // in each slice
}

int64_t KXAPlayerParam::startOffset() const noexcept
{
    return impl_->startOffset;
}

void KXAPlayerParam::setStartOffset(int64_t startOffset) noexcept
{
    impl_->startOffset = startOffset;
}

int64_t KXAPlayerParam::endOffset() const noexcept
{
    return impl_->endOffset;
}

void KXAPlayerParam::setEndOffset(int64_t endOffset) noexcept
{
    impl_->endOffset = endOffset;
}

AudioUnit KXAPlayerParam::postUnit() const noexcept
{
    return impl_->postUnit;
}

void KXAPlayerParam::setPostUnit(AudioUnit postUnit) noexcept
{
    impl_->postUnit = postUnit;
}

uint64_t KXAPlayerParam::mode() const noexcept
{
    return impl_->mode;
}

void KXAPlayerParam::setMode(uint64_t mode) noexcept
{
    impl_->mode = mode;
}

AudioUnit KXAPlayerParam::outputUnit() const noexcept
{
    return impl_->outputUnit;
}

void KXAPlayerParam::setOutputUnit(AudioUnit outputUnit) noexcept
{
    impl_->outputUnit = outputUnit;
}

AudioStreamBasicDescription KXAPlayerParam::inputDesc() const
{
    return impl_->inputDesc.get();
}

void KXAPlayerParam::setInputDesc(const AudioStreamBasicDescription &inputDesc)
{
    impl_->inputDesc.set(inputDesc);
}

AudioStreamBasicDescription KXAPlayerParam::outputDesc() const
{
    return impl_->outputDesc.get();
}

void KXAPlayerParam::setOutputDesc(const AudioStreamBasicDescription &outputDesc)
{
    impl_->outputDesc.set(outputDesc);
}
