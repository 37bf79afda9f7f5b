#include "KXFW/Platform/Hardware/Backends/PipeWireLoop.h"

#include "KXFW/Platform/Hardware/Backends/PipeWireStream.h"

std::shared_ptr<kx::PipeWireLoop> kx::PipeWireLoop::start()
{
    if (!PipeWireLibrary::load())
        return nullptr;
    std::shared_ptr<PipeWireLoop> loop(new PipeWireLoop);
    loop->thread_ = pipeWire().thread_loop_new("KXFW pipewire", nullptr);
    if (loop->thread_ == nullptr)
        return nullptr;
    // The settings of clients that play in real time: the process callbacks get the priority that the system allows.
    // Where they are not installed, the common settings.
    const spa_dict_item items[] = {{PW_KEY_CONFIG_NAME, "client-rt.conf"}};
    const spa_dict settings{0, 1, items};
    loop->context_ = pipeWire().context_new(loop->loop(), pipeWire().properties_new_dict(&settings), 0);
    if (loop->context_ == nullptr)
        loop->context_ = pipeWire().context_new(loop->loop(), nullptr, 0);
    if (loop->context_ == nullptr || pipeWire().thread_loop_start(loop->thread_) < 0)
        return nullptr;
    return loop;
}

kx::PipeWireLoop::~PipeWireLoop()
{
    if (thread_ != nullptr)
        pipeWire().thread_loop_stop(thread_);
    if (context_ != nullptr)
        pipeWire().context_destroy(context_);
    if (thread_ != nullptr)
        pipeWire().thread_loop_destroy(thread_);
}

void kx::PipeWireLoop::loseStreams(OSStatus reason, const std::function<bool(const std::string &device)> &isThere)
{
    for (PipeWireStream *stream : streams_)
        if (!isThere(stream->device()))
            stream->loseAs(reason);
}
