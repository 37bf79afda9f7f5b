#pragma once

/// Marks what libKXFW exports; everything else stays hidden.
#define KX_EXPORT __attribute__((visibility("default")))

/// Stands behind a declaration of C linkage: its symbol is kx_<name>, because all libraries of a program share one
/// space of symbols. Sources call it, and take its address, by its own name.
#define KX_SYMBOL(name) __asm__("kx_" #name)
