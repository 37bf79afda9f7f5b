#include "KXFW/Platform/Hardware/Backends/PipeWireDevices.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/DeviceText.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <spa/param/audio/format-utils.h>
#include <spa/utils/json.h>
#include <vector>

namespace
{

constexpr std::size_t kMostDevices = 1024;
constexpr std::size_t kLongestNodeName = 1024;
constexpr uint32_t kDefaultRate = 48000; ///< of a node that takes any

bool isOneOf(const std::string &text, std::initializer_list<const char *> words)
{
    return std::ranges::find(words, text) != words.end();
}

} // namespace

std::optional<kx::PipeWireFormat> kx::playableFormat(const spa_pod *nodeFormat)
{
    // A copy, in which each choice is settled as the node would have it.
    std::vector<uint64_t> words((SPA_POD_SIZE(nodeFormat) + sizeof(uint64_t) - 1) / sizeof(uint64_t));
    std::memcpy(words.data(), nodeFormat, SPA_POD_SIZE(nodeFormat));
    auto *const pod = reinterpret_cast<spa_pod *>(words.data());
    uint32_t type = 0;
    uint32_t subtype = 0;
    PipeWireFormat format{};
    if (spa_pod_fixate(pod) < 0 || spa_format_parse(pod, &type, &subtype) < 0 || type != SPA_MEDIA_TYPE_audio ||
        subtype != SPA_MEDIA_SUBTYPE_raw || spa_format_audio_raw_parse(pod, &format.raw) < 0)
        return std::nullopt;
    format.raw.format = SPA_AUDIO_FORMAT_F32;
    format.raw.rate = std::clamp(format.raw.rate == 0 ? kDefaultRate : format.raw.rate,
                                 static_cast<uint32_t>(kMinimumSampleRate), static_cast<uint32_t>(kMaximumSampleRate));
    if (format.raw.channels == 0 || format.raw.channels > kMaximumChannels) {
        format.raw.channels = 2;
        format.raw.flags |= SPA_AUDIO_FLAG_UNPOSITIONED;
    }
    constexpr bool isBig = std::endian::native == std::endian::big;
    format.description = interleaved(format.raw.rate, format.raw.channels, 32,
                                     kAudioFormatFlagIsFloat | (isBig ? uint32_t{kAudioFormatFlagIsBigEndian} : 0));
    return format;
}

void kx::PipeWireDevices::add(const PipeWireNode &node)
{
    DeviceInfo info;
    info.hasOutput = isOneOf(node.mediaClass, {"Audio/Sink", "Audio/Duplex"});
    info.hasInput = isOneOf(node.mediaClass, {"Audio/Source", "Audio/Source/Virtual", "Audio/Duplex"});
    const bool isNamed = !node.name.empty() && node.name.size() <= kLongestNodeName;
    if ((!info.hasOutput && !info.hasInput) || !isNamed || !node.format || state.devices.size() >= kMostDevices ||
        std::ranges::find(state.devices, node.name, &DeviceInfo::uid) != state.devices.end())
        return;
    info.uid = node.name;
    info.name = deviceText(node.description.empty() ? node.name : node.description);
    info.format = node.format->description;
    if (info.hasOutput)
        sinkFormats.emplace(info.uid, *node.format);
    state.devices.push_back(std::move(info));
}

std::string kx::pipeWireDefaultName(const char *value)
{
    spa_json text[2];
    if (value == nullptr)
        return {};
    spa_json_init(&text[0], value, std::strlen(value));
    if (spa_json_enter_object(&text[0], &text[1]) <= 0)
        return {};
    std::vector<char> key(kLongestNodeName);
    std::vector<char> name(kLongestNodeName);
    while (spa_json_get_string(&text[1], key.data(), static_cast<int>(key.size())) > 0) {
        if (std::strcmp(key.data(), "name") == 0)
            return spa_json_get_string(&text[1], name.data(), static_cast<int>(name.size())) > 0 ? name.data() : "";
        const char *skipped = nullptr;
        if (spa_json_next(&text[1], &skipped) <= 0)
            break;
    }
    return {};
}
