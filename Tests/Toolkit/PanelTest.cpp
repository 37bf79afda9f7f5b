// Open and save panels: the toolkit's dialogs, worked as a user does.
#include "KXFW/Platform/Toolkit/NSSavePanel.h"

#include "Tests/Toolkit/ToolkitTesting.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <optional>

namespace
{

/// Allows no file with a name that begins with "no".
struct Delegate : NSOpenSavePanelDelegate {
    bool panel(NSSavePanel &, const std::filesystem::path &url) override
    {
        return !url.filename().string().starts_with("no");
    }
};

class Panels : public testing::Test
{
protected:
    Panels()
    {
        window->resize(300, 200);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window.get()));
        for (const char *name : {"take.wav", "TAKE.WAV", "notes.txt", "no.wav", "old.aiff"})
            QFile(folder.filePath(name)).open(QIODevice::WriteOnly);
        QDir(folder.path()).mkdir("sub");
    }

    void begin(NSSavePanel &panel, const std::vector<std::string> &types)
    {
        panel.setAllowedFileTypes(types);
        panel.setDirectoryURL(folder.path().toStdString());
        result.reset();
        panel.beginSheetModalForWindow(NSWindow(window.get()), [this](int64_t code) {
            EXPECT_FALSE(result) << "called twice";
            result = code;
        });
    }

    /// The dialog or question that is open.
    template <class Dialog> static Dialog *open()
    {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *dialog = qobject_cast<Dialog *>(widget); dialog && dialog->isVisible())
                return dialog;
        return nullptr;
    }
    /// Enters a name and presses Return.
    static void enter(const QString &name)
    {
        auto *dialog = open<QFileDialog>();
        auto *field = dialog->findChild<QLineEdit *>("fileNameEdit");
        dialog->activateWindow();
        field->setFocus();
        EXPECT_TRUE(QTest::qWaitFor([&] { return field->hasFocus(); })); // else the selection replaces what is typed
        field->setCompleter(nullptr);                                    // its list would take the Return
        field->clear();
        QTest::keyClicks(field, name);
        QTest::keyClick(field, Qt::Key_Return);
    }
    /// Presses the button of that text in the question that is open, and gives the question.
    static std::string answer(const QString &button)
    {
        auto *question = open<QMessageBox>();
        if (!question)
            return "no question";
        const std::string text = question->text().toStdString();
        for (QAbstractButton *each : question->buttons())
            if (each->text().remove('&') == button)
                QTest::mouseClick(each, Qt::LeftButton);
        return text;
    }
    [[nodiscard]] std::optional<int64_t> wait() const
    {
        (void)QTest::qWaitFor([this] { return result.has_value(); });
        return result;
    }
    [[nodiscard]] std::filesystem::path path(const char *name) const { return folder.filePath(name).toStdString(); }

    QTemporaryDir folder;
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    std::optional<int64_t> result;
};

} // namespace

TEST_F(Panels, OpenGivesAFileOfAnAllowedTypeAndCancelTheOneBefore)
{
    const auto panel = NSOpenPanel::openPanel();
    begin(*panel, {"aiff", "wav"});
    EXPECT_FALSE(result) << "it does not wait";
    enter("nowhere.wav");
    EXPECT_EQ(answer("OK"), "There is no such file.");
    enter("notes.txt");
    EXPECT_EQ(answer("OK"), "This file cannot be chosen.");
    enter("sub");
    enter("../TAKE.WAV");
    EXPECT_EQ(wait(), NSModalResponseOK);
    EXPECT_TRUE(std::filesystem::equivalent(panel->URL(), path("TAKE.WAV"))) << panel->URL();
    const auto chosen = panel->URL();
    begin(*panel, {});
    const auto *buttons = open<QFileDialog>()->findChild<QDialogButtonBox *>("buttonBox");
    QTest::mouseClick(buttons->button(QDialogButtonBox::Cancel), Qt::LeftButton);
    EXPECT_EQ(wait(), NSModalResponseCancel);
    EXPECT_EQ(panel->URL(), chosen);
}

TEST_F(Panels, ADelegateDecidesBesideTheTypes)
{
    const auto panel = NSOpenPanel::openPanel();
    const auto delegate = std::make_shared<Delegate>();
    panel->setDelegate(delegate);
    begin(*panel, {"wav"});
    const auto *files = open<QFileDialog>()->findChild<QListView *>("listView");
    const auto enabled = [&](const char *name) {
        for (int row = 0; row < files->model()->rowCount(files->rootIndex()); ++row) {
            const QModelIndex index = files->model()->index(row, 0, files->rootIndex());
            if (index.data().toString() == name)
                return index.flags().testFlag(Qt::ItemIsEnabled) ? "yes" : "no";
        }
        return "not listed";
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return enabled("no.wav") == std::string("no"); }));
    EXPECT_STREQ(enabled("take.wav"), "yes");
    enter("no.wav");
    EXPECT_EQ(answer("OK"), "This file cannot be chosen.");
    enter("take.wav");
    EXPECT_EQ(wait(), NSModalResponseOK);
}

TEST_F(Panels, SaveAddsTheTypeAndAsksBeforeItReplaces)
{
    const auto panel = NSSavePanel::savePanel();
    const std::pair<const char *, const char *> names[] = {
        {"new", "new.aiff"}, {"my.song", "my.song.aiff"}, {"a.AIFF", "a.AIFF"}, {"b.wav", "b.wav.aiff"}};
    for (const auto &[typed, saved] : names) {
        begin(*panel, {"aiff"});
        enter(typed);
        EXPECT_EQ(wait(), NSModalResponseOK) << typed;
        EXPECT_EQ(panel->URL(), path(saved));
    }
    panel->setNameFieldStringValue("old");
    begin(*panel, {"aiff"});
    QTest::keyClick(open<QFileDialog>()->findChild<QLineEdit *>("fileNameEdit"), Qt::Key_Return);
    EXPECT_EQ(answer("Cancel"), "This file exists. Replace it?");
    QCoreApplication::processEvents();
    EXPECT_TRUE(open<QFileDialog>() && !result) << "back in the panel";
    enter("old.aiff");
    EXPECT_EQ(answer("Replace"), "This file exists. Replace it?");
    EXPECT_EQ(wait(), NSModalResponseOK);
    EXPECT_EQ(panel->URL(), path("old.aiff"));
}

TEST_F(Panels, MayLoseTheirWindow)
{
    auto panel = NSSavePanel::savePanel();
    begin(*panel, {"aiff"});
    enter("old"); // with the question open
    ASSERT_TRUE(open<QMessageBox>());
    std::weak_ptr<NSSavePanel> weak = panel;
    panel.reset();
    EXPECT_FALSE(weak.expired()) << "kept while it is open";
    window.reset();
    EXPECT_EQ(wait(), NSModalResponseCancel);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(weak.expired());
    EXPECT_FALSE(open<QDialog>());
}

TEST_F(Panels, TakeAPathThatIsTypedBeforeTheFirstTurn)
{
    for (const char *name : {"take.wav", "sub/../take.wav"}) {
        const auto panel = NSOpenPanel::openPanel();
        begin(*panel, {"wav"});
        auto *field = open<QFileDialog>()->findChild<QLineEdit *>("fileNameEdit");
        open<QFileDialog>()->setDirectory(*name == 't' ? "/" : folder.path());
        QTest::keyClicks(field, *name == 't' ? folder.filePath(name) : name);
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_EQ(wait(), NSModalResponseOK) << name;
        EXPECT_EQ(panel->URL(), path("take.wav"));
    }
}
