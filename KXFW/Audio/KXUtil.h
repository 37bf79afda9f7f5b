#pragma once

#include "KXFW/Platform/Foundation/Export.h"

/// A place for helpers; it has none.
class KX_EXPORT KXUtil
{
};
