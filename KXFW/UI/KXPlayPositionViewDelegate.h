#pragma once

#include "KXFW/Platform/Foundation/Export.h"

#include <cstdint>

/// Hears what the user does with a transport bar. Frames are frames of the file.
class KX_EXPORT KXPlayPositionViewDelegate
{
public:
    virtual ~KXPlayPositionViewDelegate() = default;

    /// The user has moved the play line to `frame`: a press on the bar, each step of a drag, or a key. [main]
    virtual void PlayPositionViewDidChangePlayFrame(int64_t frame) = 0;
    /// The user has let go of the start knob, moved or not, or has moved it by a key. [main]
    virtual void PlayPositionViewDidChangeStartFrame(int64_t frame) = 0;
    /// The user has let go of the end knob, moved or not, or has moved it by a key. [main]
    virtual void PlayPositionViewDidChangeEndFrame(int64_t frame) = 0;
};
