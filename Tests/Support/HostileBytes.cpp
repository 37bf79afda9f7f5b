#include "Tests/Support/HostileBytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace kx::test
{

Bytes bytesOf(std::string_view text)
{
    return {text.begin(), text.end()};
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes part(const Bytes &bytes, std::size_t begin, std::size_t end)
{
    return {bytes.begin() + static_cast<std::ptrdiff_t>(begin),
            bytes.begin() + static_cast<std::ptrdiff_t>(std::min(end, bytes.size()))};
}

Bytes repeated(const Bytes &bytes, std::size_t copies)
{
    Bytes all;
    all.reserve(bytes.size() * copies);
    for (std::size_t i = 0; i < copies; ++i)
        all.insert(all.end(), bytes.begin(), bytes.end());
    return all;
}

std::size_t placeOf(std::string_view text, const Bytes &bytes)
{
    const auto found = std::search(bytes.begin(), bytes.end(), text.begin(), text.end());
    EXPECT_NE(found, bytes.end()) << text;
    return static_cast<std::size_t>(found - bytes.begin());
}

Bytes withBig(Bytes bytes, std::size_t at, uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * (count - 1 - i)));
    return bytes;
}

Bytes withLittle(Bytes bytes, std::size_t at, uint64_t value, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        bytes.at(at + i) = static_cast<uint8_t>(value >> (8 * i));
    return bytes;
}

DecoderResult openBytes(OpenDecoder open, Bytes bytes)
{
    return open(std::make_shared<MemorySource>(std::move(bytes)));
}

std::vector<float> decoded(OpenDecoder open, Bytes bytes)
{
    auto opened = openBytes(open, std::move(bytes));
    EXPECT_TRUE(opened) << opened.status();
    return opened ? readToEnd(**opened) : std::vector<float>();
}

void expectHonestDecoder(OpenDecoder open, const Bytes &bytes)
{
    auto opened = openBytes(open, bytes);
    if (!opened)
        return;
    Decoder &decoder = **opened;
    const DecodedFormat format = decoder.format();
    ASSERT_GE(format.frames, 0);
    ASSERT_TRUE(format.channels >= 1 && format.channels <= 64);
    ASSERT_TRUE(format.rate >= 1000 && format.rate <= 768000);
    ASSERT_EQ(readToEnd(decoder).size(), static_cast<std::size_t>(format.frames) * format.channels);
    for (const int64_t divisor : {3, 2, 5}) {
        const int64_t target = format.frames / divisor;
        ASSERT_EQ(decoder.seek(target), noErr);
        const auto expected = static_cast<std::size_t>(std::min<int64_t>(2000, format.frames - target));
        ASSERT_EQ(readFrames(decoder, 2000, 777).size(), expected * format.channels);
    }
}

void forEachFlip(const Bytes &bytes, std::size_t range, int copies, const std::function<void(const Bytes &)> &use)
{
    for (int seed = 0; seed < copies; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(static_cast<uint32_t>(seed));
        Bytes broken = bytes;
        const int count = std::uniform_int_distribution<int>(1, 8)(random);
        for (int i = 0; i < count; ++i)
            broken[random() % std::min(range, broken.size())] = static_cast<uint8_t>(random());
        use(broken);
    }
}

} // namespace kx::test
