#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/DoubleClickReset.h"
#include "Apps/kxplayer/PaletteWatch.h"
#include "Apps/kxplayer/PlayerBar.h"
#include "Apps/kxplayer/ShownWatch.h"
#include "Apps/kxplayer/TellLater.h"
#include "Apps/kxplayer/TimeText.h"
#include "Apps/kxplayer/VolumeSlider.h"
#include "Apps/kxplayer/WaveformWidget.h"

#include <QLineEdit>
#include <QScreen>
#include <QShortcut>
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
    waveform_ = new WaveformWidget;
    volume_ = new VolumeSlider;
    fill(view()->findChild<QWidget *>("waveformHolder"), waveform_);
    fill(view()->findChild<QWidget *>("volumeHolder"), volume_);
    KXAFilePlayerViewController::viewDidLoad();

    new PaletteWatch(&refresh_, *view(), [this](const QPalette &colors) { followPalette(colors); });
    QObject::connect(waveform_, &WaveformWidget::pointed, &refresh_, [this](int64_t frame) {
        kx::atToolkitEdge("The action failed.", [&] { moveTo(frame); }); // reads the file
    });
    openingNotice_.setSingleShot(true);
    openingNotice_.callOnTimeout([this] { showOpening(true); });
    showOpening(false);
    refresh_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&refresh_, &QTimer::timeout, [this] { followHeardFrame(); });
    QObject::connect(volume_, &VolumeSlider::gainChanged, &refresh_, [this](double gain) {
        kx::atToolkitEdge("The action failed.", [&] { player()->setVolume(static_cast<float>(gain)); });
        tellChange();
    });
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
}

/// The waveform's range has the colour of the bar's. Hints are as faint as the text allows: not all dark themes tell.
void kxplayer::PlayerScreen::followPalette(const QPalette &colors)
{
    const auto bar = std::dynamic_pointer_cast<PlayerBar>(playPositionView());
    if (!bar)
        return;
    bar->setOnDark(colors.color(QPalette::Base).lightness() < colors.color(QPalette::Text).lightness());
    const NSColor range = bar->_drawingColor();
    QColor hint = colors.color(QPalette::Text);
    hint.setAlphaF(kHintStrength);
    QPalette own;
    own.setColor(QPalette::PlaceholderText, hint);
    own.setColor(QPalette::WindowText, hint);
    for (const NSTextField &field : {fileNameField(), openingLabel_})
        if (QWidget *label = field.widget())
            label->setPalette(own);
    own.setColor(QPalette::Highlight, QColor::fromRgbF(float(range.red), float(range.green), float(range.blue)));
    waveform_->setPalette(own);
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

int64_t kxplayer::PlayerScreen::shownFrame() const
{
    const auto bar = playPositionView();
    return bar ? bar->playFrame() : 0;
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
    if (const auto bar = playPositionView(); bar && bar->enabled() != shownLoaded_)
        bar->setEnabled(shownLoaded_);
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
    const auto bar = playPositionView();
    if (!bar || !isLoaded() || bar->isDragging())
        return;
    const int64_t heard = player()->heardFrame().frame;
    const bool jumping = jumpTarget_ && isPlaying() && sinceJump_.elapsed() < kLongestJumpMilliseconds &&
                         std::abs(heard - *jumpTarget_) > kJumpWindow;
    if (jumping)
        return;
    jumpTarget_.reset();
    const bool wraps = isPlaying() && bar->playFrame() - heard > kJumpWindow;
    if (heard != bar->playFrame())
        showLine(heard);
    if (wraps && jumped)
        jumped(heard);
}

void kxplayer::PlayerScreen::showLine(int64_t frame)
{
    if (const auto bar = playPositionView())
        bar->setPlayFrame(frame); // during a drag it stays where the pointer is
    waveform_->setPlayFrame(shownFrame());
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
    const int64_t start = player()->startOffsetInFrame();
    const int64_t end = player()->endOffsetInFrame();
    if (const auto bar = playPositionView()) {
        bar->setStartFrame(start);
        bar->setEndFrame(end);
    }
    waveform_->setRange(start, end);
    startTimeField().setIntegerValue(start);
    endTimeField().setIntegerValue(end);
    startTimeText_.setStringValue(timeText(start));
    endTimeText_.setStringValue(timeText(end));
}

void kxplayer::PlayerScreen::hasJumpedTo(int64_t frame)
{
    jumpTarget_ = frame;
    sinceJump_.start();
    showLine(frame);
    showPosition(frame);
    if (jumped)
        jumped(frame);
}

void kxplayer::PlayerScreen::tellChange() const
{
    if (changed)
        changed();
}
