// Open and save panels: the toolkit's dialogs, worked as a user does.
#include "KXFW/Platform/Toolkit/NSSavePanel.h"

#include <QApplication>
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
        EXPECT_FALSE(result) << "it does not wait";
    }
    /// The dialog or question that is open.
    template <class Dialog> static Dialog *open()
    {
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (auto *dialog = qobject_cast<Dialog *>(widget); dialog && dialog->isVisible())
                return dialog;
        return nullptr;
    }
    static QLineEdit *nameField() { return open<QFileDialog>()->findChild<QLineEdit *>("fileNameEdit"); }
    /// Enters a name and presses Return.
    static void enter(const QString &name)
    {
        auto *field = nameField();
        open<QFileDialog>()->activateWindow();
        field->setFocus();
        EXPECT_TRUE(QTest::qWaitFor([&] { return field->hasFocus(); })); // else the selection replaces what is typed
        field->setCompleter(nullptr);                                    // its list would take the Return
        field->clear();
        QTest::keyClicks(field, name);
        QTest::keyClick(field, Qt::Key_Return);
    }
    /// Enters a name and presses that button of the question which follows. Gives the question.
    static QString enter(const QString &name, const QString &button)
    {
        enter(name);
        const auto *question = open<QMessageBox>();
        const QString text = question ? question->text() : "no question";
        for (QAbstractButton *each : question ? question->buttons() : QList<QAbstractButton *>())
            if (each->text().remove('&') == button)
                QTest::mouseClick(each, Qt::LeftButton);
        QCoreApplication::processEvents();
        return text;
    }
    /// Whether the panel ends so, with that file of the folder.
    bool ends(const NSSavePanel &panel, int64_t code, const char *name) const
    {
        return QTest::qWaitFor([this] { return result.has_value(); }) && result == code &&
               panel.URL() == folder.filePath(name).toStdString();
    }

    QTemporaryDir folder;
    std::unique_ptr<QWidget> window = std::make_unique<QWidget>();
    std::optional<int64_t> result;
};

} // namespace

TEST_F(Panels, OpenGivesAFileOfAnAllowedTypeAndCancelTheOneBefore)
{
    const auto panel = NSOpenPanel::openPanel();
    begin(*panel, {"aiff", "wav"});
    EXPECT_EQ(enter("nowhere.wav", "OK"), "There is no such file.");
    EXPECT_EQ(enter("notes.txt", "OK"), "This file cannot be chosen.");
    enter("sub");
    enter("../TAKE.WAV");
    EXPECT_TRUE(ends(*panel, NSModalResponseOK, "TAKE.WAV")) << panel->URL();
    begin(*panel, {});
    static_cast<QDialog *>(open<QFileDialog>())->reject();
    EXPECT_TRUE(ends(*panel, NSModalResponseCancel, "TAKE.WAV")) << panel->URL();
}

TEST_F(Panels, ADelegateDecidesBesideTheTypes)
{
    const auto panel = NSOpenPanel::openPanel();
    const auto delegate = std::make_shared<Delegate>();
    panel->setDelegate(delegate);
    begin(*panel, {"wav"});
    const auto *files = open<QFileDialog>()->findChild<QListView *>("listView");
    const auto enabled = [&] {
        QStringList names;
        for (int row = 0; row < files->model()->rowCount(files->rootIndex()); ++row)
            if (const auto index = files->model()->index(row, 0, files->rootIndex()); index.flags() & Qt::ItemIsEnabled)
                names << index.data().toString();
        names.sort();
        return names;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return enabled() == QStringList{"TAKE.WAV", "sub", "take.wav"};
    })) << enabled().join(" ").toStdString();
    EXPECT_EQ(enter("no.wav", "OK"), "This file cannot be chosen.");
    enter("take.wav");
    EXPECT_TRUE(ends(*panel, NSModalResponseOK, "take.wav"));
}

TEST_F(Panels, SaveAddsTheTypeAndAsksBeforeItReplaces)
{
    const auto panel = NSSavePanel::savePanel();
    const std::pair<const char *, const char *> names[] = {
        {"new", "new.aiff"}, {"my.song", "my.song.aiff"}, {"a.AIFF", "a.AIFF"}, {"b.wav", "b.wav.aiff"}};
    for (const auto &[typed, saved] : names) {
        begin(*panel, {"aiff"});
        enter(typed);
        EXPECT_TRUE(ends(*panel, NSModalResponseOK, saved)) << typed << ": " << panel->URL();
    }
    panel->setNameFieldStringValue("old");
    begin(*panel, {"aiff"});
    EXPECT_EQ(nameField()->text(), "old");
    EXPECT_EQ(enter("old", "Cancel"), "This file exists. Replace it?");
    EXPECT_FALSE(result) << "back in the panel";
    EXPECT_EQ(enter("old.aiff", "Replace"), "This file exists. Replace it?");
    EXPECT_TRUE(ends(*panel, NSModalResponseOK, "old.aiff"));
}

TEST_F(Panels, MayLoseTheirWindow)
{
    auto panel = NSSavePanel::savePanel();
    begin(*panel, {"aiff"});
    enter("old"); // with the question open
    const std::weak_ptr<NSSavePanel> weak = panel;
    panel.reset();
    EXPECT_FALSE(weak.expired()) << "kept while it is open";
    window.reset();
    EXPECT_TRUE(QTest::qWaitFor([this] { return result == NSModalResponseCancel; }));
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(weak.expired() && !open<QDialog>());
}

TEST_F(Panels, TakeAPathThatIsTypedBeforeTheFirstTurn)
{
    for (const QString &name : {folder.filePath("take.wav"), QString("sub/../take.wav")}) {
        const auto panel = NSOpenPanel::openPanel();
        begin(*panel, {"wav"});
        open<QFileDialog>()->setDirectory(name[0] == '/' ? "/" : folder.path());
        QTest::keyClicks(nameField(), name);
        QTest::keyClick(nameField(), Qt::Key_Return);
        EXPECT_TRUE(ends(*panel, NSModalResponseOK, "take.wav")) << panel->URL();
    }
}
