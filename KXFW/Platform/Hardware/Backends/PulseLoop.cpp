#include "KXFW/Platform/Hardware/Backends/PulseLoop.h"

std::shared_ptr<kx::PulseLoop> kx::PulseLoop::start()
{
    if (!PulseLibrary::load())
        return nullptr;
    Handle loop(pulse().threaded_mainloop_new());
    if (!loop)
        return nullptr;
    pulse().threaded_mainloop_set_name(loop.get(), "KXFW pulse");
    if (pulse().threaded_mainloop_start(loop.get()) < 0)
        return nullptr;
    return std::shared_ptr<PulseLoop>(new PulseLoop(std::move(loop)));
}

kx::PulseLoop::~PulseLoop()
{
    pulse().threaded_mainloop_stop(loop_.get());
}
