#pragma once

#include <QFileDialog>
#include <QPointer>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

class QLineEdit;

namespace kx
{

/// The toolkit's own file dialog, with the rules of our panels. Its questions are windows over it and never wait, so
/// that it may go at any time. Main thread only.
class FileDialog : public QFileDialog
{
public:
    using Judge = std::function<bool(const std::filesystem::path &file)>;

    /// `types` are extensions; `mayChoose` decides on each file beside them. [main]
    FileDialog(AcceptMode mode, const std::vector<std::string> &types, Judge mayChoose);

    /// The folder and the name that it begins with, where they are not empty. [main]
    void propose(const std::filesystem::path &folder, const std::string &name);
    /// The file that it was accepted with. [main]
    [[nodiscard]] std::filesystem::path chosen() const;

protected:
    void accept() override;

private:
    void keepTyped(const QString &text);
    [[nodiscard]] QString entered() const;
    void goTo(const QString &folder);
    [[nodiscard]] bool isAllowedType(const QString &file) const;
    void acceptForReading(const QString &file);
    void acceptForWriting(const QString &file);
    void finish(const QString &file);
    void refuse(const char *why, const QString &file);
    void askToReplace(const QString &file);

    QStringList types_;
    Judge mayChoose_;
    QLineEdit *nameField_; ///< made by the dialog
    QString chosen_;
    QPointer<QWidget> question_; ///< the last one that stood over it
};

} // namespace kx
