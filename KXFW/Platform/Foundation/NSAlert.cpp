#include "KXFW/Platform/Foundation/NSAlert.h"

#include "KXFW/Platform/Foundation/Guarded.h"
#include "KXFW/Platform/Foundation/NSLog.h"

namespace
{

kx::Guarded<NSAlert::Presenter> &installedPresenter()
{
    static auto *const presenter = new kx::Guarded<NSAlert::Presenter>; // never destroyed: it may hold toolkit objects
    return *presenter;
}

} // namespace

void NSAlert::runModal() const
{
    if (const Presenter present = installedPresenter().get())
        present(*this);
    else
        NSLog("%@: %@", messageText_, informativeText_);
}

void NSAlert::setPresenter(Presenter presenter)
{
    installedPresenter().set(std::move(presenter));
}
