#pragma once

#include <QObject>
#include <QWidget>

namespace kxplayer
{

/// Leaves a window's keys to its controls where they have a use for them: arrows move a slider that has the focus,
/// Space presses a button that the Tab key has reached. A button that has the focus from a click, or because the window
/// had to give it to one, leaves Space to the window.
class KeysOfControls : public QObject
{
public:
    /// Belongs to the window.
    explicit KeysOfControls(QWidget &window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    [[nodiscard]] bool uses(QWidget *control, int key) const;

    QWidget &window_;
    const QWidget *tabbedTo_ = nullptr; ///< only compared
};

} // namespace kxplayer
