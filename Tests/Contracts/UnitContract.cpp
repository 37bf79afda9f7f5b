#include "Tests/Contracts/UnitContract.h"

#include "Tests/Support/RenderGuard.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <random>

namespace kx::test
{

namespace
{

constexpr uint32_t kMaximum = 4096;

/// One unit of the contract, fed by a callback that gives the same bytes for the same frames, whatever the format.
class Subject
{
public:
    explicit Subject(const UnitContract &contract)
        : feed_([this](const AudioTimeStamp &, uint32_t frames, AudioBufferList &data) { return fill(frames, data); })
    {
        const auto component = AudioComponentFindNext(nullptr, &contract.component);
        EXPECT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
        contract.configure(unit);
        input_ = format(unit, kAudioUnitScope_Input);
        EXPECT_EQ(feed_.feed(unit), noErr);
        EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    }
    ~Subject() { AudioComponentInstanceDispose(unit); }
    Subject(const Subject &) = delete;
    Subject &operator=(const Subject &) = delete;

    void rewind()
    {
        position_ = 0;
        EXPECT_EQ(AudioUnitReset(unit, kAudioUnitScope_Global, 0), noErr);
    }

    /// The output, buffer by buffer, of slices of these sizes.
    std::vector<std::vector<std::byte>> render(const std::vector<uint32_t> &slices) const
    {
        std::vector<std::vector<std::byte>> all(bufferCount(format(unit, kAudioUnitScope_Output)));
        for (const uint32_t frames : slices) {
            const auto bytes = renderBytes(unit, frames);
            const auto each = static_cast<std::ptrdiff_t>(bytes.size() / all.size());
            for (std::size_t i = 0; i < all.size(); ++i) {
                const auto from = bytes.begin() + static_cast<std::ptrdiff_t>(i) * each;
                all[i].insert(all[i].end(), from, from + each);
            }
        }
        return all;
    }

    AudioUnit unit = nullptr;

private:
    OSStatus fill(uint32_t frames, AudioBufferList &data)
    {
        EXPECT_EQ(data.mNumberBuffers, bufferCount(input_));
        for (uint32_t i = 0; i < data.mNumberBuffers; ++i) {
            EXPECT_EQ(data.mBuffers[i].mDataByteSize, frames * input_.mBytesPerFrame);
            fillBuffer(frames, i, data.mBuffers[i].mData);
        }
        position_ += frames;
        return noErr;
    }

    void fillBuffer(uint32_t frames, uint32_t buffer, void *data) const
    {
        const uint32_t width = input_.mBitsPerChannel / 8;
        const uint64_t perFrame = input_.mBytesPerFrame / width;
        auto *bytes = static_cast<std::byte *>(data);
        for (uint64_t i = position_ * perFrame; i < (position_ + frames) * perFrame; ++i, bytes += width) {
            const int16_t sample = sampleAt(i + buffer * 1000003u);
            const float asFloat = static_cast<float>(sample) / 65536.0f;
            if (input_.mFormatFlags & kAudioFormatFlagIsFloat)
                std::memcpy(bytes, &asFloat, sizeof asFloat);
            else
                std::memcpy(bytes, &sample, std::min<std::size_t>(width, sizeof sample));
        }
    }

    AudioStreamBasicDescription input_{};
    uint64_t position_ = 0;
    Callback feed_;
};

std::vector<uint32_t> randomSlices(uint32_t total)
{
    std::mt19937 random(20240601);
    std::vector<uint32_t> slices;
    for (uint32_t left = total; left > 0; left -= slices.back()) {
        const uint32_t largest = random() % 4 == 0 ? kMaximum : 700;
        slices.push_back(std::min(left, static_cast<uint32_t>(random() % largest)));
    }
    return slices;
}

void checkSlicesAndReset(Subject &subject)
{
    constexpr uint32_t kTotal = 10 * kMaximum;
    const auto whole = subject.render(std::vector<uint32_t>(10, kMaximum));
    subject.rewind();
    EXPECT_EQ(subject.render(randomSlices(kTotal)), whole) << "the cut into slices changes the output";
    subject.rewind();
    subject.rewind();
    auto start = whole;
    for (auto &buffer : start)
        buffer.resize(buffer.size() / 10);
    EXPECT_EQ(subject.render({1, 1, 510, kMaximum - 512}), start) << "a reset is no new start";
}

void checkRenderIsClean(Subject &subject)
{
    if (!RenderGuard::works())
        return;
    const auto layout = format(subject.unit, kAudioUnitScope_Output);
    BufferList list(bufferCount(layout), channelsPerBuffer(layout), kMaximum * layout.mBytesPerFrame);
    const AudioTimeStamp time{};
    const auto slices = randomSlices(20 * kMaximum);
    subject.rewind();
    const RenderGuard guard;
    for (const uint32_t frames : slices) {
        list.rewind(frames * layout.mBytesPerFrame);
        ASSERT_EQ(AudioUnitRender(subject.unit, nullptr, &time, 0, frames, list.get()), noErr);
    }
    EXPECT_TRUE(guard.isClean()) << guard;
}

void checkStatuses(const Subject &subject)
{
    const auto layout = format(subject.unit, kAudioUnitScope_Output);
    const uint32_t buffers = bufferCount(layout);
    const AudioTimeStamp time{};
    const auto status = [&](uint32_t count, uint32_t frames, uint32_t bytes) {
        const BufferList list(count, channelsPerBuffer(layout), bytes);
        return AudioUnitRender(subject.unit, nullptr, &time, 0, frames, list.get());
    };
    const uint32_t enough = 64 * layout.mBytesPerFrame;
    EXPECT_EQ(status(buffers, 64, enough), noErr);
    EXPECT_EQ(status(buffers, 0, 0), noErr);
    EXPECT_EQ(status(buffers, 64, enough - 1), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(status(buffers + 1, 64, enough), kAudioUnitErr_FormatNotSupported);
    EXPECT_EQ(status(0, 64, enough), kAudioUnitErr_FormatNotSupported);
    EXPECT_EQ(status(buffers, kMaximum + 1, enough), kAudioUnitErr_TooManyFramesToProcess);
    EXPECT_EQ(AudioUnitRender(subject.unit, nullptr, &time, 0, 64, nullptr), kAudioUnitErr_InvalidParameter);
}

/// Without memory from the caller the unit gives its own; control calls may be repeated.
void checkOwnMemoryAndRepeatedControl(const Subject &subject)
{
    const auto layout = format(subject.unit, kAudioUnitScope_Output);
    const BufferList list(bufferCount(layout), channelsPerBuffer(layout), 0);
    const auto render = [&] {
        for (uint32_t i = 0; i < list.get()->mNumberBuffers; ++i)
            list.get()->mBuffers[i].mData = nullptr;
        return AudioUnitRender(subject.unit, nullptr, nullptr, 0, kMaximum, list.get());
    };
    EXPECT_EQ(AudioUnitInitialize(subject.unit), noErr);
    EXPECT_EQ(AudioUnitUninitialize(subject.unit), noErr);
    EXPECT_EQ(AudioUnitUninitialize(subject.unit), noErr);
    EXPECT_EQ(render(), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioUnitInitialize(subject.unit), noErr);
    ASSERT_EQ(render(), noErr);
    for (uint32_t i = 0; i < list.get()->mNumberBuffers; ++i) {
        EXPECT_NE(list.get()->mBuffers[i].mData, nullptr);
        EXPECT_EQ(list.get()->mBuffers[i].mDataByteSize, kMaximum * layout.mBytesPerFrame);
    }
}

} // namespace

void UnitContract::check() const
{
    SCOPED_TRACE(name);
    Subject subject(*this);
    checkSlicesAndReset(subject);
    checkRenderIsClean(subject);
    checkStatuses(subject);
    checkOwnMemoryAndRepeatedControl(subject);
}

} // namespace kx::test
