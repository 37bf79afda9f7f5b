// kxplayer [FILE]: the player screen in a window.
#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MainWindow.h"
#include "Apps/kxplayer/QuitSignals.h"
#include "kx/Version.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QIcon>

#include <cstdio>
#include <exception>
#include <span>

namespace
{

/// The bytes of an argument that the command line shows decoded: names of files need not be UTF-8.
QByteArray bytesOf(const QString &argument, std::span<char *const> arguments)
{
    for (const char *bytes : arguments)
        if (QString::fromLocal8Bit(bytes) == argument)
            return bytes;
    return argument.toLocal8Bit();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName("kxplayer");
    QApplication::setOrganizationName("kxplayer");
    QApplication::setApplicationVersion(QString::fromStdString(kx::versionText()));
    QApplication::setDesktopFileName("io.github.kxfw.kxplayer");
    QApplication::setWindowIcon(QIcon(":/kxplayer/io.github.kxfw.kxplayer.svg"));

    QCommandLineParser line;
    line.setApplicationDescription("Plays an audio file with a loop range, at any rate and pitch, and exports it.");
    line.addHelpOption();
    line.addVersionOption();
    line.addPositionalArgument("FILE", "The file to open.", "[FILE]");
    line.process(application);
    const QStringList files = line.positionalArguments();
    if (files.size() > 1) {
        std::fputs("kxplayer: it opens one file at a time\n", stderr);
        return 2;
    }
    try {
        kxplayer::MainWindow window;
        const kxplayer::QuitSignals quitSignals([] { QApplication::quit(); });
        window.show();
        if (!files.isEmpty())
            window.openArgument(bytesOf(files.constFirst(), {argv, std::size_t(argc)}));
        return QApplication::exec();
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "kxplayer: %s\n", failure.what());
        return 1;
    }
}
