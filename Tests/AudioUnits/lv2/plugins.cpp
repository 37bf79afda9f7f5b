// Two plugins of one gain each that are late by as much as they tell: one stereo, one mono.
#include <lv2/core/lv2.h>
#include <lv2/urid/urid.h>

#include <cstdint>
#include <cstring>
#include <deque>

namespace
{

constexpr uint32_t kLate = 64;

/// Ports: gain, latency, then the inputs and the outputs.
template <uint32_t channels> struct LateGain {
    float *ports[2 + 2 * channels] = {};
    std::deque<float> lines[channels];

    static LV2_Handle make(const LV2_Descriptor * /*self*/, double rate, const char * /*bundle*/,
                           const LV2_Feature *const *features)
    {
        for (; *features; ++features)
            if (rate == 44100 && std::strcmp((*features)->URI, LV2_URID__map) == 0)
                return new LateGain;
        return nullptr;
    }
    static void connect(LV2_Handle handle, uint32_t port, void *memory)
    {
        static_cast<LateGain *>(handle)->ports[port] = static_cast<float *>(memory);
    }
    static void activate(LV2_Handle handle)
    {
        for (auto &line : static_cast<LateGain *>(handle)->lines)
            line.assign(kLate, 0);
    }
    static void run(LV2_Handle handle, uint32_t frames)
    {
        auto &self = *static_cast<LateGain *>(handle);
        *self.ports[1] = kLate;
        for (uint32_t channel = 0; channel < channels; ++channel)
            for (uint32_t i = 0; i < frames; ++i) {
                self.lines[channel].push_back(self.ports[2 + channel][i]);
                self.ports[2 + channels + channel][i] = *self.ports[0] * self.lines[channel].front();
                self.lines[channel].pop_front();
            }
    }
    static void end(LV2_Handle handle) { delete static_cast<LateGain *>(handle); }

    static LV2_Descriptor descriptor(const char *uri)
    {
        return {uri, make, connect, activate, run, nullptr, end, nullptr};
    }
};

} // namespace

LV2_SYMBOL_EXPORT const LV2_Descriptor *lv2_descriptor(uint32_t index)
{
    static const LV2_Descriptor all[] = {LateGain<2>::descriptor("urn:kxfw:stereo"),
                                         LateGain<1>::descriptor("urn:kxfw:mono")};
    return index < 2 ? &all[index] : nullptr;
}
