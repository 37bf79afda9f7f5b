#pragma once

/// Marks what the library exports; everything else stays hidden.
#define KX_EXPORT __attribute__((visibility("default")))
