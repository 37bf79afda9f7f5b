#include "KXFW/KXFWUI.h"

#include <QApplication>
#include <QVBoxLayout>

#include <cinttypes>
#include <cstdio>

namespace
{

class Listener : public KXPlayPositionViewDelegate
{
public:
    void PlayPositionViewDidChangePlayFrame(int64_t frame) override { print("play", frame); }
    void PlayPositionViewDidChangeStartFrame(int64_t frame) override { print("start", frame); }
    void PlayPositionViewDidChangeEndFrame(int64_t frame) override { print("end", frame); }

private:
    static void print(const char *what, int64_t frame)
    {
        std::printf("%s %" PRId64 "\n", what, frame);
        std::fflush(stdout);
    }
};

} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    QWidget window;
    auto *layout = new QVBoxLayout(&window);

    const auto bar = std::make_shared<KXPlayPositionView>();
    auto *widget = new kx::ViewWidget(bar); // the layout's window owns it, and it owns the bar
    widget->backWithLayer();
    layout->addWidget(widget);
    widget->awake();

    const auto listener = std::make_shared<Listener>(); // the bar only borrows it
    bar->setDelegate(listener);
    bar->setNumFrames(441000); // 10 s
    bar->setEndFrame(441000);
    bar->setEnabled(true);

    window.setWindowTitle("Transport bar");
    window.resize(460, 80);
    window.show();
    return QApplication::exec();
}
