#pragma once

#include <QWidget>

#include <cstdint>
#include <functional>
#include <utility>

namespace kxplayer
{

/// A part of the timeline that the keyboard moves and a screen reader speaks as a slider: arrows move it by a step,
/// Page Up and Page Down by a page, Home and End to its limits. The mouse goes through it. For the main thread.
class TimelineHandle : public QWidget
{
    Q_OBJECT

public:
    struct Steps {
        int64_t step, page; ///< frames
    };
    using Limits = std::pair<int64_t, int64_t>; ///< frames, in order
    using Move = std::function<void(int64_t frame)>;

    /// `move` gets where it is to be, within the limits.
    TimelineHandle(const QString &name, const Steps &steps, Move move, QWidget *parent);

    /// Shows where it is; without room between its limits it is disabled.
    void show(const QRect &place, int64_t value, const Limits &limits);
    void setValue(int64_t value);
    [[nodiscard]] int64_t value() const noexcept { return value_; }
    [[nodiscard]] const Limits &limits() const noexcept { return limits_; }
    [[nodiscard]] int64_t step() const noexcept { return steps_.step; }
    void moveTo(int64_t value);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    Steps steps_;
    Move move_;
    int64_t value_ = 0;
    Limits limits_{0, 0};
};

} // namespace kxplayer
