#pragma once

#include "KXFW/Platform/Foundation/NSObject.h"
#include "KXFW/Platform/Toolkit/NSWindow.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class NSSavePanel;

/// Decides what can be chosen in a panel. Called on the main thread.
class KX_EXPORT NSOpenSavePanelDelegate
{
public:
    /// Whether the user may choose the file, or go into the folder. [main]
    [[nodiscard]] virtual bool panel(NSSavePanel &sender, const std::filesystem::path &shouldEnableURL) = 0;

protected:
    ~NSOpenSavePanelDelegate() = default;
};

/// Asks the user where to save a file. A name without an allowed type gets the first one; before a file that exists is
/// replaced, the user is asked. The panel saves nothing itself.
///
/// Made with savePanel(); it is kept alive while it is open. Main thread only.
class KX_EXPORT NSSavePanel : public NSObject, public std::enable_shared_from_this<NSSavePanel>
{
public:
    [[nodiscard]] static std::shared_ptr<NSSavePanel> savePanel(); ///< [main]
    ~NSSavePanel() override;                                       ///< [main]

    // What it offers, from the next time that it begins. All [main].

    /// The extensions that may be chosen, without a dot, in any case; none allows all.
    [[nodiscard]] const std::vector<std::string> &allowedFileTypes() const noexcept;
    void setAllowedFileTypes(std::vector<std::string> types);
    /// The folder that it shows first; empty for the last one that a panel showed.
    [[nodiscard]] const std::filesystem::path &directoryURL() const noexcept;
    void setDirectoryURL(std::filesystem::path folder);
    /// The name that it proposes.
    [[nodiscard]] const std::string &nameFieldStringValue() const noexcept;
    void setNameFieldStringValue(std::string name);
    /// Who decides on each file beside the types. Borrowed weakly.
    [[nodiscard]] std::shared_ptr<NSOpenSavePanelDelegate> delegate() const;
    void setDelegate(const std::shared_ptr<NSOpenSavePanelDelegate> &delegate);

    /// Shows the panel as a sheet and returns at once. `completion` is called exactly once, soon: with
    /// NSModalResponseOK when the user has chosen a file, else with NSModalResponseCancel, also when the window goes
    /// meanwhile. [main]
    void beginSheetModalForWindow(const NSWindow &window, std::function<void(int64_t result)> completion);
    /// The file that was chosen last; empty before. [main]
    [[nodiscard]] const std::filesystem::path &URL() const noexcept;

protected:
    enum class Purpose { Save, Open };
    explicit NSSavePanel(Purpose purpose); ///< [main]

private:
    struct Impl;
    const std::unique_ptr<Impl> impl_;
};

/// Asks the user for a file that exists. Made with openPanel(). Main thread only.
class KX_EXPORT NSOpenPanel : public NSSavePanel
{
public:
    [[nodiscard]] static std::shared_ptr<NSOpenPanel> openPanel(); ///< [main]

private:
    NSOpenPanel();
};
