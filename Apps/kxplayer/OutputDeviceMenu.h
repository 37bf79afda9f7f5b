#pragma once

#include "kx/Device.h"

#include <QMenu>

#include <atomic>
#include <memory>
#include <vector>

class QActionGroup;

namespace kxplayer
{

/// The menu of output devices: the default one, whichever it is, or a chosen one. It changes as devices come and go,
/// open or not; where the chosen device goes, the choice is the default one again.
class OutputDeviceMenu : public QMenu
{
    Q_OBJECT

public:
    explicit OutputDeviceMenu(QWidget *parent = nullptr);
    ~OutputDeviceMenu() override;

    /// The device that was chosen, or 0: follow the default one.
    [[nodiscard]] kx::DeviceID chosenDevice() const noexcept { return chosen_; }
    /// Whether nothing can be heard: there is no device but virtual ones.
    [[nodiscard]] bool onlyVirtual() const noexcept { return onlyVirtual_; }

    /// As if the user chose the default device.
    void chooseDefault();

signals:
    /// The choice is another one: by the user, or because the chosen device has gone.
    void deviceChosen(kx::DeviceID device);
    void onlyVirtualChanged(bool onlyVirtual);

private:
    void devicesChanged();
    void refresh();
    void build(const std::vector<kx::Device> &devices);
    void addDevice(const QString &text, kx::DeviceID device);
    void choose(kx::DeviceID device);
    void setOnlyVirtual(bool onlyVirtual);

    kx::DeviceID chosen_ = 0;
    bool onlyVirtual_ = false;
    QActionGroup *group_;
    std::shared_ptr<OutputDeviceMenu *> self_ = std::make_shared<OutputDeviceMenu *>(this); ///< while it is there
    std::atomic<bool> refreshIsDue_{false}; ///< bursts of changes are met once
    kx::Subscription subscription_;
};

} // namespace kxplayer
