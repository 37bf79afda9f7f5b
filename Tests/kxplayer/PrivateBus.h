#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QTest>

#include <stdexcept>

namespace kx::test
{

/// A session bus of the test's own, with as many connections as it wants.
class PrivateBus
{
public:
    PrivateBus()
    {
        daemon_.start("dbus-daemon", {"--session", "--nofork", "--nopidfile", "--print-address=1"});
        if (!daemon_.waitForReadyRead(30000))
            throw std::runtime_error("dbus-daemon does not start: " + daemon_.errorString().toStdString());
        address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
    }
    ~PrivateBus()
    {
        for (const QString &name : names_)
            QDBusConnection::disconnectFromBus(name);
        daemon_.terminate();
        daemon_.waitForFinished(30000);
    }

    QDBusConnection connection()
    {
        static int number = 0;
        names_ << "private " + QString::number(++number);
        return QDBusConnection::connectToBus(address_, names_.last());
    }
    void kill()
    {
        daemon_.kill();
        daemon_.waitForFinished(30000);
    }

private:
    QProcess daemon_;
    QString address_;
    QStringList names_;
};

/// Takes signals of a bus.
class BusSignals : public QObject
{
    Q_OBJECT

public:
    [[nodiscard]] bool await(int count)
    {
        return QTest::qWaitFor([&] { return messages.size() >= count; }, 30000);
    }

    QList<QDBusMessage> messages;

public slots:
    void take(const QDBusMessage &message) { messages << message; }
};

} // namespace kx::test
