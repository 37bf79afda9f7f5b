#include "KXFW/Platform/Hardware/Backends/AlsaDevices.h"

#include "KXFW/Platform/Foundation/StreamFormat.h"
#include "KXFW/Platform/Hardware/Backends/AlsaLibrary.h"
#include "KXFW/Platform/Hardware/DeviceText.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

namespace
{

using kx::alsa;
using kx::AlsaEnd;
using kx::AlsaLibrary;
using kx::HardwareState;

constexpr std::size_t kMostAlsaDevices = 1024;

using Control = std::unique_ptr<snd_ctl_t, AlsaEnd<&AlsaLibrary::ctl_close>>;
using CardInfo = std::unique_ptr<snd_ctl_card_info_t, AlsaEnd<&AlsaLibrary::ctl_card_info_free>>;
using PCMInfo = std::unique_ptr<snd_pcm_info_t, AlsaEnd<&AlsaLibrary::pcm_info_free>>;
using Hints = std::unique_ptr<void *, AlsaEnd<&AlsaLibrary::device_name_free_hint>>;
struct FreeText {
    void operator()(char *text) const noexcept { std::free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

void addOutput(HardwareState &state, const std::string &uid, const std::string &name)
{
    if (state.devices.size() >= kMostAlsaDevices ||
        std::ranges::find(state.devices, uid, &kx::DeviceInfo::uid) != state.devices.end())
        return;
    kx::DeviceInfo info;
    info.uid = uid;
    info.name = kx::deviceText(name.empty() ? uid : name);
    info.hasOutput = true;
    // What a card really takes is known once it is open, which others may hinder; the stream tells.
    info.format = kx::interleaved(kx::kCanonicalSampleRate, 2, 32, kAudioFormatFlagIsSignedInteger);
    state.devices.push_back(std::move(info));
}

/// The outputs of one card. Its first device is opened by a name behind which the card's configuration may mix.
void addCard(HardwareState &state, int card)
{
    snd_ctl_t *opened = nullptr;
    if (alsa().ctl_open(&opened, ("hw:" + std::to_string(card)).c_str(), SND_CTL_NONBLOCK) < 0)
        return;
    const Control control(opened);
    snd_ctl_card_info_t *madeCard = nullptr;
    snd_pcm_info_t *madePCM = nullptr;
    alsa().ctl_card_info_malloc(&madeCard);
    alsa().pcm_info_malloc(&madePCM);
    const CardInfo cardInfo(madeCard);
    const PCMInfo pcmInfo(madePCM);
    if (!cardInfo || !pcmInfo || alsa().ctl_card_info(control.get(), cardInfo.get()) < 0)
        return;
    const std::string id = alsa().ctl_card_info_get_id(cardInfo.get());
    const std::string name = alsa().ctl_card_info_get_name(cardInfo.get());
    for (int device = -1; alsa().ctl_pcm_next_device(control.get(), &device) >= 0 && device >= 0;) {
        alsa().pcm_info_set_device(pcmInfo.get(), static_cast<unsigned>(device));
        alsa().pcm_info_set_stream(pcmInfo.get(), SND_PCM_STREAM_PLAYBACK);
        if (alsa().ctl_pcm_info(control.get(), pcmInfo.get()) < 0)
            continue; // it only records
        addOutput(state, device == 0 ? "sysdefault:CARD=" + id : "plughw:CARD=" + id + ",DEV=" + std::to_string(device),
                  name + ", " + alsa().pcm_info_get_name(pcmInfo.get()));
    }
}

/// What the configuration shows by name, but ways to a card: those are there already.
void addNamed(HardwareState &state)
{
    addOutput(state, "default", "Default");
    void **found = nullptr;
    if (alsa().device_name_hint(-1, "pcm", &found) < 0)
        return;
    const Hints hints(found);
    for (void **hint = found; *hint != nullptr; ++hint) {
        const Text name(alsa().device_name_get_hint(*hint, "NAME"));
        const Text description(alsa().device_name_get_hint(*hint, "DESC"));
        const Text direction(alsa().device_name_get_hint(*hint, "IOID")); // null: both
        const std::string uid = name ? name.get() : "";
        if (!uid.empty() && uid != "null" && uid.find(':') == std::string::npos &&
            (!direction || std::string(direction.get()) == "Output"))
            addOutput(state, uid, description ? description.get() : "");
    }
}

} // namespace

kx::HardwareState kx::alsaDevices(AlsaChoice choice)
{
    HardwareState state;
    if (choice == AlsaChoice::All)
        addNamed(state);
    for (int card = -1; alsa().card_next(&card) >= 0 && card >= 0;)
        addCard(state, card);
    if (!state.devices.empty())
        state.defaultOutput = state.devices.front().uid;
    return state;
}
