#include "KXFW/Platform/Toolkit/NibConnections.h"

#include "KXFW/Platform/Toolkit/ViewWidget.h"

std::shared_ptr<NSView> kx::viewOf(QWidget *widget)
{
    const auto *host = dynamic_cast<const ViewWidget *>(widget);
    return host ? host->view() : nullptr;
}

void kx::NibConnections::action(const std::string &name, Action run)
{
    actions_[name] = std::move(run);
}

const kx::NibConnections::Action *kx::NibConnections::actionNamed(const std::string &name) const
{
    const auto found = actions_.find(name);
    return found == actions_.end() ? nullptr : &found->second;
}

void kx::NibConnections::add(Outlet outlet)
{
    outlets_.push_back(std::move(outlet));
}
