#pragma once

#include <QObject>
#include <QWidget>

namespace kxplayer
{

/// Leaves a window's keys to its controls where they have a use for them: arrows move a slider that has the focus or a
/// part of a bar that the Tab key has reached, Space presses a button that it has reached. Those that have the focus
/// from a click, or because the toolkit had to give it to one, leave these keys to the window.
class KeysOfControls : public QObject
{
public:
    /// Belongs to the window.
    explicit KeysOfControls(QWidget &window);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    [[nodiscard]] bool uses(QWidget *control, int key) const;
    void note(QWidget *focused, Qt::FocusReason reason);

    QWidget &window_;
    int lastKey_ = 0;
    const QWidget *tabbedTo_ = nullptr; ///< only compared
};

} // namespace kxplayer
