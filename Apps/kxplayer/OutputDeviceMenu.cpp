#include "Apps/kxplayer/OutputDeviceMenu.h"

#include "Apps/kxplayer/MenuText.h"
#include "KXFW/KXFWUI.h"

#include <QActionGroup>

#include <algorithm>

namespace kxplayer
{

namespace
{

constexpr kx::DeviceID kNone = 0;

QString textOf(const kx::Device &device)
{
    const QString name = menuText(QString::fromStdString(device.name));
    return device.isVirtual ? OutputDeviceMenu::tr("%1 (virtual, not heard)").arg(name) : name;
}

/// The devices that can play.
std::vector<kx::Device> outputDevices()
{
    std::vector<kx::Device> devices = kx::devices();
    std::erase_if(devices, [](const kx::Device &device) { return !device.canPlay; });
    return devices;
}

} // namespace

OutputDeviceMenu::OutputDeviceMenu(QWidget *parent)
    : QMenu(tr("Output Device"), parent), group_(new QActionGroup(this)),
      subscription_(kx::onDevicesChanged([this] { devicesChanged(); }))
{
    kx::installToolkit();
    refresh();
}

OutputDeviceMenu::~OutputDeviceMenu() = default;

/// On the platform's notification thread.
void OutputDeviceMenu::devicesChanged()
{
    if (!refreshIsDue_.exchange(true))
        kx::MainQueue::async([weak = std::weak_ptr(self_)] {
            if (const auto present = weak.lock())
                (*present)->refresh();
        });
}

void OutputDeviceMenu::refresh()
{
    refreshIsDue_ = false; // first: a change from here on brings another call
    const std::vector<kx::Device> devices = outputDevices();
    const bool isThere = std::ranges::find(devices, chosen_, &kx::Device::id) != devices.end();
    const bool hasLost = chosen_ != kNone && !isThere;
    if (hasLost)
        chosen_ = kNone;
    build(devices);
    if (hasLost)
        emit deviceChosen(chosen_);
    setOnlyVirtual(std::ranges::all_of(devices, &kx::Device::isVirtual));
}

void OutputDeviceMenu::build(const std::vector<kx::Device> &devices)
{
    clear();
    const auto found = std::ranges::find(devices, true, &kx::Device::isDefaultOutput);
    addDevice(found != devices.end() ? tr("Default Device (%1)").arg(textOf(*found)) : tr("Default Device (none)"),
              kNone);
    addSeparator();
    for (const kx::Device &device : devices)
        addDevice(textOf(device), device.id);
}

void OutputDeviceMenu::addDevice(const QString &text, kx::DeviceID device)
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
    choose(kNone);
}

void OutputDeviceMenu::choose(kx::DeviceID device)
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
