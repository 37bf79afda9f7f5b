#include "Apps/kxplayer/MainWindow.h"

#include "Apps/kxplayer/KeysOfControls.h"
#include "Apps/kxplayer/MenuText.h"
#include "Apps/kxplayer/OutputDeviceMenu.h"
#include "Apps/kxplayer/TellLater.h"
#include "Apps/kxplayer/WindowPlace.h"

#include <QActionGroup>
#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMimeData>

#include <chrono>
#include <utility>

namespace
{

constexpr int64_t kSecond = 44100;
constexpr int64_t kSmallStep = kSecond;
constexpr int64_t kLargeStep = 10 * kSecond;
constexpr double kZoomStep = 2;
constexpr double kPanStep = 0.5; // of what is seen

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
        resize(780, 520);
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

QAction *MainWindow::addChoice(QMenu &menu, const QString &text, std::function<void(bool on)> run)
{
    QAction *action = menu.addAction(text);
    action->setCheckable(true);
    connect(action, &QAction::toggled, this,
            [run = std::move(run)](bool on) { kx::atToolkitEdge("The action failed.", [&] { run(on); }); });
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

    addEditMenu();
    addViewMenu();
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
    const auto step = [&](const QString &text, const QKeySequence &key, int64_t frames) {
        addAction(playback, text, key, [this, frames] { screen_->moveBy(frames); });
    };
    step(tr("Back a Second"), Qt::Key_Left, -kSmallStep);
    step(tr("Forward a Second"), Qt::Key_Right, kSmallStep);
    step(tr("Back Ten Seconds"), QKeySequence("Shift+Left"), -kLargeStep);
    step(tr("Forward Ten Seconds"), QKeySequence("Shift+Right"), kLargeStep);
    addAction(playback, tr("To the &Start of the Range"), QKeySequence("Home"), [this] { screen_->restartLoop(); });
}

void MainWindow::addEditMenu()
{
    QMenu &edit = *menuBar()->addMenu(tr("&Edit"));
    undoAction_ = addAction(edit, tr("&Undo"), QKeySequence("Ctrl+Z"), [this] { screen_->undo(); });
    redoAction_ = addAction(edit, tr("&Redo"), QKeySequence("Ctrl+Shift+Z"), [this] { screen_->redo(); });
    edit.addSeparator();
    addAction(edit, tr("Loop &from Here"), Qt::Key_I, [this] { screen_->setRangeStart(screen_->shownFrame()); });
    addAction(edit, tr("Loop &to Here"), Qt::Key_O, [this] { screen_->setRangeEnd(screen_->shownFrame()); });
    // A shortcut would take Escape from the fields.
    addAction(edit, tr("&Clear the Range") + "\tEsc", {}, [this] { screen_->clearRange(); });
    edit.addSeparator();
    const auto nudge = [&](const QString &text, const QString &key, RangeEnd end, int64_t milliseconds) {
        addAction(edit, text, QKeySequence(key),
                  [=, this] { screen_->nudgeRange(end, kx::toFrames(std::chrono::milliseconds(milliseconds))); });
    };
    nudge(tr("Start 10 ms Earlier"), "[", RangeEnd::Start, -10);
    nudge(tr("Start 10 ms Later"), "Alt+[", RangeEnd::Start, 10);
    nudge(tr("End 10 ms Later"), "]", RangeEnd::End, 10);
    nudge(tr("End 10 ms Earlier"), "Alt+]", RangeEnd::End, -10);
    nudge(tr("Start 100 ms Earlier"), "{", RangeEnd::Start, -100);
    nudge(tr("Start 100 ms Later"), "Alt+{", RangeEnd::Start, 100);
    nudge(tr("End 100 ms Later"), "}", RangeEnd::End, 100);
    nudge(tr("End 100 ms Earlier"), "Alt+}", RangeEnd::End, -100);
    edit.addSeparator();
    addChoice(edit, tr("&Snap to Zero Crossings"), [this](bool snaps) { screen_->setSnaps(snaps); });
}

void MainWindow::addViewMenu()
{
    QMenu &menu = *menuBar()->addMenu(tr("&View"));
    TimelineModel &timeline = screen_->timeline();
    addAction(menu, tr("Zoom &In"), QKeySequence("Ctrl++"), [&] { timeline.zoom(kZoomStep); });
    addAction(menu, tr("Zoom &Out"), QKeySequence("Ctrl+-"), [&] { timeline.zoom(1 / kZoomStep); });
    addAction(menu, tr("&Zoom to the Loop and Back"), Qt::Key_Z, [&] { timeline.toggleZoomToRange(); });
    addAction(menu, tr("Show &All"), Qt::Key_0, [&] { timeline.setView(timeline.view().all()); });
    addAction(menu, tr("View Earlier"), QKeySequence("Alt+Left"), [&] { timeline.panByPages(-kPanStep); });
    addAction(menu, tr("View Later"), QKeySequence("Alt+Right"), [&] { timeline.panByPages(kPanStep); });
    menu.addSeparator();
    auto *const modes = new QActionGroup(this);
    const std::pair<QString, Follow> follows[] = {{tr("Follow by &Pages"), Follow::Page},
                                                  {tr("Follow &Continuously"), Follow::Continuous},
                                                  {tr("Do &Not Follow"), Follow::Not}};
    for (const auto &[text, mode] : follows) {
        QAction *const action = addChoice(menu, text, [&timeline, mode = mode](bool on) {
            if (on)
                timeline.setFollow(mode);
        });
        modes->addAction(action);
        action->setChecked(mode == timeline.follow());
    }
    menu.addSeparator();
    addChoice(menu, tr("&Left and Right Apart"), [&](bool on) {
        timeline.setStyle({on, timeline.style().normalised});
    });
    addChoice(menu, tr("&Full Height"), [&](bool on) { timeline.setStyle({timeline.style().lanes, on}); });
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
    undoAction_->setEnabled(screen_->canUndo());
    redoAction_->setEnabled(screen_->canRedo());
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
    else if (event->key() == Qt::Key_Escape)
        kx::atToolkitEdge("The action failed.", [this] { screen_->clearRange(); });
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
