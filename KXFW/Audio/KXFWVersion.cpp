#include "KXFW/Audio/KXFWVersion.h"

const double KXFWVersionNumber = 1.0;
const char KXFWVersionString[] = "@(#)PROGRAM:KXFW  PROJECT:KXFW-1\n";
