#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

namespace kx
{

namespace
{

bool isAlwaysInstalled()
{
    return true;
}

std::vector<CodecEntry> madeTable()
{
    const SoundEncoding pcm{kAudioFormatLinearPCM, "Linear PCM"};
    const SoundEncoding uLaw{kAudioFormatULaw, "u-law"};
    const SoundEncoding aLaw{kAudioFormatALaw, "A-law"};
    const SoundEncoding ima{kAudioFormatIMA4, "IMA ADPCM"};
    const SoundEncoding ms{kAudioFormatMSADPCM, "MS ADPCM"};
    const SoundEncoding alac{kAudioFormatALAC, "ALAC"};
    const SoundEncoding flac{kAudioFormatFLAC, "FLAC"};
    // Ordered by the strength of what they recognise: MPEG audio has no signature but a few bits, so it comes last.
    return {
        {recognisesPCMContainer,
         openPCMContainer,
         isAlwaysInstalled,
         {{"WAVE", {"wav", "w64", "rf64"}, {"audio/x-wav", "audio/vnd.wave"}, {pcm, uLaw, aLaw, ima, ms}},
          {"AIFF", {"aiff", "aif", "aifc"}, {"audio/x-aiff", "audio/x-aifc"}, {pcm, uLaw, aLaw, ima}},
          {"CAF", {"caf"}, {"audio/x-caf"}, {pcm, uLaw, aLaw, alac}},
          {"AU", {"au", "snd"}, {"audio/basic"}, {pcm, uLaw, aLaw}}}},
        {recognisesFLAC, openFLAC, isAlwaysInstalled, {{"FLAC", {"flac"}, {"audio/flac"}, {flac}}}},
        {recognisesOgg,
         openOgg,
         isAlwaysInstalled,
         {{"Ogg",
           {"ogg", "oga", "opus"},
           {"audio/ogg", "audio/x-vorbis+ogg", "audio/x-opus+ogg", "audio/x-flac+ogg"},
           {{kAudioFormatVorbis, "Vorbis"}, {kAudioFormatOpus, "Opus"}, flac}}}},
        {recognisesMPEG4,
         openMPEG4,
         isMPEG4Installed,
         {{"MPEG-4",
           {"m4a", "m4b", "mp4"},
           {"audio/mp4", "audio/x-m4a", "audio/x-m4b"},
           {{kAudioFormatMPEG4AAC, "AAC"}, alac}}}},
        {recognisesMPEGAudio,
         openMPEGAudio,
         isAlwaysInstalled,
         {{"MP3",
           {"mp3", "mp2"},
           {"audio/mpeg", "audio/mp2"},
           {{kAudioFormatMPEGLayer3, "MP3"},
            {kAudioFormatMPEGLayer2, "MPEG layer 2"},
            {kAudioFormatMPEGLayer1, "MPEG layer 1"}}}}},
    };
}

} // namespace

/// Never destroyed: a thread that waits for a disk may outlive the statics of a program that ends.
const std::vector<CodecEntry> &codecTable()
{
    static const auto &table = *new std::vector<CodecEntry>(madeTable());
    return table;
}

DecoderResult openDecoder(std::shared_ptr<ByteSource> source)
{
    for (const CodecEntry &codec : codecTable())
        if (codec.recognises(*source))
            return codec.open(std::move(source));
    return source->error() != noErr ? source->error() : kAudioFileUnsupportedFileTypeError;
}

} // namespace kx
