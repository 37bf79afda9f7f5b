// Exports from the player screen: progress, Cancel, what fails, and what goes while one runs.
#include "Tests/Support/FailingDisk.h"
#include "Tests/UI/PlayerScreenTesting.h"

#include <QProgressBar>

namespace
{

using kx::test::make;
using kx::test::PlayerScreen;
using kx::test::temporaryPath;

class ExportFromScreen : public PlayerScreen
{
protected:
    QWidget *sheet() const { return screen->exportProgressSheet().widget(); }
    bool waitForEnd() const
    {
        return eventually([this] { return !screen->isExporting() && !sheet()->isVisible(); }) &&
               !screen->continuesExporting();
    }
    void exportAnew() const
    {
        std::filesystem::remove(target);
        choose("exportButton", target);
    }
    /// An export that waits for this thread to show its first progress.
    void beginExport() const
    {
        screen->view()->show();
        openSamples(kLong);
        exportAnew();
        ASSERT_TRUE(eventually([this] { return sheet()->isVisible(); }));
        EXPECT_TRUE(screen->continuesExporting());
    }
    void expectAlertNaming(const std::filesystem::path &file)
    {
        EXPECT_TRUE(eventually([&] { return !alerts.shown.empty(); }));
        ASSERT_EQ(alerts.shown.size(), 1U);
        EXPECT_TRUE(alerts.shown[0].starts_with("Failed to export to a file.: " + file.string() + ": "))
            << alerts.shown[0];
        alerts.shown.clear();
    }

    static constexpr int64_t kLong = 60 * 44100;
    const std::filesystem::path target = temporaryPath("export.aiff");
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
        exportAnew();
        EXPECT_TRUE(waitForEnd());
        if (again)
            expected.insert(expected.begin(), 0);
        EXPECT_EQ(std::exchange(shown, {}), expected);
        EXPECT_EQ(std::filesystem::file_size(target), 54U + range * 4);
    }
}

TEST_F(ExportFromScreen, CancelLeavesAShorterFileAndNoOtherOneBeginsMeanwhile)
{
    const auto other = temporaryPath("other.aiff");
    const std::function<void()> cancels[] = {
        [&] { QTest::mouseClick(sheet()->findChild<QPushButton *>("cancelExportButton"), Qt::LeftButton); },
        [&] { QTest::keyClick(sheet(), Qt::Key_Escape); }, [&] { screen->view()->close(); }, [] {}};
    for (const auto &cancel : cancels) {
        const bool cancelled = &cancel != &cancels[3];
        beginExport();
        cancel();
        EXPECT_TRUE(screen->isExporting()) << "until the file is closed";
        screen->_exportToURL(other);
        expectAlertNaming(other);
        EXPECT_TRUE(waitForEnd());
        EXPECT_EQ(std::filesystem::file_size(target) < kLong * 4U - 4096, cancelled);
        EXPECT_FALSE(std::filesystem::exists(other));
    }
    click("exportButton");
    panel()->reject();
    EXPECT_FALSE(screen->continuesExporting());
}

TEST_F(ExportFromScreen, FailureClosesTheSheetAndSaysWhy)
{
    const auto nowhere = kx::test::temporaryFolder() / "none" / "grün\n%s.aiff";
    openSamples();
    screen->_exportToURL(nowhere);
    expectAlertNaming(nowhere);
    EXPECT_TRUE(waitForEnd());
    const kx::test::FailingDisk disk(0); // from the jump to the range's start on
    type("startTimeField", "100000");
    for (const char *what : {"unreadable", "no file"}) {
        exportAnew();
        expectAlertNaming(target);
        EXPECT_TRUE(waitForEnd());
        EXPECT_FALSE(std::filesystem::exists(target)) << what;
        screen->_openFileAtURL(nowhere);
        EXPECT_TRUE(eventually([&] { return !alerts.shown.empty(); }));
        alerts.shown.clear();
    }
}

TEST_F(ExportFromScreen, ScreenOrItsWidgetsMayGoFirst)
{
    beginExport();
    const std::weak_ptr<KXAFilePlayer> player = screen->player();
    screen.reset();
    EXPECT_TRUE(eventually([&] { return player.expired(); })) << "the export ends and lets the player go";
    EXPECT_LT(std::filesystem::file_size(target), kLong * 4U) << "a shorter file";
    EXPECT_TRUE(alerts.shown.empty());

    screen = std::make_shared<KXAFilePlayerViewController>();
    delete screen->view(); // the widgets go first
    screen->_timerFired(nullptr);
    screen->_updateUI();
    screen->clickPlayButton({});
}

} // namespace
