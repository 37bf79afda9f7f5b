// kxplayer [FILE]: the player screen in a window.
#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/MainWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFile>
#include <QIcon>

#include <cstdio>
#include <exception>

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName("kxplayer");
    QApplication::setOrganizationName("kxplayer");
    QApplication::setApplicationVersion(QString::number(KXFWVersionNumber, 'f', 1));
    QApplication::setDesktopFileName("io.github.kxfw.kxplayer");
    QApplication::setWindowIcon(QIcon(":/kxplayer/io.github.kxfw.kxplayer.svg"));

    QCommandLineParser line;
    line.setApplicationDescription("Plays an audio file with a loop range, at any rate and pitch, and exports it.");
    line.addHelpOption();
    line.addVersionOption();
    line.addPositionalArgument("FILE", "The file to open.", "[FILE]");
    line.process(application);
    try {
        kxplayer::MainWindow window;
        window.show();
        if (!line.positionalArguments().isEmpty())
            window.openArgument(QFile::encodeName(line.positionalArguments().constFirst()));
        return QApplication::exec();
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "kxplayer: %s\n", failure.what());
        return 1;
    }
}
