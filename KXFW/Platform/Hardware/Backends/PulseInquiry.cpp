#include "KXFW/Platform/Hardware/Backends/PulseInquiry.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Hardware/Backends/PulseQuirks.h"

kx::PulseInquiry::PulseInquiry(pa_context *context, std::function<void(PulseDevices)> done) : done_(std::move(done))
{
    questions_ = {
        pa_context_get_server_info(
            context,
            [](pa_context *, const pa_server_info *server, void *self) noexcept {
                static_cast<PulseInquiry *>(self)->hear(server);
            },
            this),
        pa_context_get_sink_info_list(
            context,
            [](pa_context *, const pa_sink_info *sink, int end, void *self) noexcept {
                static_cast<PulseInquiry *>(self)->hear(sink, end);
            },
            this),
        pa_context_get_source_info_list(
            context,
            [](pa_context *, const pa_source_info *source, int end, void *self) noexcept {
                static_cast<PulseInquiry *>(self)->hear(source, end);
            },
            this),
    };
}

kx::PulseInquiry::~PulseInquiry()
{
    for (pa_operation *question : questions_) {
        if (question == nullptr)
            continue;
        pa_operation_cancel(question);
        pa_operation_unref(question);
    }
}

void kx::PulseInquiry::hear(const pa_server_info *server)
{
    if (server != nullptr)
        runLogged("KXFW pulse", [&] {
            devices_.state.defaultOutput = pulseDefaultName(server->default_sink_name);
            devices_.state.defaultInput = pulseDefaultName(server->default_source_name);
        });
    oneAnswered();
}

template <class Info> void kx::PulseInquiry::hear(const Info *device, int end)
{
    if (end != 0) // the end of the list, or a refusal
        oneAnswered();
    else if (device != nullptr)
        runLogged("KXFW pulse", [&] { devices_.add(*device); });
}

void kx::PulseInquiry::oneAnswered()
{
    if (++answered_ < questions_.size())
        return;
    const auto done = std::move(done_); // it may destroy this object
    done(std::move(devices_));
}
