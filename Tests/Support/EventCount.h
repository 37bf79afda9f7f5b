#pragma once

#include <QObject>
#include <QTest>

namespace kx::test
{

/// Counts the events of a kind that reach an object, or any object if it watches the application. Main thread only.
class EventCount : public QObject
{
public:
    EventCount(QObject &watched, QEvent::Type kind) : kind_(kind) { watched.installEventFilter(this); }

    /// Lets the toolkit run until `count` have come; false if they do not come.
    [[nodiscard]] bool await(int count)
    {
        return QTest::qWaitFor([&] { return count_ >= count; }, 30000);
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        count_ += event->type() == kind_ ? 1 : 0;
        return false;
    }

private:
    const QEvent::Type kind_;
    int count_ = 0;
};

} // namespace kx::test
