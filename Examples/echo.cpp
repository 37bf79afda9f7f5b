#include "kx/kx.h"

#include <array>
#include <cstdio>
#include <exception>
#include <memory>

/// What is heard comes again a quarter of a second later, half as loud each time.
class Echo : public kx::Effect
{
    void process(Source &source, const Block &out) noexcept override
    {
        source.pull(out);
        for (std::uint32_t i = 0; i < out.frames; ++i, at_ = (at_ + 1) % kDelay)
            for (std::uint32_t channel = 0; channel < out.channelCount; ++channel)
                out.channels[channel][i] = past_[channel][at_] = out.channels[channel][i] + past_[channel][at_] / 2;
    }
    void reset() noexcept override { past_ = {}; }

    static constexpr std::size_t kDelay = kx::kSampleRate / 4;
    std::array<std::array<float, kDelay>, 2> past_{};
    std::size_t at_ = 0;
};

int main(int argc, char **argv)
try {
    kx::Player player;
    player.open(argc == 2 ? argv[1] : "song.mp3").value();
    player.setEffects({std::make_shared<Echo>()}).value();
    player.play().value();
    std::puts("Playing in a loop with an echo; press Return to stop.");
    std::getchar();
    return 0;
} catch (const std::exception &failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
