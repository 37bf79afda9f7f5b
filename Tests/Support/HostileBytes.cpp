#include "Tests/Support/HostileBytes.h"

#include "Tests/Support/MemorySource.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace kx::test
{

DecoderResult openBytes(OpenDecoder open, Bytes bytes)
{
    return open(std::make_shared<MemorySource>(std::move(bytes)));
}

void expectHonestDecoder(OpenDecoder open, const Bytes &bytes, const std::string &what)
{
    auto opened = openBytes(open, bytes);
    if (!opened)
        return;
    Decoder &decoder = **opened;
    const DecodedFormat format = decoder.format();
    ASSERT_GE(format.frames, 0) << what;
    ASSERT_TRUE(format.channels >= 1 && format.channels <= 64) << what;
    ASSERT_TRUE(format.rate >= 1000 && format.rate <= 768000) << what;
    const auto straight = readToEnd(decoder);
    ASSERT_EQ(straight.size(), static_cast<std::size_t>(format.frames) * format.channels) << what;
    for (const int64_t part : {3, 2, 5}) {
        const int64_t target = format.frames / part;
        ASSERT_EQ(decoder.seek(target), noErr) << what;
        const auto got = readFrames(decoder, 2000, 777);
        const auto expected = static_cast<std::size_t>(std::min<int64_t>(2000, format.frames - target));
        ASSERT_EQ(got.size(), expected * format.channels) << what;
    }
}

void forEachCut(const Bytes &bytes, std::size_t dense, std::size_t step,
                const std::function<void(const Bytes &, const std::string &)> &use)
{
    for (std::size_t size = 0; size < bytes.size(); size += size < dense ? 1 : step) {
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        use(cut, "cut to " + std::to_string(size) + " bytes");
    }
}

void forEachFlip(const Bytes &bytes, std::size_t range, int copies,
                 const std::function<void(const Bytes &, const std::string &)> &use)
{
    for (int seed = 0; seed < copies; ++seed) {
        std::mt19937 random(static_cast<uint32_t>(seed));
        Bytes broken = bytes;
        const int count = std::uniform_int_distribution<int>(1, 8)(random);
        for (int i = 0; i < count; ++i)
            broken[random() % std::min(range, broken.size())] = static_cast<uint8_t>(random());
        use(broken, "seed " + std::to_string(seed));
    }
}

} // namespace kx::test
