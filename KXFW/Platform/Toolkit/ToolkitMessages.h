#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kx
{

/// Collects what the toolkit reports on this thread, instead of its standard error, until the scope ends. Reports of
/// other threads go where they went.
class ToolkitMessages
{
public:
    ToolkitMessages(); ///< [main]
    ~ToolkitMessages();
    ToolkitMessages(const ToolkitMessages &) = delete;
    ToolkitMessages &operator=(const ToolkitMessages &) = delete;

    [[nodiscard]] std::vector<std::string> take() noexcept { return std::exchange(messages_, {}); } ///< [main]

private:
    friend struct MessageHandler;

    std::vector<std::string> messages_;
    ToolkitMessages *outer_;
};

} // namespace kx
