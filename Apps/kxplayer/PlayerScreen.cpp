#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/DoubleClickReset.h"
#include "Apps/kxplayer/PaletteWatch.h"
#include "Apps/kxplayer/ShownWatch.h"
#include "Apps/kxplayer/TellLater.h"
#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/Timeline/MiniMap.h"
#include "Apps/kxplayer/Timeline/TimelineHandle.h"
#include "Apps/kxplayer/Timeline/TimelineView.h"
#include "Apps/kxplayer/VolumeSlider.h"

#include <QLineEdit>
#include <QScreen>
#include <QShortcut>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace
{

constexpr int64_t kJumpWindow = 44100 / 2;     // frames: a jump is heard once what is heard is that near to it
constexpr int kLongestJumpMilliseconds = 1000; // after which the line follows what is heard all the same
constexpr float kHintStrength = 0.55F;         // of the text's
constexpr double kUsualRefreshRate = 60;       // Hz, where the screen does not tell

void fill(QWidget *holder, QWidget *content)
{
    auto *layout = new QVBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(content);
}

} // namespace

kxplayer::PlayerScreen::PlayerScreen() : KXAFilePlayerViewController("PlayerScreen", NSBundle("kxplayer")) {}

kxplayer::PlayerScreen::~PlayerScreen() = default;

void kxplayer::PlayerScreen::declareConnections(kx::NibConnections &connections)
{
    KXAFilePlayerViewController::declareConnections(connections);
    connections.outlet("positionTimeLabel", positionTimeLabel_);
    connections.outlet("lengthTimeLabel", lengthTimeLabel_);
    connections.outlet("startTimeText", startTimeText_);
    connections.outlet("endTimeText", endTimeText_);
    connections.outlet("rateValueLabel", rateValueLabel_);
    connections.outlet("pitchValueLabel", pitchValueLabel_);
    connections.outlet("noticeLabel", noticeLabel_);
    connections.outlet("openingLabel", openingLabel_);
    connections.action("clickCancelOpeningButton:", this, &PlayerScreen::clickCancelOpeningButton);
    connections.outlet("rateSlider", rateControl_);
    connections.outlet("pitchSlider", pitchControl_);
}

void kxplayer::PlayerScreen::viewDidLoad()
{
    delete view()->findChild<QWidget *>("playPositionView"); // the base looks for a bar, and does without
    volume_ = new VolumeSlider;
    fill(view()->findChild<QWidget *>("volumeHolder"), volume_);
    KXAFilePlayerViewController::viewDidLoad();
    addTimeline();

    new PaletteWatch(&refresh_, *view(), [this](const QPalette &colors) { followPalette(colors); });
    openingNotice_.setSingleShot(true);
    openingNotice_.callOnTimeout([this] { showOpening(true); });
    showOpening(false);
    refresh_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&refresh_, &QTimer::timeout, [this] { followHeardFrame(); });
    QObject::connect(volume_, &VolumeSlider::gainChanged, &refresh_, [this](double gain) {
        kx::atToolkitEdge("The action failed.", [&] { player()->setVolume(static_cast<float>(gain)); });
        note(Change::Volume);
    });
    for (QWidget *slider : {rateControl_.widget(), pitchControl_.widget(), static_cast<QWidget *>(volume_)})
        watchSlider(slider);
    new DoubleClickReset(rateControl_.widget(), refresh_, [this] { setRate(1); });
    new DoubleClickReset(pitchControl_.widget(), refresh_, [this] {
        pitchControl_.setDoubleValue(0);
        changePitchSlider(pitchControl_);
    });
    for (const NSTextField &field : {playTimeField(), startTimeField(), endTimeField()})
        addKeys(field);
    if (QWidget *sheet = exportProgressSheet().widget())
        new ShownWatch(&refresh_, *sheet, [this](bool shown) { keepPlace(shown); });
    player()->setKeepsVolume(true);
    reportFailures();
    changeRateSlider(rateControl_);
    changePitchSlider(pitchControl_);
    history_.begin(settings());
}

void kxplayer::PlayerScreen::addTimeline()
{
    auto *const holder = view()->findChild<QWidget *>("timelineHolder");
    auto *const line = new TimelineView(timeline_);
    auto *const map = new MiniMap(timeline_);
    auto *const layout = new QVBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(line, 1);
    layout->addWidget(map);
    QWidget *before = exportButton().widget();
    for (TimelineHandle *handle : line->findChildren<TimelineHandle *>()) {
        QWidget::setTabOrder(before, handle);
        before = handle;
    }
    const auto safely = [](const std::function<void()> &run) { kx::atToolkitEdge("The action failed.", run); };
    QObject::connect(line, &TimelineView::linePicked, &refresh_,
                     [=, this](qint64 frame) { safely([&] { moveTo(frame); }); }); // reads the file
    QObject::connect(line, &TimelineView::rangePicked, &refresh_,
                     [=, this](const kx::Range &range) { safely([&] { changeRange(range, Change::Nudge); }); });
    QObject::connect(line, &TimelineView::loopRestarted, &refresh_, [=, this] { safely([&] { restartLoop(); }); });
    QObject::connect(line, &TimelineView::handBegan, &refresh_, [this] { beginStep(); });
    QObject::connect(line, &TimelineView::handEnded, &refresh_, [=, this] { safely([&] { endStep(); }); });
}

/// A drag of a slider is one step.
void kxplayer::PlayerScreen::watchSlider(QWidget *holder)
{
    auto *slider = qobject_cast<QSlider *>(holder);
    if (!slider)
        slider = holder->findChild<QSlider *>();
    QObject::connect(slider, &QSlider::sliderPressed, &refresh_, [this] { beginStep(); });
    QObject::connect(slider, &QSlider::sliderReleased, &refresh_, [this] { endStep(); });
}

/// Hints are as faint as the text allows: not all dark themes tell.
void kxplayer::PlayerScreen::followPalette(const QPalette &colors)
{
    QColor hint = colors.color(QPalette::Text);
    hint.setAlphaF(kHintStrength);
    QPalette own;
    own.setColor(QPalette::PlaceholderText, hint);
    own.setColor(QPalette::WindowText, hint);
    for (const NSTextField &field : {fileNameField(), openingLabel_})
        if (QWidget *label = field.widget())
            label->setPalette(own);
    QPalette timeline;
    timeline.setColor(QPalette::PlaceholderText, hint);
    view()->findChild<TimelineView *>()->setPalette(timeline);
}

/// Return and Escape end typing, and the keys are shortcuts again; after Escape nothing has been typed.
void kxplayer::PlayerScreen::addKeys(const NSTextField &field)
{
    auto *line = qobject_cast<QLineEdit *>(field.widget());
    if (!line)
        return;
    QObject::connect(line, &QLineEdit::returnPressed, line, &QWidget::clearFocus);
    auto *escape = new QShortcut(Qt::Key_Escape, line, nullptr, nullptr, Qt::WidgetShortcut);
    QObject::connect(escape, &QShortcut::activated, &refresh_, [this, line] {
        line->setModified(false);
        showRange();
        showPosition(shownFrame());
        line->clearFocus();
    });
}

/// An export moves the position to the range's start and on; afterwards it is where it was.
void kxplayer::PlayerScreen::keepPlace(bool exporting)
{
    if (exporting)
        frameBeforeExport_ = shownFrame();
    else
        kx::atToolkitEdge("The action failed.", [this] { moveTo(frameBeforeExport_); }); // reads the file
    _updateUI();
}

void kxplayer::PlayerScreen::reportFailures() const
{
    player()->setPlaybackFailureBlock([](const NSException &failure) {
        tellLater("The file could not be read to its end.", QString::fromStdString(kx::reasonForUser(failure)));
    });
}

// What is shown

bool kxplayer::PlayerScreen::isLoaded() const
{
    return player()->audioData() != nullptr;
}

bool kxplayer::PlayerScreen::isPlaying() const
{
    return player()->isPlaying();
}

bool kxplayer::PlayerScreen::loops() const
{
    return loopButton().state() == NSOnState;
}

int64_t kxplayer::PlayerScreen::numFrames() const
{
    return isLoaded() ? player()->audioData()->numFrames() : 0;
}

void kxplayer::PlayerScreen::setNotice(const QString &text)
{
    noticeLabel_.setStringValue(text.toStdString());
    if (noticeLabel_)
        noticeLabel_.widget()->setVisible(!text.isEmpty());
}

void kxplayer::PlayerScreen::_timerFired(NSTimer *)
{
    followHeardFrame();
    showPosition(shownFrame());
    if (isPlaying() != shownPlaying_ || isLoaded() != shownLoaded_)
        _updateUI(); // the data's end, or a device that went
    else
        tellChange(); // where it stands, after an export, too
}

void kxplayer::PlayerScreen::_updateUI()
{
    KXAFilePlayerViewController::_updateUI();
    shownPlaying_ = isPlaying();
    shownLoaded_ = isLoaded();
    for (const NSTextField &field : {playTimeField(), startTimeField(), endTimeField()})
        field.setEnabled(shownLoaded_);
    loopAsWanted(shownPlaying_);
    if (!shownPlaying_)
        refresh_.stop();
    else if (!refresh_.isActive()) {
        const double rate = view() && view()->screen() ? view()->screen()->refreshRate() : 0;
        refresh_.start(static_cast<int>(1000 / (rate > 1 ? rate : kUsualRefreshRate)));
    }
    tellChange();
}

/// The play line goes with what is heard. After a jump it stays at the jump's frame until that is heard.
void kxplayer::PlayerScreen::followHeardFrame()
{
    if (!isLoaded())
        return;
    noteArrival();
    const int64_t heard = player()->heardFrame().frame;
    const bool jumping = jumpTarget_ && isPlaying() && sinceJump_.elapsed() < kLongestJumpMilliseconds &&
                         std::abs(heard - *jumpTarget_) > kJumpWindow;
    if (jumping)
        return;
    jumpTarget_.reset();
    const bool wraps = isPlaying() && shownFrame() - heard > kJumpWindow;
    if (heard != shownFrame())
        timeline_.moveLine(heard, true);
    if (wraps && jumped)
        jumped(heard);
}

/// The numbers go ten times a second: faster nobody reads them, and texts cost more to draw than the line.
void kxplayer::PlayerScreen::showPosition(int64_t frame)
{
    const auto *field = qobject_cast<const QLineEdit *>(playTimeField().widget());
    if (!field || !(field->hasFocus() && field->isModified())) // the user is typing
        playTimeField().setIntegerValue(frame);
    positionTimeLabel_.setStringValue(timeText(frame));
}

void kxplayer::PlayerScreen::showRange()
{
    const int64_t start = range().start.count();
    const int64_t end = range().end.count();
    startTimeField().setIntegerValue(start);
    endTimeField().setIntegerValue(end);
    startTimeText_.setStringValue(timeText(start));
    endTimeText_.setStringValue(timeText(end));
}

void kxplayer::PlayerScreen::hasJumpedTo(int64_t frame)
{
    jumpTarget_ = frame;
    sinceJump_.start();
    timeline_.moveLine(frame, false);
    showPosition(frame);
    if (jumped)
        jumped(frame);
}

void kxplayer::PlayerScreen::tellChange() const
{
    if (changed)
        changed();
}
