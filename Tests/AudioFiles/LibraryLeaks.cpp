// libsndfile 1.2 frees nothing of an Ogg stream whose headers it refuses. The tests open many such files; what else
// leaks is still reported.
#include "KXFW/Platform/Foundation/Export.h"

extern "C" KX_EXPORT const char *__lsan_default_suppressions(); // NOLINT(bugprone-reserved-identifier): its own name

extern "C" const char *__lsan_default_suppressions() // NOLINT(bugprone-reserved-identifier)
{
    return "leak:vorbis_info_init\n";
}
