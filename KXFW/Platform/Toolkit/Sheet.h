#pragma once

#include <QObject>
#include <QWidget>

#include <cstdint>
#include <functional>

namespace kx
{

/// The time that a window is open as a sheet over another one: from `showOver` to the call of the completion, which is
/// one. It belongs to the sheet's widget, whose owner stays the same. Main thread only.
class Sheet : public QObject
{
public:
    using Completion = std::function<void(int64_t returnCode)>;

    Sheet(QWidget &sheet, Completion completion); ///< [main]
    ~Sheet() override;

    /// The one that is open, if the widget is open as a sheet; else null. [main]
    [[nodiscard]] static Sheet *of(const QWidget &sheet);

    void showOver(QWidget &window); ///< [main]
    void end(int64_t returnCode);   ///< Calls the completion before it returns; a second time does nothing. [main]

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void endSoon();

    QWidget &sheet_;
    Completion completion_;
    bool open_ = true;
};

} // namespace kx
