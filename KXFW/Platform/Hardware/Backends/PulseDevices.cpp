#include "KXFW/Platform/Hardware/Backends/PulseDevices.h"

#include "KXFW/Platform/Conversion/SampleFormat.h"
#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/DeviceText.h"

#include <algorithm>

namespace
{

constexpr std::size_t kMaximumDevices = 1024;
constexpr std::size_t kMaximumUIDBytes = 1024;

struct SampleKind {
    pa_sample_format_t format;
    uint32_t bits;
    uint32_t flags;
};

constexpr uint32_t kSigned = kAudioFormatFlagIsSignedInteger;
constexpr uint32_t kFloat = kAudioFormatFlagIsFloat;
constexpr uint32_t kBig = kAudioFormatFlagIsBigEndian;

constexpr SampleKind kSampleKinds[] = {
    {PA_SAMPLE_U8, 8, 0},
    {PA_SAMPLE_S16LE, 16, kSigned},
    {PA_SAMPLE_S16BE, 16, kSigned | kBig},
    {PA_SAMPLE_S24LE, 24, kSigned},
    {PA_SAMPLE_S24BE, 24, kSigned | kBig},
    {PA_SAMPLE_S32LE, 32, kSigned},
    {PA_SAMPLE_S32BE, 32, kSigned | kBig},
    {PA_SAMPLE_FLOAT32LE, 32, kFloat},
    {PA_SAMPLE_FLOAT32BE, 32, kFloat | kBig},
};

/// All zero where the sample format is none of ours.
AudioStreamBasicDescription describe(const pa_sample_spec &spec)
{
    const auto *const kind = std::ranges::find(kSampleKinds, spec.format, &SampleKind::format);
    if (kind == std::end(kSampleKinds))
        return {};
    return kx::interleaved(spec.rate, spec.channels, kind->bits, kind->flags);
}

kx::DeviceInfo describe(const char *name, const char *description, const kx::PulseFormat &format)
{
    kx::DeviceInfo info;
    info.uid = name == nullptr ? "" : name;
    info.name = kx::deviceText(description == nullptr ? "" : description);
    if (info.name.empty())
        info.name = kx::deviceText(info.uid);
    info.format = format.description;
    return info;
}

bool canAdd(const kx::HardwareState &state, const std::string &uid)
{
    return !uid.empty() && uid.size() <= kMaximumUIDBytes && state.devices.size() < kMaximumDevices &&
           std::ranges::find(state.devices, uid, &kx::DeviceInfo::uid) == state.devices.end();
}

} // namespace

kx::PulseFormat kx::playableFormat(const pa_sample_spec &spec, const pa_channel_map &map)
{
    PulseFormat format{spec, map, describe(spec)};
    if (isConvertible(format.description))
        return format;
    format.spec.format = PA_SAMPLE_FLOAT32NE;
    format.spec.rate =
        std::clamp(spec.rate, static_cast<uint32_t>(kMinimumSampleRate), static_cast<uint32_t>(kMaximumSampleRate));
    format.description = describe(format.spec);
    return format;
}

void kx::PulseDevices::add(const pa_sink_info &sink)
{
    const PulseFormat format = playableFormat(sink.sample_spec, sink.channel_map);
    DeviceInfo info = describe(sink.name, sink.description, format);
    info.hasOutput = true;
    if (!canAdd(state, info.uid))
        return;
    sinkFormats.emplace(info.uid, format);
    state.devices.push_back(std::move(info));
}

void kx::PulseDevices::add(const pa_source_info &source)
{
    if (source.monitor_of_sink != PA_INVALID_INDEX)
        return;
    DeviceInfo info = describe(source.name, source.description, playableFormat(source.sample_spec, source.channel_map));
    info.hasInput = true;
    if (canAdd(state, info.uid))
        state.devices.push_back(std::move(info));
}
