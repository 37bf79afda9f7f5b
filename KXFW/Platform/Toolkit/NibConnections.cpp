#include "KXFW/Platform/Toolkit/NibConnections.h"

#include "KXFW/Platform/Toolkit/NibConnectionsImpl.h"
#include "KXFW/Platform/Toolkit/ViewWidget.h"

std::shared_ptr<NSView> kx::viewOf(QWidget *widget)
{
    const auto *host = dynamic_cast<const ViewWidget *>(widget);
    return host ? host->view() : nullptr;
}

kx::NibConnections::NibConnections() : impl_(std::make_unique<Impl>()) {}

kx::NibConnections::~NibConnections() = default;

void kx::NibConnections::action(const std::string &name, Action run)
{
    impl_->actions[name] = std::move(run);
}

void kx::NibConnections::addOutlet(const std::string &name, const std::type_info &wanted,
                                   std::function<bool(QWidget *)> take)
{
    impl_->outlets.push_back({name, &wanted, std::move(take)});
}
