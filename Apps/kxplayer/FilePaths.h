/// @file
/// From what users give (arguments, URIs, dropped things) to paths of files, and back. Paths are bytes: names need not
/// be UTF-8.
#pragma once

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <variant>

class QMimeData;

namespace kxplayer
{

/// One sentence for the user.
struct Refusal {
    QString text;
};
using PathOrRefusal = std::variant<std::filesystem::path, Refusal>;

/// The path of a file: URI of this computer with an absolute path; every other URI is refused.
PathOrRefusal pathOfUri(const QByteArray &uri);
/// The path of a command-line argument: a file: URI, or a path, made absolute. Where no file has that name, what looks
/// like the URI of something else is refused.
PathOrRefusal pathOfArgument(const QByteArray &argument);
/// The path of the first of the files that were dropped.
PathOrRefusal pathOfDrop(const QMimeData &data);
/// Whether something that is dragged holds URIs.
bool holdsFiles(const QMimeData &data);

/// The file: URI of an absolute path, in ASCII.
QByteArray uriOfPath(const std::filesystem::path &path);
/// The last component of a path for people; bytes that are not UTF-8 appear as replacement characters.
QString nameOfPath(const std::filesystem::path &path);

} // namespace kxplayer
