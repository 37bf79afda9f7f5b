#include "Apps/kxplayer/RecentFiles.h"

#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MenuText.h"

#include <QTextDocument>

#include <algorithm>

namespace kxplayer
{

namespace
{

constexpr auto kKey = "recentFiles";

/// A file that cannot be asked about, as on a disk without rights, may be there.
bool isMissing(const std::filesystem::path &file)
{
    std::error_code error;
    return std::filesystem::status(file, error).type() == std::filesystem::file_type::not_found;
}

} // namespace

void RecentFiles::add(const std::filesystem::path &file)
{
    auto files = load();
    std::erase(files, file);
    files.insert(files.begin(), file);
    files.resize(std::min(files.size(), kMost));
    save(files);
}

std::vector<std::filesystem::path> RecentFiles::present()
{
    auto files = load();
    if (std::erase_if(files, isMissing) > 0)
        save(files);
    return files;
}

void RecentFiles::clear()
{
    settings_.remove(kKey);
}

/// Whatever the settings hold: what is no file URI is left out.
std::vector<std::filesystem::path> RecentFiles::load() const
{
    std::vector<std::filesystem::path> files;
    for (const QString &uri : settings_.value(kKey).toStringList()) {
        const auto path = pathOfUri(uri.toUtf8());
        const auto *const file = std::get_if<std::filesystem::path>(&path);
        if (file && files.size() < kMost && std::ranges::find(files, *file) == files.end())
            files.push_back(*file);
    }
    return files;
}

void RecentFiles::save(const std::vector<std::filesystem::path> &files)
{
    QStringList uris;
    for (const auto &file : files)
        uris << QString::fromLatin1(uriOfPath(file));
    settings_.setValue(kKey, uris);
}

RecentFilesMenu::RecentFilesMenu(RecentFiles &files, QWidget *parent) : QMenu(tr("Open Recent"), parent), files_(files)
{
    setToolTipsVisible(true);
    connect(this, &QMenu::aboutToShow, this, &RecentFilesMenu::fill);
}

void RecentFilesMenu::fill()
{
    clear();
    const auto files = files_.present();
    for (const auto &file : files) {
        QAction *const action = addAction(menuText(nameOfPath(file)), this, [this, file] { emit fileChosen(file); });
        action->setToolTip(Qt::convertFromPlainText(QString::fromStdString(file.string())));
    }
    if (files.empty())
        addAction(tr("No Files"))->setEnabled(false);
    addSeparator();
    addAction(tr("Clear List"), this, [this] { files_.clear(); })->setEnabled(!files.empty());
}

} // namespace kxplayer
