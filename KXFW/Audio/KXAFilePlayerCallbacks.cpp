// How the chain and the platform's C functions reach a player.
#include "KXFW/Audio/KXAFilePlayerCallbacks.h"

#include "KXFW/Audio/Player/PlayerEngine.h"

OSStatus MyRenderCallback3(void *reference, AudioUnitRenderActionFlags *flags, const AudioTimeStamp *time,
                           uint32_t /*bus*/, uint32_t frames, AudioBufferList *data)
{
    if (!data || data->mNumberBuffers == 0)
        return noErr;
    kx::RenderSource &source = kx::engineOf(*static_cast<KXAFilePlayer *>(reference)).source;
    const auto told = source.render(time ? *time : AudioTimeStamp{}, frames, data->mBuffers[0]);
    if (flags)
        *flags |= told;
    return noErr;
}

uint64_t _read(KXAFilePlayer *player, void *destination, void * /*unused*/, int64_t bytes)
{
    const auto data = player->audioData();
    const uint32_t bytesPerFrame = data ? data->format().mBytesPerFrame : 0;
    if (bytesPerFrame == 0 || bytes <= 0)
        return 0;
    auto frames = static_cast<uint32_t>(bytes / static_cast<int64_t>(bytesPerFrame));
    data->readToBuffer(destination, &frames);
    return frames * bytesPerFrame;
}
