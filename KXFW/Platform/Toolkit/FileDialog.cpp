#include "KXFW/Platform/Toolkit/FileDialog.h"

#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/ToolkitEdge.h"

#include <QFileInfo>
#include <QFileSystemModel>
#include <QIdentityProxyModel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>

#include <utility>

namespace
{

std::filesystem::path pathOf(const QString &file)
{
    return QFile::encodeName(file).toStdString();
}

QString localized(const char *text)
{
    return QString::fromStdString(kx::StringTable::framework().localizedStringForKey(text));
}

/// Shows what may not be chosen as disabled.
class JudgedFiles : public QIdentityProxyModel
{
public:
    JudgedFiles(kx::FileDialog::Judge mayChoose, QObject *parent)
        : QIdentityProxyModel(parent), mayChoose_(std::move(mayChoose))
    {
    }

    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex &index) const override
    {
        const QString file = index.data(QFileSystemModel::FilePathRole).toString();
        bool enabled = true;
        kx::atToolkitEdge("The panel met an error.", [&] { enabled = mayChoose_(pathOf(file)); });
        const Qt::ItemFlags usual = QIdentityProxyModel::flags(index);
        return enabled ? usual : usual & ~(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
    }

private:
    kx::FileDialog::Judge mayChoose_;
};

QMessageBox *messageOver(QWidget *window, const char *text, const QString &file)
{
    auto *box =
        new QMessageBox(QMessageBox::Warning, window->windowTitle(), localized(text), QMessageBox::NoButton, window);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(QFileInfo(file).fileName());
    return box;
}

} // namespace

kx::FileDialog::FileDialog(AcceptMode mode, const std::vector<std::string> &types, Judge mayChoose)
    : mayChoose_(std::move(mayChoose))
{
    setOption(DontUseNativeDialog);
    setAcceptMode(mode);
    setFileMode(mode == AcceptOpen ? ExistingFile : AnyFile);
    QStringList patterns;
    for (const std::string &type : types) {
        types_ << QString::fromStdString(type);
        patterns << QStringLiteral("*.") + types_.back();
    }
    if (!patterns.isEmpty())
        setNameFilter(patterns.join(QLatin1Char(' ')));
    setProxyModel(new JudgedFiles(mayChoose_, this));
    nameField_ = findChild<QLineEdit *>(QStringLiteral("fileNameEdit"));
    connect(nameField_, &QLineEdit::textChanged, this, &FileDialog::keepTyped);
}

void kx::FileDialog::propose(const std::filesystem::path &folder, const std::string &name)
{
    if (!folder.empty())
        setDirectory(QFile::decodeName(folder.c_str()));
    if (!name.empty())
        selectFile(QString::fromStdString(name));
}

std::filesystem::path kx::FileDialog::chosen() const
{
    return pathOf(chosen_);
}

bool kx::FileDialog::isAllowedType(const QString &file) const
{
    return types_.isEmpty() || types_.contains(QFileInfo(file).suffix(), Qt::CaseInsensitive);
}

/// What is typed selects a file, and while the field has no focus yet, the toolkit puts the file's bare name in place
/// of the path: by the time this hears of it, the field holds that.
void kx::FileDialog::keepTyped(const QString &text)
{
    const QSignalBlocker blocker(nameField_);
    if (nameField_->text() != text)
        nameField_->setText(text);
}

QString kx::FileDialog::entered() const
{
    // While a folder is still being listed, the toolkit mixes what was entered before into its list of files.
    const QString name = nameField_->text();
    if (name.isEmpty())
        return selectedFiles().value(0);
    const bool atHome = name == QStringLiteral("~") || name.startsWith(QStringLiteral("~/"));
    return QDir::cleanPath(atHome ? QDir::homePath() + name.mid(1) : directory().absoluteFilePath(name));
}

void kx::FileDialog::accept()
{
    const QString file = entered();
    if (file.isEmpty() || (question_ && question_->isVisible())) // Return may reach both the field and the button
        return;
    atToolkitEdge("The panel met an error.", [&] {
        if (QFileInfo(file).isDir())
            goTo(file);
        else if (acceptMode() == AcceptOpen)
            acceptForReading(file);
        else
            acceptForWriting(isAllowedType(file) ? file : file + "." + types_.front());
    });
}

void kx::FileDialog::goTo(const QString &folder)
{
    setDirectory(folder);
    nameField_->clear();
}

void kx::FileDialog::acceptForReading(const QString &file)
{
    if (!QFileInfo::exists(file))
        refuse("There is no such file.", file);
    else if (!isAllowedType(file) || !mayChoose_(pathOf(file)))
        refuse("This file cannot be chosen.", file);
    else
        finish(file);
}

void kx::FileDialog::acceptForWriting(const QString &file)
{
    if (!mayChoose_(pathOf(file)) || QFileInfo(file).isDir())
        refuse("This file cannot be chosen.", file);
    else if (QFileInfo::exists(file))
        askToReplace(file);
    else
        finish(file);
}

void kx::FileDialog::finish(const QString &file)
{
    chosen_ = file;
    QDialog::accept(); // NOLINT(bugprone-parent-virtual-call): the file dialog would judge the name once more
}

void kx::FileDialog::refuse(const char *why, const QString &file)
{
    QMessageBox *box = messageOver(this, why, file);
    question_ = box;
    box->addButton(QMessageBox::Ok);
    box->open();
}

void kx::FileDialog::askToReplace(const QString &file)
{
    QMessageBox *box = messageOver(this, "This file exists. Replace it?", file);
    question_ = box;
    const QPushButton *replace = box->addButton(localized("Replace"), QMessageBox::DestructiveRole);
    box->setDefaultButton(box->addButton(QMessageBox::Cancel));
    connect(replace, &QPushButton::clicked, this, [this, file] { finish(file); });
    box->open();
}
