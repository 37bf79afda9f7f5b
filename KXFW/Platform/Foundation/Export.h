#pragma once

/// Marks what libKXFW exports; everything else stays hidden.
#define KX_EXPORT __attribute__((visibility("default")))
