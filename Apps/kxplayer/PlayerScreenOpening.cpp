// Opening files.
#include "Apps/kxplayer/PlayerScreen.h"

#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MenuText.h"
#include "Apps/kxplayer/TellLater.h"
#include "Apps/kxplayer/TimeText.h"

#include <QCoreApplication>
#include <QWidget>

namespace
{

constexpr int kNoticeMilliseconds = 200; // below that an opening counts as immediate
constexpr int kNoticeWidth = 200;        // points, of the name in it

QString sentence(const char *text)
{
    return QCoreApplication::translate("PlayerScreen", text);
}

} // namespace

const std::vector<std::string> &kxplayer::PlayerScreen::_allowedExtensions() const
{
    static const std::vector<std::string> extensions = [] {
        std::vector<std::string> all;
        for (const kx::Format &format : kx::formats())
            all.insert(all.end(), format.suffixes.begin(), format.suffixes.end());
        return all;
    }();
    return extensions;
}

bool kxplayer::PlayerScreen::_openFileAtURL(const std::filesystem::path &url)
{
    showOpening(false);
    opener_.open(url);
    if (openingLabel_) {
        const QString name =
            openingLabel_.widget()->fontMetrics().elidedText(shortText(nameOfPath(url)), Qt::ElideMiddle, kNoticeWidth);
        openingLabel_.setStringValue(sentence("Opening %1…").arg(name).toStdString());
    }
    openingNotice_.start(kNoticeMilliseconds);
    return false;
}

void kxplayer::PlayerScreen::cancelOpening()
{
    opener_.leave();
    showOpening(false);
}

void kxplayer::PlayerScreen::showOpening(bool opening)
{
    openingNotice_.stop();
    if (openingLabel_)
        openingLabel_.widget()->parentWidget()->setVisible(opening);
}

/// What is exported is what the user sees.
void kxplayer::PlayerScreen::clickExportButton(const NSControl &sender)
{
    cancelOpening();
    loopAsWanted(false); // with the range as it is shown
    KXAFilePlayerViewController::clickExportButton(sender);
}

void kxplayer::PlayerScreen::takeFile(const kx::Result<kx::File> &opened)
{
    showOpening(false);
    const std::filesystem::path file = opened ? opened->path() : opened.error().file;
    const QString name = shortText(nameOfPath(file));
    if (!opened)
        return tellLater(
            "Failed to read a file.",
            sentence("“%1” cannot be opened: %2.").arg(name, QString::fromStdString(opened.error().reason)));
    kx::atToolkitEdge("The action failed.", [&] {
        if (isPlaying()) // only that: finding where it stands would read the old file
            KXAFilePlayerViewController::clickPlayButton(playButton());
        if (player()->loadDataSource(opened->native()))
            showFile(file);
        else // an export has begun meanwhile
            tellLater("A file cannot be opened while an export is running.", name);
    });
}

void kxplayer::PlayerScreen::showFile(const std::filesystem::path &file)
{
    file_ = file;
    ++fileNumber_;
    fileNameField().setStringValue(file.filename().string());
    timeline_.open(file, length());
    snapReader_.open(file);
    waitsForRange_ = false;
    history_.begin(settings());
    lengthTimeLabel_.setStringValue("/ " + timeText(numFrames()));
    showRange();
    hasJumpedTo(player()->frameOffset());
    _updateUI();
}
