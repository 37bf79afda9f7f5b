#include "Apps/kxplayer/MainWindow.h"

#include "Apps/kxplayer/KeysOfControls.h"
#include "Apps/kxplayer/MenuText.h"
#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/TellLater.h"
#include "Apps/kxplayer/WindowPlace.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMimeData>

#include <utility>

namespace
{

constexpr int64_t kSecond = 44100;
constexpr int64_t kSmallStep = kSecond;
constexpr int64_t kLargeStep = 10 * kSecond;

/// In a title "[*]" stands for a mark of changes, and twice for itself.
QString titleOf(const std::filesystem::path &file)
{
    return kxplayer::shortText(kxplayer::nameOfPath(file)).replace("[*]", "[*][*]") + " - kxplayer";
}

} // namespace

namespace kxplayer
{

MainWindow::MainWindow()
{
    setCentralWidget(screen_->view());
    setAcceptDrops(true);
    addMenus();
    media_ = std::make_unique<MediaControl>(*screen_, *this, [this](const auto &file) { openFile(file); });
    screen_->changed = [this] { showState(); };
    screen_->jumped = [this](int64_t frame) { media_->tellJump(frame); };
    new KeysOfControls(*this);
    if (!restoreWindowPlace(*this, settings_))
        resize(780, 460);
    showState();
}

MainWindow::~MainWindow()
{
    screen_->changed = {};
    screen_->jumped = {};
}

QAction *MainWindow::addAction(QMenu &menu, const QString &text, const QKeySequence &shortcut,
                               std::function<void()> run)
{
    QAction *action = menu.addAction(text);
    action->setShortcut(shortcut);
    connect(action, &QAction::triggered, this,
            [run = std::move(run)] { kx::atToolkitEdge("The action failed.", run); });
    return action;
}

void MainWindow::addMenus()
{
    QMenu &files = *menuBar()->addMenu(tr("&File"));
    openAction_ = addAction(files, tr("&Open..."), QKeySequence::Open, [this] { screen_->clickOpenButton({}); });
    auto *recent = new RecentFilesMenu(recent_, this);
    connect(recent, &RecentFilesMenu::fileChosen, this, &MainWindow::openFile);
    files.addMenu(recent);
    exportAction_ =
        addAction(files, tr("&Export..."), QKeySequence("Ctrl+E"), [this] { screen_->clickExportButton({}); });
    files.addSeparator();
    addAction(files, tr("&Quit"), QKeySequence::Quit, [this] { close(); });

    addPlaybackMenu();

    devices_ = new OutputDeviceMenu(this);
    menuBar()->addMenu(devices_);
    connect(devices_, &OutputDeviceMenu::deviceChosen, this, &MainWindow::chooseDevice);
    const auto notice = [this](bool onlyVirtual) {
        screen_->setNotice(onlyVirtual ? tr("There is no sound device: nothing can be heard.") : QString());
    };
    connect(devices_, &OutputDeviceMenu::onlyVirtualChanged, this, notice);
    notice(devices_->onlyVirtual());
}

void MainWindow::addPlaybackMenu()
{
    QMenu &playback = *menuBar()->addMenu(tr("&Playback"));
    playAction_ =
        addAction(playback, tr("&Play"), Qt::Key_Space, [this] { screen_->setPlaying(!screen_->isPlaying()); });
    loopAction_ = addAction(playback, tr("&Loop"), Qt::Key_L, [this] { screen_->setLoop(!screen_->loops()); });
    loopAction_->setCheckable(true);
    playback.addSeparator();
    addAction(playback, tr("Loop &from Here"), Qt::Key_I, [this] { screen_->setRangeStart(screen_->shownFrame()); });
    addAction(playback, tr("Loop &to Here"), Qt::Key_O, [this] { screen_->setRangeEnd(screen_->shownFrame()); });
    playback.addSeparator();
    const auto step = [&](const QString &text, const QKeySequence &key, int64_t frames) {
        addAction(playback, text, key, [this, frames] { screen_->moveBy(frames); });
    };
    step(tr("Back a Second"), Qt::Key_Left, -kSmallStep);
    step(tr("Forward a Second"), Qt::Key_Right, kSmallStep);
    step(tr("Back Ten Seconds"), QKeySequence("Shift+Left"), -kLargeStep);
    step(tr("Forward Ten Seconds"), QKeySequence("Shift+Right"), kLargeStep);
    addAction(playback, tr("To the &Start of the Range"), QKeySequence("Home"),
              [this] { screen_->moveTo(screen_->player()->startOffsetInFrame()); });
}

void MainWindow::openFile(const std::filesystem::path &file)
{
    if (screen_->isExporting())
        return tellLater("A file cannot be opened while an export is running.", shortText(nameOfPath(file)));
    kx::atToolkitEdge("The action failed.", [&] { screen_->_openFileAtURL(file); });
}

void MainWindow::openArgument(const QByteArray &argument)
{
    open(pathOfArgument(argument));
}

void MainWindow::open(const PathOrRefusal &given)
{
    if (const auto *file = std::get_if<std::filesystem::path>(&given))
        openFile(*file);
    else
        tellLater(std::get<Refusal>(given).text);
}

void MainWindow::chooseDevice(kx::DeviceID device)
{
    const bool playing = screen_->isPlaying();
    bool isUsed = false;
    kx::atToolkitEdge("The output device cannot be used.", [&] {
        screen_->player()->setFollowsDefaultOutput(device == 0);
        screen_->player()->setOutputDeviceID(device);
        isUsed = true;
    });
    if (!isUsed)
        devices_->chooseDefault(); // comes back here for that one
    kx::atToolkitEdge("The action failed.", [&] { screen_->setPlaying(playing); });
    screen_->_updateUI();
}

void MainWindow::showState()
{
    const bool playing = screen_->isPlaying();
    const bool loaded = screen_->isLoaded();
    playAction_->setText(playing ? tr("Sto&p") : tr("&Play"));
    playAction_->setEnabled(loaded);
    openAction_->setEnabled(!playing);
    exportAction_->setEnabled(loaded && !playing);
    loopAction_->setChecked(screen_->loops());
    setWindowTitle(loaded ? titleOf(screen_->file()) : QString("kxplayer"));
    if (loaded && std::exchange(knownFile_, screen_->fileNumber()) != screen_->fileNumber())
        recent_.add(screen_->file());
    if (media_)
        media_->tellState();
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    saveWindowPlace(*this, settings_);
    screen_->cancelOpening();
    screen_->setContinuesExporting(false);
    kx::atToolkitEdge("The action failed.", [this] { screen_->setPlaying(false); });
    QMainWindow::closeEvent(event);
}

/// What no control has a use for; a shortcut would take Escape from the fields.
void MainWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && screen_->isOpening())
        screen_->cancelOpening();
    else
        QMainWindow::keyPressEvent(event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (holdsFiles(*event->mimeData()))
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    event->acceptProposedAction();
    open(pathOfDrop(*event->mimeData()));
}

} // namespace kxplayer
