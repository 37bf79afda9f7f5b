#pragma once

class QPainter;

namespace kx
{

/// Makes `painter`, whose coordinates are the view's, the one that the drawing functions use, until the scope ends.
/// [main]
class DrawingScope
{
public:
    explicit DrawingScope(QPainter &painter); ///< [main]
    ~DrawingScope();                          ///< [main]
    DrawingScope(const DrawingScope &) = delete;
    DrawingScope &operator=(const DrawingScope &) = delete;

private:
    QPainter *outer_;
};

} // namespace kx
