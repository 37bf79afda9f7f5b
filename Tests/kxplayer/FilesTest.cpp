#include "Apps/kxplayer/FilePaths.h"
#include "Apps/kxplayer/RecentFiles.h"
#include "Tests/Support/Media.h"

#include <gtest/gtest.h>

#include <QMimeData>
#include <QTextDocument>
#include <QUrl>

using namespace kx::test;
using namespace kxplayer;

namespace
{

std::string pathOf(const PathOrRefusal &result)
{
    const auto *const refusal = std::get_if<Refusal>(&result);
    return refusal ? "refused: " + refusal->text.toStdString() : std::get<std::filesystem::path>(result).string();
}

TEST(FilePaths, ComeFromUrisAndArgumentsByteForByte)
{
    const std::pair<const char *, std::string> uris[] = {
        {"file:///a/b.wav", "/a/b.wav"},           {"FILE:/a", "/a"},
        {"file://localhost/a%20b", "/a b"},        {"file:///%E3%83%86%ff%25%3F%23", "/\xE3\x83\x86\xff%?#"},
        {"file:///\xE3\x83\x86", "/\xE3\x83\x86"},
    };
    for (const auto &[uri, path] : uris) {
        EXPECT_EQ(pathOf(pathOfUri(uri)), path);
        EXPECT_EQ(pathOf(pathOfArgument(uri)), path);
        EXPECT_EQ(pathOf(pathOfUri(uriOfPath(path))), path);
    }
    std::string all = "/";
    for (int c = 1; c < 256; ++c)
        all += static_cast<char>(c);
    EXPECT_EQ(pathOf(pathOfUri(uriOfPath(all))), all);
    for (const char *name : {"b%20\xff.wav", "C:x"})
        EXPECT_EQ(pathOf(pathOfArgument(name)), (std::filesystem::current_path() / name).string());
}

TEST(FilePaths, RefuseWhatIsNoFileWithOneSentence)
{
    const char *const uris[] = {"http://example.org/x.mp3",
                                "file://server/x",
                                "file:x",
                                "file:///%0",
                                "file:///%zz",
                                "file:///%00",
                                "file:///%+1",
                                "file:///a?b",
                                "file://"};
    QByteArrayList all(std::begin(uris), std::end(uris));
    all << QByteArray("file:///\0", 9) << "file:///" + QByteArray(20000, 'a');
    for (const QByteArray &uri : all) {
        const std::string text = pathOf(pathOfUri(uri));
        EXPECT_TRUE(text.starts_with("refused: “") && text.ends_with(".")) << text;
        EXPECT_EQ(pathOf(pathOfArgument(uri)), text);
        EXPECT_LT(text.size(), 250U);
    }
    EXPECT_EQ(pathOf(pathOfUri("http://x/\n\u202Ea")),
              "refused: “http://x/ \uFFFDa” cannot be opened: only files of this computer can be played.");
    EXPECT_TRUE(pathOf(pathOfArgument("")).starts_with("refused"));
}

TEST(FilePaths, ComeFromDrops)
{
    QMimeData drop;
    EXPECT_FALSE(holdsFiles(drop));
    EXPECT_EQ(pathOf(pathOfDrop(drop)), "refused: What was dropped is not a file.");
    drop.setUrls({QUrl::fromLocalFile(QStringLiteral("/ä b#.wav")), QUrl::fromLocalFile("/second.wav")});
    EXPECT_EQ(pathOf(pathOfDrop(drop)), "/ä b#.wav");
    drop.setData("text/uri-list", "# a remark\r\nfile:///c%FF\r\n");
    EXPECT_EQ(pathOf(pathOfDrop(drop)), "/c\xff");
}

QStringList namesIn(const QMenu &menu)
{
    QStringList names;
    for (const QAction *action : menu.actions())
        names << action->text();
    return names;
}

TEST(RecentFiles, KeepTheLastTenThatAreThere)
{
    const QString store = QString::fromStdString(temporaryPath("settings.ini").string());
    std::vector<std::filesystem::path> files;
    for (int i = 0; i < 12; ++i)
        files.push_back(fileOf("R&B \xff.wav", {}));
    QSettings settings(store, QSettings::IniFormat);
    for (const int i : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 5})
        RecentFiles(settings).add(files[static_cast<std::size_t>(i)]);
    RecentFiles recent(settings); // as in the next session
    EXPECT_EQ(recent.present(), (std::vector{files[5], files[11], files[10], files[9], files[8], files[7], files[6],
                                             files[4], files[3], files[2]}));
    RecentFilesMenu menu(recent);
    std::filesystem::path chosen;
    QObject::connect(&menu, &RecentFilesMenu::fileChosen, [&](const auto &file) { chosen = file; });
    std::filesystem::remove(files[11]);
    emit menu.aboutToShow();
    EXPECT_EQ(namesIn(menu).size(), 11) << "nine files, a separator and \"Clear List\"";
    EXPECT_TRUE(namesIn(menu)[0].endsWith(QStringLiteral("-R&&B \uFFFD.wav"))) << namesIn(menu)[0].toStdString();
    const QString tip = menu.actions()[0]->toolTip();
    EXPECT_TRUE(Qt::mightBeRichText(tip) && tip.contains("R&amp;B")) << "shown as R&B: " << tip.toStdString();
    menu.actions()[1]->trigger();
    EXPECT_EQ(chosen, files[10]);
    menu.actions().last()->trigger();
    emit menu.aboutToShow();
    EXPECT_EQ(namesIn(menu), (QStringList{"No Files", "", "Clear List"}));

    settings.setValue("recentFiles", QStringList{"http://x/y", "", uriOfPath(files[0]), uriOfPath(files[0])});
    EXPECT_EQ(recent.present(), std::vector{files[0]});
}

} // namespace
