/// @file
/// Functions in several instruction sets.
#pragma once

#include <version> // tells the C library

/// One body for several instruction sets; the loader picks. No set changes a bit: nothing is contracted.
#if defined(__x86_64__) && defined(__GLIBC__) && defined(__GNUC__) && !defined(KX_SANITIZED)
#define KX_VECTOR_CLONES __attribute__((target_clones("default", "avx2", "avx512f")))
#else
#define KX_VECTOR_CLONES // a sanitizer's own start-up comes too late for the loader's choice
#endif
