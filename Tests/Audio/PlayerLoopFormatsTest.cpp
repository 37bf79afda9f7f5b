// N passes of a range are N copies of it, whatever the file holds.
#include "Tests/Audio/PlayerFixture.h"

using namespace kx::test;

namespace
{

struct LoopFormat {
    const char *name;
    MediaSpec spec;
};

void PrintTo(const LoopFormat &format, std::ostream *out)
{
    *out << format.name;
}

class PlayerLoopFormats : public PlayerTest, public testing::WithParamInterface<LoopFormat>
{
};

TEST_P(PlayerLoopFormats, PassesAreCopies)
{
    auto straight = open(GetParam().spec);
    std::vector<int64_t> all;
    for (const Frame frame : readAll(*straight))
        all.push_back(indexIn(frame)); // any two 16-bit samples are a number
    ASSERT_TRUE(player->loadFileAtURL(make(GetParam().spec)));
    // One step of 16 bits where a rate is changed: the start of a range is then reached by a seek.
    const int64_t tolerance = GetParam().spec.rate == 44100 ? 0 : 1;
    for (const int64_t length : {1, 7, 511, 513, 44101}) {
        const int64_t start = 12345;
        player->setOffsetFramesPlay(start, start, start + length);
        player->play();
        const auto count = static_cast<std::size_t>(3 * length + 700);
        advance(static_cast<uint32_t>(count));
        player->stop();
        const auto frames = heard();
        ASSERT_GE(frames.size(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const int64_t wanted = all[static_cast<std::size_t>(start + static_cast<int64_t>(i) % length)];
            const auto distance = std::abs(static_cast<int16_t>(frames[i]) - static_cast<int16_t>(wanted));
            ASSERT_LE(distance, tolerance) << "left sample " << i << " of a range of " << length;
            const auto right = std::abs(static_cast<int16_t>(frames[i] >> 16) - static_cast<int16_t>(wanted >> 16));
            ASSERT_LE(right, tolerance) << "right sample " << i << " of a range of " << length;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Media, PlayerLoopFormats,
    testing::Values(LoopFormat{"wav", {.frames = 90000}}, LoopFormat{"mp3", {.codec = Codec::MP3, .frames = 90000}},
                    LoopFormat{"aac", {.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "0"}}},
                    LoopFormat{"aacpns", {.codec = Codec::AAC, .frames = 90000, .options = {"-aac_pns", "1"}}},
                    LoopFormat{"flac48", {.codec = Codec::FLAC, .rate = 48000, .frames = 90000}},
                    LoopFormat{"wav22", {.rate = 22050, .frames = 45000}}),
    [](const auto &test) { return std::string(test.param.name); });

} // namespace
