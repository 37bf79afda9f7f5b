// These tests play to the virtual sound system; the choice must be made before anything asks for a device.
#include <cstdlib>

namespace
{

[[maybe_unused]] const int chosen = setenv("KXFW_AUDIO_BACKEND", "virtual", 1);

} // namespace
