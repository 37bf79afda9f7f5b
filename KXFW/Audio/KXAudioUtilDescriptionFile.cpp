#include "KXFW/Audio/KXAudioUtil.h"

#include <array>
#include <utility>

namespace
{

using Field = uint32_t AudioStreamBasicDescription::*;

constexpr const char *kRateKey = "mSampleRate";

constexpr std::array kFields{
    std::pair<const char *, Field>{"mFormatID", &AudioStreamBasicDescription::mFormatID},
    std::pair<const char *, Field>{"mFormatFlags", &AudioStreamBasicDescription::mFormatFlags},
    std::pair<const char *, Field>{"mBytesPerPacket", &AudioStreamBasicDescription::mBytesPerPacket},
    std::pair<const char *, Field>{"mFramesPerPacket", &AudioStreamBasicDescription::mFramesPerPacket},
    std::pair<const char *, Field>{"mBytesPerFrame", &AudioStreamBasicDescription::mBytesPerFrame},
    std::pair<const char *, Field>{"mChannelsPerFrame", &AudioStreamBasicDescription::mChannelsPerFrame},
    std::pair<const char *, Field>{"mBitsPerChannel", &AudioStreamBasicDescription::mBitsPerChannel},
    std::pair<const char *, Field>{"mReserved", &AudioStreamBasicDescription::mReserved},
};

} // namespace

std::shared_ptr<const kx::Dictionary> KXAudioUtil::dictionaryFromASBD(const AudioStreamBasicDescription &description)
{
    kx::Dictionary dictionary;
    dictionary.emplace(kRateKey, kx::Number(description.mSampleRate));
    for (const auto &[key, field] : kFields)
        dictionary.emplace(key, kx::Number(description.*field));
    return std::make_shared<const kx::Dictionary>(std::move(dictionary));
}

void KXAudioUtil::saveDescription(const AudioStreamBasicDescription &description, const std::filesystem::path &toFile)
{
    (void)kx::writePropertyList(*dictionaryFromASBD(description), toFile);
}

AudioStreamBasicDescription KXAudioUtil::loadDescription(const std::filesystem::path &file)
{
    AudioStreamBasicDescription description{};
    const std::optional<kx::Dictionary> dictionary = kx::readPropertyList(file);
    if (!dictionary)
        return description;
    if (const auto rate = dictionary->find(kRateKey); rate != dictionary->end())
        description.mSampleRate = rate->second.doubleValue();
    for (const auto &[key, field] : kFields)
        if (const auto number = dictionary->find(key); number != dictionary->end())
            description.*field = number->second.unsignedIntValue();
    return description;
}
