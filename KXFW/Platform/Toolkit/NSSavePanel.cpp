#include "KXFW/Platform/Toolkit/NSSavePanel.h"

#include "KXFW/Platform/Toolkit/FileDialog.h"

#include <QPointer>

#include <utility>

struct NSSavePanel::Impl {
    Purpose purpose;
    std::vector<std::string> allowedFileTypes;
    std::filesystem::path directoryURL;
    std::string nameFieldStringValue;
    std::weak_ptr<NSOpenSavePanelDelegate> delegate;
    std::filesystem::path url;
};

NSSavePanel::NSSavePanel(Purpose purpose) : impl_(std::make_unique<Impl>())
{
    impl_->purpose = purpose;
}

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

const std::vector<std::string> &NSSavePanel::allowedFileTypes() const noexcept
{
    return impl_->allowedFileTypes;
}

void NSSavePanel::setAllowedFileTypes(std::vector<std::string> types)
{
    impl_->allowedFileTypes = std::move(types);
}

const std::filesystem::path &NSSavePanel::directoryURL() const noexcept
{
    return impl_->directoryURL;
}

void NSSavePanel::setDirectoryURL(std::filesystem::path folder)
{
    impl_->directoryURL = std::move(folder);
}

const std::string &NSSavePanel::nameFieldStringValue() const noexcept
{
    return impl_->nameFieldStringValue;
}

void NSSavePanel::setNameFieldStringValue(std::string name)
{
    impl_->nameFieldStringValue = std::move(name);
}

std::shared_ptr<NSOpenSavePanelDelegate> NSSavePanel::delegate() const
{
    return impl_->delegate.lock();
}

void NSSavePanel::setDelegate(const std::shared_ptr<NSOpenSavePanelDelegate> &delegate)
{
    impl_->delegate = delegate;
}

const std::filesystem::path &NSSavePanel::URL() const noexcept
{
    return impl_->url;
}

void NSSavePanel::beginSheetModalForWindow(const NSWindow &window, std::function<void(int64_t result)> completion)
{
    const auto self = shared_from_this();
    const auto mayChoose = [self](const std::filesystem::path &url) {
        const auto asked = self->delegate();
        return !asked || asked->panel(*self, url);
    };
    auto *dialog =
        new kx::FileDialog(impl_->purpose == Purpose::Save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen,
                           impl_->allowedFileTypes, mayChoose);
    dialog->propose(impl_->directoryURL, impl_->nameFieldStringValue);
    const auto end = [self, open = QPointer(dialog), ended = std::move(completion)](int64_t result) {
        if (open && result == NSModalResponseOK)
            self->impl_->url = open->chosen();
        if (open)
            open->deleteLater();
        if (ended)
            ended(open ? result : NSModalResponseCancel);
    };
    window.beginSheet(NSWindow(dialog), end);
}
