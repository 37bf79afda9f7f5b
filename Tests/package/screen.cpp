// Loads the ready-made screen: its interface file, and the view classes that this names and no code does.
#include "KXFW/KXFWUI.h"

#include <QApplication>

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    return std::make_shared<KXAFilePlayerViewController>()->view() != nullptr ? 0 : 1;
}
