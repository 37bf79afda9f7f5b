#include "KXFW/Platform/Toolkit/ToolkitMessages.h"

#include <QString>

#include <atomic>

namespace kx
{

struct MessageHandler {
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        if (innermost)
            innermost->messages_.push_back(text.toStdString());
        else if (const QtMessageHandler handler = usual)
            handler(type, context, text);
    }

    static thread_local ToolkitMessages *innermost;
    static std::atomic<QtMessageHandler> usual; // the handler that is replaced while messages are collected
};

thread_local constinit ToolkitMessages *MessageHandler::innermost = nullptr;
constinit std::atomic<QtMessageHandler> MessageHandler::usual = nullptr;

ToolkitMessages::ToolkitMessages() : outer_(std::exchange(MessageHandler::innermost, this))
{
    if (!outer_)
        MessageHandler::usual = qInstallMessageHandler(MessageHandler::handle);
}

ToolkitMessages::~ToolkitMessages()
{
    MessageHandler::innermost = outer_;
    if (!outer_)
        qInstallMessageHandler(MessageHandler::usual);
}

} // namespace kx
