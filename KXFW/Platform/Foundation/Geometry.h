/// @file
/// Points, sizes, rectangles and colours as plain values.
#pragma once

struct NSPoint {
    double x = 0;
    double y = 0;
};

struct NSSize {
    double width = 0;
    double height = 0;
};

struct NSRect {
    NSPoint origin;
    NSSize size;
};

/// Device RGB, each component from 0 to 1.
struct NSColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;
};
