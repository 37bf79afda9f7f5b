#pragma once

#include <string>

namespace kx
{

/// The name of the default device as the server gives it (null: none), empty where it stands for none.
[[nodiscard]] std::string pulseDefaultName(const char *name);

/// False when nothing on this machine suggests that there is a server, so that it is not worth waiting for one.
[[nodiscard]] bool pulseServerIsLikely();

} // namespace kx
