#include "KXFW/Platform/Hardware/Backends/PulseInquiry.h"

#include "KXFW/Platform/Dispatch/LoggedTask.h"
#include "KXFW/Platform/Hardware/Backends/PulseQuirks.h"

kx::PulseInquiry::PulseInquiry(pa_context *context, std::function<void(PulseDevices)> done)
    : context_(context), done_(std::move(done))
{
    ask();
}

kx::PulseInquiry::~PulseInquiry()
{
    dropQuestions();
}

void kx::PulseInquiry::dropQuestions() noexcept
{
    for (pa_operation *question : questions_) {
        if (question == nullptr)
            continue;
        pulse().operation_cancel(question);
        pulse().operation_unref(question);
    }
}

void kx::PulseInquiry::ask()
{
    const auto serverAnswer = [](pa_context *, const pa_server_info *server, void *self) noexcept {
        static_cast<PulseInquiry *>(self)->hear(server);
    };
    const auto sinkAnswer = [](pa_context *, const pa_sink_info *sink, int end, void *self) noexcept {
        static_cast<PulseInquiry *>(self)->hear(sink, end);
    };
    const auto sourceAnswer = [](pa_context *, const pa_source_info *source, int end, void *self) noexcept {
        static_cast<PulseInquiry *>(self)->hear(source, end);
    };
    devices_ = {};
    answered_ = 0;
    questions_ = {pulse().context_get_server_info(context_, serverAnswer, this),
                  pulse().context_get_sink_info_list(context_, sinkAnswer, this),
                  pulse().context_get_source_info_list(context_, sourceAnswer, this),
                  pulse().context_get_server_info(context_, serverAnswer, this)};
}

void kx::PulseInquiry::hear(const pa_server_info *server)
{
    runLogged("KXFW pulse", [&] {
        std::string output = pulseDefaultName(server == nullptr ? nullptr : server->default_sink_name);
        std::string input = pulseDefaultName(server == nullptr ? nullptr : server->default_source_name);
        isSteady_ = output == devices_.state.defaultOutput && input == devices_.state.defaultInput;
        devices_.state.defaultOutput = std::move(output);
        devices_.state.defaultInput = std::move(input);
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
    // The answers were not given at one moment: a default that has just gone would seem to be none.
    if (!isSteady_ && --roundsLeft_ > 0) {
        dropQuestions();
        ask();
        return;
    }
    const auto done = std::move(done_); // it may destroy this object
    done(std::move(devices_));
}
