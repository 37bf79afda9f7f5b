#include "KXFW/Platform/Toolkit/NSSavePanel.h"

#include "KXFW/Platform/Toolkit/FileDialog.h"

#include <QPointer>

#include <utility>

NSSavePanel::NSSavePanel(Purpose purpose) : purpose_(purpose) {}

NSSavePanel::~NSSavePanel() = default;

NSOpenPanel::NSOpenPanel() : NSSavePanel(Purpose::Open) {}

std::shared_ptr<NSSavePanel> NSSavePanel::savePanel()
{
    return std::shared_ptr<NSSavePanel>(new NSSavePanel(Purpose::Save));
}

std::shared_ptr<NSOpenPanel> NSOpenPanel::openPanel()
{
    return std::shared_ptr<NSOpenPanel>(new NSOpenPanel);
}

void NSSavePanel::setAllowedFileTypes(std::vector<std::string> types)
{
    allowedFileTypes_ = std::move(types);
}

void NSSavePanel::setDirectoryURL(std::filesystem::path folder)
{
    directoryURL_ = std::move(folder);
}

void NSSavePanel::setNameFieldStringValue(std::string name)
{
    nameFieldStringValue_ = std::move(name);
}

void NSSavePanel::setDelegate(const std::shared_ptr<NSOpenSavePanelDelegate> &delegate)
{
    delegate_ = delegate;
}

void NSSavePanel::beginSheetModalForWindow(const NSWindow &window, std::function<void(int64_t result)> completion)
{
    const auto self = shared_from_this();
    const auto mayChoose = [self](const std::filesystem::path &url) {
        const auto asked = self->delegate();
        return !asked || asked->panel(*self, url);
    };
    auto *dialog = new kx::FileDialog(purpose_ == Purpose::Save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen,
                                      allowedFileTypes_, mayChoose);
    dialog->propose(directoryURL_, nameFieldStringValue_);
    const auto end = [self, open = QPointer(dialog), ended = std::move(completion)](int64_t result) {
        if (open && result == NSModalResponseOK)
            self->url_ = open->chosen();
        if (open)
            open->deleteLater();
        if (ended)
            ended(open ? result : NSModalResponseCancel);
    };
    window.beginSheet(NSWindow(dialog), end);
}
