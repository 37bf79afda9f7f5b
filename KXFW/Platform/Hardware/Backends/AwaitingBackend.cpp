#include "KXFW/Platform/Hardware/Backends/AwaitingBackend.h"

#include "KXFW/Platform/Foundation/NSLog.h"

#include <utility>

kx::AwaitingBackend::AwaitingBackend(std::unique_ptr<HardwareBackend> awaited, std::unique_ptr<HardwareBackend> standIn)
    : standIn_(std::move(standIn)), awaited_(std::move(awaited))
{
    hasCome_ = !awaited_->state().defaultOutput.empty();
}

void kx::AwaitingBackend::setChangeHandler(std::function<void()> handler)
{
    standIn_->setChangeHandler(handler);
    awaited_->setChangeHandler([this, handler = std::move(handler)] {
        look();
        handler();
    });
    look(); // it may have come before there was a handler: the caller asks for the state next
}

void kx::AwaitingBackend::look()
{
    if (!hasCome_ && !awaited_->state().defaultOutput.empty() && !hasCome_.exchange(true))
        NSLog("hardware: a better sound system has come");
}
