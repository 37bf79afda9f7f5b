#pragma once

#include "Apps/kxplayer/OutputDevices.h"

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

    /// The device that was chosen, or kAudioObjectUnknown: follow the default one.
    [[nodiscard]] AudioObjectID chosenDevice() const noexcept { return chosen_; }
    /// Whether nothing can be heard: there is no device but virtual ones.
    [[nodiscard]] bool onlyVirtual() const noexcept { return onlyVirtual_; }

    /// As if the user chose the default device.
    void chooseDefault();

signals:
    /// The choice is another one: by the user, or because the chosen device has gone.
    void deviceChosen(AudioObjectID device);
    void onlyVirtualChanged(bool onlyVirtual);

private:
    static OSStatus devicesChanged(AudioObjectID object, uint32_t count, const AudioObjectPropertyAddress *addresses,
                                   void *menu);
    void refresh();
    void build(const std::vector<OutputDevice> &devices);
    void addDevice(const QString &text, AudioObjectID device);
    void choose(AudioObjectID device);
    void setOnlyVirtual(bool onlyVirtual);

    AudioObjectID chosen_ = kAudioObjectUnknown;
    bool onlyVirtual_ = false;
    QActionGroup *group_;
    std::shared_ptr<OutputDeviceMenu *> self_ = std::make_shared<OutputDeviceMenu *>(this); ///< while it is there
    std::atomic<bool> refreshIsDue_{false}; ///< bursts of changes are met once
    DeviceObserver observer_;
};

} // namespace kxplayer
