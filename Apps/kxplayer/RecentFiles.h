#pragma once

#include <QMenu>
#include <QSettings>

#include <filesystem>
#include <vector>

namespace kxplayer
{

/// The files that were opened last, the latest first: at most kMost, each once, kept in the settings.
class RecentFiles
{
public:
    static constexpr std::size_t kMost = 10;

    /// `settings` must outlive it.
    explicit RecentFiles(QSettings &settings) : settings_(settings) {}

    /// An absolute path.
    void add(const std::filesystem::path &file);
    /// Those that are still there; the others are forgotten.
    std::vector<std::filesystem::path> present();
    void clear();

private:
    [[nodiscard]] std::vector<std::filesystem::path> load() const;
    void save(const std::vector<std::filesystem::path> &files);

    QSettings &settings_;
};

/// The menu of recent files, filled each time it is shown.
class RecentFilesMenu : public QMenu
{
    Q_OBJECT

public:
    /// `files` must outlive it.
    explicit RecentFilesMenu(RecentFiles &files, QWidget *parent = nullptr);

signals:
    void fileChosen(const std::filesystem::path &file);

private:
    void fill();

    RecentFiles &files_;
};

} // namespace kxplayer
