// Exports from the player screen: progress, Cancel, what fails, and what goes while one runs.
#include "Tests/Support/FailingDisk.h"
#include "Tests/UI/PlayerScreenTesting.h"

#include <QProgressBar>

#include <functional>
#include <utility>
#include <vector>

namespace
{

using kx::test::make;
using kx::test::PlayerScreen;

struct OnShow : QObject {
    explicit OnShow(std::function<void()> action) : act(std::move(action)) {}
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Show)
            act();
        return false;
    }

    std::function<void()> act;
};

class ExportFromScreen : public PlayerScreen
{
protected:
    ExportFromScreen() { std::filesystem::remove(target); }

    QWidget *sheet() const { return screen->exportProgressSheet().widget(); }
    bool waitForEnd() const
    {
        return QTest::qWaitFor([this] { return !screen->isExporting(); }, 60000) && !screen->continuesExporting() &&
               !sheet()->isVisible();
    }
    void exportTo(const std::filesystem::path &path)
    {
        click("exportButton");
        answer(path);
    }
    /// An export that waits for this thread to show its first progress.
    void beginExport()
    {
        openSamples(kLong);
        exportTo(target);
        ASSERT_TRUE(QTest::qWaitFor([this] { return sheet()->isVisible(); }));
        EXPECT_TRUE(screen->continuesExporting());
    }
    void expectAlertNaming(const std::filesystem::path &file)
    {
        EXPECT_TRUE(QTest::qWaitFor([&] { return !alerts.shown.empty(); }));
        ASSERT_EQ(alerts.shown.size(), 1U);
        const auto alert = alerts.shown[0];
        alerts.shown.clear();
        EXPECT_EQ(alert.messageText(), "Failed to export to a file.");
        EXPECT_TRUE(alert.informativeText().starts_with(file.string() + ": ")) << alert.informativeText();
    }

    static constexpr int64_t kLong = 60 * 44100;
    std::filesystem::path target = make({.frames = 8}).parent_path() / "export.aiff";
};

TEST_F(ExportFromScreen, ShowsProgressThatIsMoreThanOnePercent)
{
    constexpr int64_t range = 102400; // half a percent a slice
    openSamples(2 * range);
    type("startTimeField", "1000");
    type("endTimeField", QString::number(1000 + range));
    std::vector<double> shown;
    QObject::connect(sheet()->findChild<QProgressBar *>(), &QProgressBar::valueChanged, sheet(),
                     [&] { shown.push_back(screen->exportProgressIndicator().doubleValue()); });
    std::vector<double> expected;
    for (double percent = 1.5; percent < 100; percent += 1.5)
        expected.push_back(percent);
    for (const bool again : {false, true}) {
        exportTo(target);
        EXPECT_TRUE(waitForEnd());
        if (again)
            expected.insert(expected.begin(), 0);
        EXPECT_EQ(std::exchange(shown, {}), expected);
        EXPECT_EQ(std::filesystem::file_size(target), 54U + range * 4);
    }
}

TEST_F(ExportFromScreen, CancelLeavesAShorterFileAndExportsAgain)
{
    const std::function<void()> cancels[] = {
        [&] { QTest::mouseClick(sheet()->findChild<QPushButton *>("cancelExportButton"), Qt::LeftButton); },
        [&] { QTest::keyClick(sheet(), Qt::Key_Escape); },
        [&] { screen->view()->close(); },
    };
    for (const auto &cancel : cancels) {
        screen->view()->show();
        beginExport();
        cancel();
        EXPECT_TRUE(screen->isExporting()) << "until the file is closed";
        EXPECT_TRUE(QTest::qWaitFor([this] { return !screen->continuesExporting(); }));
        EXPECT_TRUE(waitForEnd());
        EXPECT_LT(std::filesystem::file_size(target), kLong * 4U);
    }

    screen->view()->show();
    click("exportButton");
    static_cast<QDialog *>(panel())->reject(); // the save panel
    EXPECT_FALSE(screen->continuesExporting());
    exportTo(target);
    EXPECT_TRUE(waitForEnd());
    EXPECT_GT(std::filesystem::file_size(target), kLong * 4U - 4096);
}

TEST_F(ExportFromScreen, FailureClosesTheSheetAndSaysWhy)
{
    const auto nowhere = kx::test::temporaryFolder() / "none" / "grün\n%s.aiff";
    openSamples();
    screen->_exportToURL(nowhere);
    expectAlertNaming(nowhere);
    EXPECT_TRUE(waitForEnd());
    {
        const kx::test::FailingDisk disk(0); // from the jump to the range's start on
        type("startTimeField", "100000");
        exportTo(target);
        expectAlertNaming(target);
        EXPECT_TRUE(waitForEnd());
        EXPECT_FALSE(std::filesystem::exists(target));
    }
    screen->_openFileAtURL(target / "none"); // no file
    EXPECT_TRUE(QTest::qWaitFor([&] { return !alerts.shown.empty(); }));
    alerts.shown.clear();
    exportTo(target);
    expectAlertNaming(target);
    EXPECT_TRUE(waitForEnd());
}

TEST_F(ExportFromScreen, RefusesASecondOneMeanwhile)
{
    const auto other = kx::test::temporaryPath("other.aiff");
    for (const bool cancelled : {false, true}) {
        beginExport();
        if (cancelled)
            sheet()->close();
        screen->_exportToURL(other);
        expectAlertNaming(other);
        EXPECT_TRUE(waitForEnd());
        EXPECT_EQ(std::filesystem::file_size(target) < kLong * 4U, cancelled);
        EXPECT_FALSE(std::filesystem::exists(other));
    }
}

TEST_F(ExportFromScreen, EndsWithTheScreen)
{
    beginExport();
    const std::weak_ptr<KXAFilePlayer> player = screen->player();
    screen.reset();
    EXPECT_TRUE(QTest::qWaitFor([&] { return player.expired(); }, 60000)) << "the export ends and lets the player go";
    EXPECT_LT(std::filesystem::file_size(target), kLong * 4U) << "a shorter file";
    EXPECT_TRUE(alerts.shown.empty());
}

TEST_F(ExportFromScreen, ScreenOrItsWidgetsMayGoFirst)
{
    openSamples();
    const auto nowhere = kx::test::temporaryFolder() / "none" / "file.aiff";
    OnShow goes([this] { screen.reset(); }); // while an export begins, which fails
    sheet()->installEventFilter(&goes);
    screen->_exportToURL(nowhere);
    expectAlertNaming(nowhere);
    EXPECT_FALSE(screen);

    screen = std::make_shared<KXAFilePlayerViewController>();
    delete screen->view(); // the widgets go first
    screen->_timerFired(nullptr);
    screen->_updateUI();
    screen->clickPlayButton({});
}

} // namespace
