#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace kx
{

/// Tells, on a thread of its own, that entries of folders have come, gone or got other rights, once they have come to
/// rest.
/// A folder that is not there yet is seen to come where its parent is watched too.
class FolderWatch
{
public:
    FolderWatch(std::vector<std::string> folders, std::function<void()> changed);
    ~FolderWatch(); ///< Afterwards nothing is told. Not on its own thread. [blocks]
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

private:
    void run();
    void addFolders() const;
    /// Until the descriptors have nothing to say for a while; false when the watch ends.
    [[nodiscard]] bool waitForRest() const;

    const std::vector<std::string> folders_;
    const std::function<void()> changed_;
    const int events_; ///< of the folders
    const int ending_; ///< readable when the watch ends
    std::thread thread_;
};

} // namespace kx
