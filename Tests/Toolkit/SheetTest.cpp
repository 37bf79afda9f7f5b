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

struct Vanishing : QWidget {
    void closeEvent(QCloseEvent *) override { delete this; } // is never hidden
};

class Sheets : public testing::Test
{
protected:
    Sheets() { show(new QWidget); }

    void show(QWidget *shown)
    {
        window.reset(shown);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    void begin(QWidget *widget)
    {
        NSWindow(window.get()).beginSheet(NSWindow(widget), [this](int64_t code) { codes.push_back(code); });
    }

    std::unique_ptr<QWidget> window;
    std::unique_ptr<QDialog> dialog = std::make_unique<QDialog>();
    Codes codes;
};

} // namespace

TEST_F(Sheets, TakeTheInputOfTheirWindowUntilTheyEnd)
{
    int clicks = 0;
    QPushButton button(window.get());
    button.show();
    QObject::connect(&button, &QPushButton::clicked, [&] { ++clicks; });
    // As the system reports it: a window under a sheet does not get it.
    const auto clickBelow = [&] { QTest::mouseClick(window->windowHandle(), Qt::LeftButton, {}, {10, 10}); };
    QWidget sheet;
    begin(&sheet);
    EXPECT_TRUE(sheet.isVisible());
    EXPECT_EQ(sheet.windowHandle()->transientParent(), window->windowHandle());
    clickBelow();
    EXPECT_EQ(clicks, 0) << "the window is blocked";
    EXPECT_EQ(codes, Codes{}) << "beginning a sheet does not wait";
    NSWindow(window.get()).endSheet(NSWindow(&sheet), -7);
    EXPECT_EQ(codes, Codes{-7}) << "from within endSheet";
    EXPECT_FALSE(sheet.isVisible());
    NSWindow(window.get()).endSheet(NSWindow(&sheet));
    clickBelow();
    EXPECT_EQ(clicks, 1);
    EXPECT_EQ(codes.size(), 1U);
}

TEST_F(Sheets, EndOnceWhateverEndsThem)
{
    const auto closeAndEnd = [this] {
        dialog->close();
        NSWindow(window.get()).endSheet(NSWindow(dialog.get()), 5);
    };
    const auto closeVanishing = [this] {
        show(new Vanishing);
        begin(dialog.get());
        window.release()->close();
    };
    const auto secondAtOnce = [this] { // both go with the sheet
        show(new QWidget);
        begin(dialog.get());
        begin(dialog.get());
        dialog = std::make_unique<QDialog>();
    };
    const std::pair<std::function<void()>, Codes> ways[] = {
        {[this] { dialog->accept(); }, {NSModalResponseOK}},
        {[this] { dialog->close(); }, {NSModalResponseCancel}},
        {closeAndEnd, {5}},
        {[this] { window->close(); }, {NSModalResponseCancel}},
        {[] {}, {NSModalResponseCancel}}, // not shown over a closed window
        {[this] { show(new QWidget), begin(dialog.get()), window.reset(); }, Codes(2, NSModalResponseCancel)},
        {[] {}, {NSModalResponseCancel}}, // not shown over no window
        {closeVanishing, Codes(2, NSModalResponseCancel)},
        {secondAtOnce, Codes(3, NSModalResponseCancel)},
    };
    for (const auto &way : ways) {
        const auto &expected = way.second;
        codes.clear();
        begin(dialog.get());
        way.first();
        EXPECT_TRUE(QTest::qWaitFor([&] { return codes.size() >= expected.size(); }));
        QCoreApplication::processEvents();
        EXPECT_EQ(codes, expected) << "way " << &way - ways;
        EXPECT_FALSE(dialog->isVisible());
    }
}
