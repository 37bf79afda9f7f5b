#pragma once

#include "KXFW/UI/KXAFilePlayerViewController.h"
#include "Tests/Support/Media.h"
#include "Tests/Support/ScopedVirtualHardware.h"
#include "Tests/Toolkit/ToolkitTesting.h"

#include <QApplication>
#include <QFileDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace kx::test
{

/// The screen in its window, and the user's hands.
class PlayerScreen : public testing::Test
{
protected:
    static constexpr int64_t kFrames = 220500; // five seconds

    PlayerScreen()
    {
        screen->view()->resize(700, 240);
        screen->view()->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(screen->view()));
    }

    template <class Widget> Widget *find(const char *name) const
    {
        auto *found = screen->view()->findChild<Widget *>(name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    void click(const char *name) { QTest::mouseClick(find<QPushButton>(name), Qt::LeftButton); }
    void type(const char *name, const QString &text)
    {
        auto *field = find<QLineEdit>(name);
        field->selectAll();
        QTest::keyClicks(field, text);
        QTest::keyClick(field, Qt::Key_Return);
    }
    std::string text(const char *name) const { return find<QLineEdit>(name)->text().toStdString(); }

    /// The panel that is open now.
    static QFileDialog *panel()
    {
        QFileDialog *open = nullptr;
        EXPECT_TRUE(QTest::qWaitFor([&] {
            for (QWidget *window : QApplication::topLevelWidgets())
                if (auto *dialog = qobject_cast<QFileDialog *>(window); dialog && dialog->isVisible())
                    open = dialog;
            return open != nullptr;
        })) << "no panel";
        return open;
    }
    /// Chooses the file, and says yes where the panel asks whether to replace it.
    static void answer(const std::filesystem::path &path)
    {
        QFileDialog *open = panel();
        ASSERT_NE(open, nullptr);
        open->selectFile(QString::fromStdString(path.string()));
        static_cast<QDialog *>(open)->accept();
        if (const auto *question = open->findChild<QMessageBox *>())
            for (QAbstractButton *button : question->buttons())
                if (question->buttonRole(button) == QMessageBox::DestructiveRole)
                    button->click();
        QTest::qWait(0);
    }
    void open(const std::filesystem::path &path)
    {
        click("openButton");
        answer(path);
    }
    void openSamples(int64_t frames = kFrames)
    {
        open(make({.frames = frames}));
        ASSERT_NE(screen->player()->audioData(), nullptr);
    }

    /// What the mouse does to the bar, where y counts upward, as the bar counts.
    void mouse(QTest::MouseAction action, double x, double y)
    {
        auto *widget = find<QWidget>("playPositionView");
        QTest::mouseEvent(action, widget, Qt::LeftButton, {}, QPointF(x, widget->height() - y).toPoint());
    }
    void dragKnob(const CALayer &knob, double distance)
    {
        const double x = knob.frame().origin.x + knob.frame().size.width / 2;
        const double y = knob.frame().origin.y + knob.frame().size.height / 4;
        mouse(QTest::MousePress, x, y);
        mouse(QTest::MouseMove, x + distance, y);
        mouse(QTest::MouseRelease, x + distance, y);
    }

    [[nodiscard]] bool enabled(const char *name) const { return find<QWidget>(name)->isEnabled(); }
    std::shared_ptr<KXPlayPositionView> bar() const { return screen->playPositionView(); }

    kx::test::ScopedVirtualHardware hardware{kx::VirtualClock::Manual};
    AlertRecorder alerts;
    std::shared_ptr<KXAFilePlayerViewController> screen = std::make_shared<KXAFilePlayerViewController>();
};

} // namespace kx::test
