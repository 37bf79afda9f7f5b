#include "Tests/Contracts/UnitContract.h"

#include "Tests/Support/RenderGuard.h"
#include "Tests/Support/UnitTesting.h"

#include <algorithm>
#include <random>
#include <span>

namespace kx::test
{

namespace
{

constexpr uint32_t kMaximum = 4096;

/// One unit of the contract, fed by a callback that gives the same bytes for the same frames, whatever the format.
class Subject
{
public:
    template <class Made> Subject(const Made &made, const std::function<void(AudioUnit)> &configure)
        : unit(made), feed_([this](const auto &, uint32_t frames, AudioBufferList &data) { return fill(frames, data); })
    {
        configure(unit);
        input_ = format(unit, kAudioUnitScope_Input);
        output = format(unit, kAudioUnitScope_Output);
        EXPECT_EQ(feed_.feed(unit), noErr);
        EXPECT_EQ(AudioUnitInitialize(unit), noErr);
    }

    /// The output of slices of these sizes from the start on, buffer behind buffer; `before` is told each size.
    std::vector<std::byte> renderAnew(
        const std::vector<uint32_t> &slices, const std::function<void(uint32_t)> &before = [](uint32_t) {})
    {
        position_ = 0;
        EXPECT_EQ(AudioUnitReset(unit, kAudioUnitScope_Global, 0), noErr);
        std::vector<std::vector<std::byte>> all(bufferCount(output));
        for (const uint32_t frames : slices) {
            before(frames);
            const auto bytes = renderBytes(unit, frames);
            const std::size_t each = bytes.size() / all.size();
            for (std::size_t i = 0; i < all.size(); ++i)
                all[i].insert(all[i].end(), bytes.data() + i * each, bytes.data() + (i + 1) * each);
        }
        for (std::size_t i = 1; i < all.size(); ++i)
            all[0].insert(all[0].end(), all[i].begin(), all[i].end());
        return all[0];
    }

    OwnedUnit unit;
    AudioStreamBasicDescription output{};

private:
    OSStatus fill(uint32_t frames, AudioBufferList &data)
    {
        EXPECT_EQ(data.mNumberBuffers, bufferCount(input_));
        const uint32_t width = input_.mBitsPerChannel / 8;
        const uint64_t perFrame = input_.mBytesPerFrame / width;
        for (uint32_t buffer = 0; buffer < data.mNumberBuffers; ++buffer) {
            EXPECT_EQ(data.mBuffers[buffer].mDataByteSize, frames * input_.mBytesPerFrame);
            auto *bytes = static_cast<std::byte *>(data.mBuffers[buffer].mData);
            for (uint64_t i = position_ * perFrame; i < (position_ + frames) * perFrame; ++i, bytes += width) {
                const int16_t sample = sampleAt(i + buffer * 1000003u);
                const float asFloat = static_cast<float>(sample) / 65536.0f;
                const bool isFloat = input_.mFormatFlags & kAudioFormatFlagIsFloat;
                std::memcpy(bytes, isFloat ? static_cast<const void *>(&asFloat) : &sample, width);
            }
        }
        position_ += frames;
        return noErr;
    }

    AudioStreamBasicDescription input_{};
    uint64_t position_ = 0;
    Callback feed_;
};

/// Of ten times the longest.
std::vector<uint32_t> randomSlices()
{
    std::mt19937 random(20240601);
    std::vector<uint32_t> slices;
    for (uint32_t left = 10 * kMaximum; left > 0; left -= slices.back()) {
        const uint32_t largest = random() % 4 == 0 ? kMaximum : 700;
        slices.push_back(std::min(left, static_cast<uint32_t>(random() % largest)));
    }
    return slices;
}

void checkStatuses(const Subject &subject)
{
    const uint32_t buffers = bufferCount(subject.output);
    const uint32_t enough = 64 * subject.output.mBytesPerFrame;
    struct Row {
        uint32_t count;
        uint32_t frames;
        uint32_t bytes;
        OSStatus status;
    };
    for (const auto &[count, frames, bytes, status] :
         {Row{buffers, 64, enough, noErr}, Row{buffers, 0, 0, noErr},
          Row{buffers, 64, enough - 1, kAudioUnitErr_InvalidPropertyValue},
          Row{buffers + 1, 64, enough, kAudioUnitErr_FormatNotSupported},
          Row{0, 64, enough, kAudioUnitErr_FormatNotSupported},
          Row{buffers, kMaximum + 1, 100 * enough, kAudioUnitErr_TooManyFramesToProcess}}) {
        const BufferList list(count, channelsPerBuffer(subject.output), bytes);
        EXPECT_EQ(AudioUnitRender(subject.unit, nullptr, nullptr, 0, frames, list.get()), status) << frames;
    }
    EXPECT_EQ(AudioUnitRender(subject.unit, nullptr, nullptr, 0, 64, nullptr), kAudioUnitErr_InvalidParameter);
}

/// Without memory from the caller the unit gives its own; control calls may be repeated.
void checkOwnMemoryAndRepeatedControl(const Subject &subject)
{
    const BufferList list(bufferCount(subject.output), channelsPerBuffer(subject.output), 0);
    const std::span buffers(list.get()->mBuffers, list.get()->mNumberBuffers);
    const auto render = [&] {
        for (AudioBuffer &buffer : buffers)
            buffer.mData = nullptr;
        return AudioUnitRender(subject.unit, nullptr, nullptr, 0, kMaximum, list.get());
    };
    EXPECT_EQ(AudioUnitUninitialize(subject.unit), noErr);
    EXPECT_EQ(AudioUnitUninitialize(subject.unit), noErr);
    EXPECT_EQ(render(), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioUnitInitialize(subject.unit), noErr);
    ASSERT_EQ(render(), noErr);
    for (const AudioBuffer &buffer : buffers)
        EXPECT_TRUE(buffer.mData && buffer.mDataByteSize == kMaximum * subject.output.mBytesPerFrame);
}

void checkContract(Subject &subject)
{
    SCOPED_TRACE(testing::Message() << "to " << subject.output.mSampleRate << " Hz, "
                                    << subject.output.mChannelsPerFrame << " channels");
    const auto whole = subject.renderAnew(std::vector<uint32_t>(10, kMaximum));
    EXPECT_LT(std::ranges::count(whole, std::byte{0}), std::ssize(whole)) << "silence";
    const auto slices = randomSlices();
    const RenderGuard guard;
    EXPECT_EQ(subject.renderAnew(slices), whole) << "the cut into slices, or a reset, changes the output";
    EXPECT_TRUE(!RenderGuard::works() || guard.isClean()) << guard;
    const auto setLongest = [&](uint32_t frames) {
        ASSERT_EQ(set(subject.unit, kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, frames), noErr);
        ASSERT_EQ(AudioUnitInitialize(subject.unit), noErr); // it is
    };
    EXPECT_EQ(subject.renderAnew(slices, [&](uint32_t frames) { setLongest(std::max(frames, 1U)); }), whole)
        << "a change of the longest slice, or another initialisation, does";
    setLongest(kMaximum);
    checkStatuses(subject);
    checkOwnMemoryAndRepeatedControl(subject);
}

} // namespace

void checkContract(const AudioComponentDescription &component, const std::function<void(AudioUnit)> &configure)
{
    Subject subject(component, configure);
    checkContract(subject);
}

void checkContract(AudioUnit unit)
{
    Subject subject(unit, [](AudioUnit) {});
    checkContract(subject);
}

} // namespace kx::test
