// Makes the screen that the bytes describe as an interface file.
#include "Fuzz/FuzzTarget.h"
#include "KXFW/Platform/Foundation/NSLog.h"
#include "KXFW/Platform/Toolkit/InterfaceBuilder.h"

#include <QApplication>

int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static const QApplication application(count, arguments);
    const QByteArray contents(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        const kx::Interface screen = kx::makeInterface({"fuzz.ui", contents});
        kx::fuzz::require(screen.root != nullptr && !screen.widgets.empty(), "a file that is taken gives widgets");
    } catch (const NSException &exception) {
        kx::fuzz::require(exception.name() == kx::nibLoadingExceptionName, "bad files have one kind of error");
    }
    return 0;
}
