#include "KXFW/Platform/Foundation/NSAlert.h"

#include "KXFW/Platform/Foundation/Guarded.h"
#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

struct NSAlert::Impl {
    std::string messageText;
    std::string informativeText;
};

namespace
{

kx::Guarded<NSAlert::Presenter> &installedPresenter()
{
    static auto *const presenter = new kx::Guarded<NSAlert::Presenter>; // never destroyed: it may hold toolkit objects
    return *presenter;
}

} // namespace

NSAlert::NSAlert() : impl_(std::make_unique<Impl>()) {}

NSAlert::~NSAlert() = default;

NSAlert::NSAlert(const NSAlert &other) : impl_(std::make_unique<Impl>(*other.impl_)) {}

NSAlert &NSAlert::operator=(const NSAlert &other)
{
    *impl_ = *other.impl_;
    return *this;
}

const std::string &NSAlert::messageText() const noexcept
{
    return impl_->messageText;
}

void NSAlert::setMessageText(std::string text)
{
    impl_->messageText = std::move(text);
}

const std::string &NSAlert::informativeText() const noexcept
{
    return impl_->informativeText;
}

void NSAlert::setInformativeText(std::string text)
{
    impl_->informativeText = std::move(text);
}

void NSAlert::runModal() const
{
    if (const Presenter present = installedPresenter().get())
        present(*this);
    else
        NSLog("%@: %@", messageText(), informativeText());
}

void NSAlert::setPresenter(Presenter presenter)
{
    installedPresenter().set(std::move(presenter));
}
