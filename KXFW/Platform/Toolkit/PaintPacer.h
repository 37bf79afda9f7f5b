#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QRegion>
#include <QTimer>
#include <QWidget>

#include <functional>

namespace kx
{

/// Collects the parts of a widget that have to be painted anew and asks for one paint a refresh of its screen: the
/// first change after a pause at once, later ones when the refresh after the last paint is due. What else moves on the
/// widget moves right before it asks. Main thread only.
class PaintPacer : public QObject
{
public:
    PaintPacer(QWidget &widget, std::function<void()> beforePaint);

    void add(const QRect &area); ///< In the widget's coordinates. [main]
    void painted();              ///< The widget has been painted now. [main]

private:
    void flush();
    [[nodiscard]] qint64 refreshNanoseconds() const;

    QWidget &widget_;
    std::function<void()> beforePaint_;
    QRegion waiting_;
    QTimer due_;
    QElapsedTimer sinceLastPaint_;
};

} // namespace kx
