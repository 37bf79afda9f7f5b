#include "KXFW/KXFWUI.h"

#include <QApplication>
#include <QMainWindow>

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    const auto screen = std::make_shared<KXAFilePlayerViewController>();
    QMainWindow window;
    window.setCentralWidget(screen->view()); // the window owns the view; whoever made the screen keeps it
    window.setWindowTitle("Player screen");
    window.show();
    return QApplication::exec();
}
