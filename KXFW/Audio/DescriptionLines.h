#pragma once

#include "KXFW/Platform/Foundation/AudioTypes.h"
#include "KXFW/Platform/Foundation/Export.h"

#include <string>
#include <vector>

namespace kx
{

/// What KXAudioUtil::DumpDescription logs, a line each, for those who show it elsewhere. [any]
KX_EXPORT std::vector<std::string> descriptionLines(const AudioStreamBasicDescription &description);

} // namespace kx
