// Sheets over windows: who takes input, and that each ends exactly once, whatever ends it.
#include "KXFW/Platform/Toolkit/NSWindow.h"

#include <QDialog>
#include <QPushButton>
#include <QTest>
#include <QWindow>

#include <gtest/gtest.h>

#include <vector>

namespace
{

using Codes = std::vector<int64_t>;

class Sheets : public testing::Test
{
protected:
    Sheets()
    {
        window->resize(300, 200);
        button->setGeometry(10, 10, 80, 30);
        QObject::connect(button, &QPushButton::clicked, [this] { ++clicks; });
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }

    void begin(QWidget *widget)
    {
        NSWindow(window.get()).beginSheet(NSWindow(widget), [this](int64_t code) { codes.push_back(code); });
    }
    /// A click on the window's button as the system reports it: a window under a sheet does not get it.
    void clickBelow() { QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, {40, 20}); }

    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    QPushButton *button = new QPushButton(window.get());
    std::unique_ptr<QWidget> sheet = std::make_unique<QWidget>();
    std::unique_ptr<QDialog> dialog = std::make_unique<QDialog>();
    int clicks = 0;
    Codes codes;
};

} // namespace

TEST_F(Sheets, TakeTheInputOfTheirWindowUntilTheyEnd)
{
    const NSWindow below(window.get());
    const NSWindow over(sheet.get());
    clickBelow();
    EXPECT_EQ(clicks, 1);
    begin(sheet.get());
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->windowHandle()->transientParent(), window->windowHandle());
    clickBelow();
    EXPECT_EQ(clicks, 1) << "the window is blocked";
    EXPECT_EQ(codes, Codes{}) << "beginning a sheet does not wait";
    below.endSheet(over, -7);
    EXPECT_EQ(codes, Codes{-7}) << "from within endSheet";
    EXPECT_FALSE(sheet->isVisible());
    below.endSheet(over);
    clickBelow();
    EXPECT_EQ(clicks, 2);
    EXPECT_EQ(codes.size(), 1U);
}

TEST_F(Sheets, EndOnceWhateverEndsThem)
{
    struct Way {
        const char *what;
        std::function<void()> end;
        int64_t code;
    };
    const Way ways[] = {
        {"dialog accepted", [this] { dialog->accept(); }, NSModalResponseOK},
        {"dialog closed", [this] { dialog->close(); }, NSModalResponseCancel},
        {"closed and ended at once",
         [this] {
             dialog->close();
             NSWindow(window.get()).endSheet(NSWindow(dialog.get()), 5);
         },
         5},
        {"window closed", [this] { window->close(); }, NSModalResponseCancel},
        {"not shown over a closed window", [] {}, NSModalResponseCancel},
        {"window gone",
         [this] {
             window->show();
             QCoreApplication::processEvents();
             begin(dialog.get());
             window.reset();
         },
         NSModalResponseCancel},
        {"not shown over no window", [] {}, NSModalResponseCancel},
    };
    for (const Way &way : ways) {
        codes.clear();
        begin(dialog.get());
        way.end();
        EXPECT_TRUE(QTest::qWaitFor([this] { return !codes.empty(); })) << way.what;
        QCoreApplication::processEvents();
        EXPECT_EQ(codes.back(), way.code) << way.what;
        EXPECT_FALSE(dialog->isVisible()) << way.what;
    }
}

TEST_F(Sheets, EndWithAWindowThatIsDestroyedAsItCloses)
{
    struct Vanishing : QWidget {
        void closeEvent(QCloseEvent *) override { delete this; } // is never hidden
    };
    window = std::make_unique<Vanishing>();
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    begin(dialog.get());
    window.release()->close();
    EXPECT_TRUE(QTest::qWaitFor([this] { return !codes.empty(); }));
    EXPECT_EQ(codes, Codes{NSModalResponseCancel});
    EXPECT_FALSE(dialog->isVisible());
}

TEST_F(Sheets, EndWhenTheyGo)
{
    begin(sheet.get());
    begin(sheet.get()); // a second time at once
    sheet.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(codes, (Codes{NSModalResponseCancel, NSModalResponseCancel}));
    clickBelow();
    EXPECT_EQ(clicks, 1) << "the window is free again";
}
