#pragma once

#include <QObject>

#include <functional>

namespace kxplayer
{

/// Turns the signals that ask a program to end (SIGTERM, SIGINT, SIGHUP) into a call on the main thread. A second one
/// ends the program at once. One at a time, made on the main thread while the application is there.
class QuitSignals : public QObject
{
public:
    explicit QuitSignals(std::function<void()> quit);
    ~QuitSignals() override;

private:
    std::function<void()> quit_;
};

} // namespace kxplayer
