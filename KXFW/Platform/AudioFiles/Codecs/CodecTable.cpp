#include "KXFW/Platform/AudioFiles/Codecs/Decoder.h"

#include <array>

namespace kx
{

namespace
{

// Ordered by the strength of what they recognise: MPEG audio has no signature but a few bits, so it comes last.
constexpr std::array kCodecs{
    CodecEntry{"PCM container", recognisesPCMContainer, openPCMContainer},
    CodecEntry{"FLAC", recognisesFLAC, openFLAC},
    CodecEntry{"Ogg", recognisesOgg, openOgg},
    CodecEntry{"MPEG-4", recognisesMPEG4, openMPEG4},
    CodecEntry{"MPEG audio", recognisesMPEGAudio, openMPEGAudio},
};

} // namespace

DecoderResult openDecoder(std::shared_ptr<ByteSource> source)
{
    for (const CodecEntry &codec : kCodecs)
        if (codec.recognises(*source))
            return codec.open(std::move(source));
    return source->error() != noErr ? source->error() : kAudioFileUnsupportedFileTypeError;
}

} // namespace kx
