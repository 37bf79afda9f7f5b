#pragma once

#include <QWidget>

class QLabel;
class QSlider;

namespace kxplayer
{

/// A volume slider in decibels with its value beside it. A double-click goes back to 0 decibels.
class VolumeSlider : public QWidget
{
    Q_OBJECT

public:
    explicit VolumeSlider(QWidget *parent = nullptr);

    /// The linear gain, 0 to 1.
    [[nodiscard]] double gain() const;
    /// Shows the nearest position; tells it only where the position is another one.
    void setGain(double gain);

signals:
    void gainChanged(double gain);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void showPosition(int position);

    QSlider *slider_;
    QLabel *label_;
};

} // namespace kxplayer
