#pragma once

#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MediaControl.h"
#include "Apps/kxplayer/PlayerScreen.h"
#include "Apps/kxplayer/RecentFiles.h"
#include "kx/Device.h"

#include <QMainWindow>
#include <QSettings>

#include <filesystem>
#include <functional>
#include <memory>

class QAction;
class QMenu;

namespace kxplayer
{

class OutputDeviceMenu;

/// The player's window: the screen, and around it menus with shortcuts, recent files, files that are dropped, the
/// output device, the desktop's media controls, and its own place and title. For the main thread.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    MainWindow();
    ~MainWindow() override;

    [[nodiscard]] const std::shared_ptr<PlayerScreen> &screen() const noexcept { return screen_; }
    /// Opens the file in the background, with an alert where it cannot be read.
    void openFile(const std::filesystem::path &file);
    /// Opens the file of a command line, or says why it is none.
    void openArgument(const QByteArray &argument);

protected:
    void closeEvent(QCloseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void open(const PathOrRefusal &given);
    void addMenus();
    void addEditMenu();
    void addViewMenu();
    void addPlaybackMenu();
    QAction *addAction(QMenu &menu, const QString &text, const QKeySequence &shortcut, std::function<void()> run);
    QAction *addChoice(QMenu &menu, const QString &text, std::function<void(bool on)> run);
    void chooseDevice(kx::DeviceID device);
    void showState();

    QSettings settings_;
    RecentFiles recent_{settings_};
    std::shared_ptr<PlayerScreen> screen_ = std::make_shared<PlayerScreen>();
    std::unique_ptr<MediaControl> media_;
    uint64_t knownFile_ = 0; ///< the number of the load that is in the recent files
    OutputDeviceMenu *devices_ = nullptr;
    QAction *playAction_ = nullptr;
    QAction *loopAction_ = nullptr;
    QAction *exportAction_ = nullptr;
    QAction *openAction_ = nullptr;
    QAction *undoAction_ = nullptr;
    QAction *redoAction_ = nullptr;
};

} // namespace kxplayer
