#include "Apps/kxplayer/OutputDeviceMenu.h"

#include "Apps/kxplayer/MenuText.h"
#include "KXFW/KXFWUI.h"

#include <QActionGroup>

#include <algorithm>

namespace kxplayer
{

namespace
{

QString textOf(const OutputDevice &device)
{
    const QString name = menuText(QString::fromStdString(device.name));
    return device.isVirtual ? OutputDeviceMenu::tr("%1 (virtual, not heard)").arg(name) : name;
}

} // namespace

OutputDeviceMenu::OutputDeviceMenu(QWidget *parent)
    : QMenu(tr("Output Device"), parent), group_(new QActionGroup(this)), observer_(&devicesChanged, this)
{
    kx::installToolkit();
    refresh();
}

OutputDeviceMenu::~OutputDeviceMenu() = default;

/// On the platform's notification thread.
OSStatus OutputDeviceMenu::devicesChanged(AudioObjectID /*object*/, uint32_t /*count*/,
                                          const AudioObjectPropertyAddress * /*addresses*/, void *menu)
{
    auto *const self = static_cast<OutputDeviceMenu *>(menu);
    if (!self->refreshIsDue_.exchange(true))
        kx::MainQueue::async([weak = std::weak_ptr(self->self_)] {
            if (const auto present = weak.lock())
                (*present)->refresh();
        });
    return noErr;
}

void OutputDeviceMenu::refresh()
{
    refreshIsDue_ = false; // first: a change from here on brings another call
    const std::vector<OutputDevice> devices = presentOutputDevices();
    const bool isThere = std::ranges::find(devices, chosen_, &OutputDevice::id) != devices.end();
    const bool hasLost = chosen_ != kAudioObjectUnknown && !isThere;
    if (hasLost)
        chosen_ = kAudioObjectUnknown;
    build(devices);
    if (hasLost)
        emit deviceChosen(chosen_);
    setOnlyVirtual(std::ranges::all_of(devices, &OutputDevice::isVirtual));
}

void OutputDeviceMenu::build(const std::vector<OutputDevice> &devices)
{
    clear();
    const AudioObjectID current = KXAHardwareManager::defaultOutputDeviceID();
    const auto found = std::ranges::find(devices, current, &OutputDevice::id);
    addDevice(found != devices.end() ? tr("Default Device (%1)").arg(textOf(*found)) : tr("Default Device (none)"),
              kAudioObjectUnknown);
    addSeparator();
    for (const OutputDevice &device : devices)
        addDevice(textOf(device), device.id);
}

void OutputDeviceMenu::addDevice(const QString &text, AudioObjectID device)
{
    QAction *const action = addAction(text, this, [this, device] { choose(device); });
    action->setCheckable(true);
    action->setActionGroup(group_);
    action->setChecked(device == chosen_);
    action->setData(device);
}

void OutputDeviceMenu::chooseDefault()
{
    actions().constFirst()->setChecked(true);
    choose(kAudioObjectUnknown);
}

void OutputDeviceMenu::choose(AudioObjectID device)
{
    if (device == chosen_)
        return;
    chosen_ = device;
    emit deviceChosen(device);
}

void OutputDeviceMenu::setOnlyVirtual(bool onlyVirtual)
{
    if (onlyVirtual_ == onlyVirtual)
        return;
    onlyVirtual_ = onlyVirtual;
    emit onlyVirtualChanged(onlyVirtual);
}

} // namespace kxplayer
