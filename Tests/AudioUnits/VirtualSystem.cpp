// The tests of this folder play to the virtual sound system, whatever the machine has.

#include <cstdlib>

namespace
{

[[maybe_unused]] const int chosen = setenv("KXFW_AUDIO_BACKEND", "virtual", 1);

} // namespace
