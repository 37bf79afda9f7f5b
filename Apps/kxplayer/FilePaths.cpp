#include "Apps/kxplayer/FilePaths.h"

#include "Apps/kxplayer/MenuText.h"

#include <QCoreApplication>
#include <QMimeData>

namespace kxplayer
{

namespace
{

constexpr qsizetype kLongestUri = 16384; ///< four times the longest path, each byte of it escaped, and more
constexpr auto kUriList = "text/uri-list";

Refusal refusal(const QByteArray &given, const char *reason)
{
    return {QCoreApplication::translate("FilePaths", "“%1” cannot be opened: %2.")
                .arg(shortText(QString::fromUtf8(given.left(kLongestUri))),
                     QCoreApplication::translate("FilePaths", reason))};
}

/// The length of a scheme with its colon at the start of `text`, or 0.
qsizetype schemeLength(const QByteArray &text)
{
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const auto isOther = [](char c) { return (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.'; };
    qsizetype length = 0;
    while (length < text.size() && (isLetter(text[length]) || (length > 0 && isOther(text[length]))))
        ++length;
    return length > 0 && length < text.size() && text[length] == ':' ? length + 1 : 0;
}

bool isFileUri(const QByteArray &text)
{
    return text.left(schemeLength(text)).toLower() == "file:";
}

/// Whether each % is followed by two hexadecimal digits that do not stand for a zero byte.
bool hasGoodEscapes(const QByteArray &text)
{
    for (qsizetype i = text.indexOf('%'); i >= 0; i = text.indexOf('%', i + 1)) {
        bool isNumber = false;
        const QByteArray digits = text.mid(i + 1, 2);
        const int value = digits.toInt(&isNumber, 16);
        if (digits.size() != 2 || !isNumber || value <= 0 || digits.startsWith('+'))
            return false;
    }
    return true;
}

std::filesystem::path pathOfBytes(const QByteArray &bytes)
{
    return {std::string(bytes.constData(), static_cast<std::size_t>(bytes.size()))};
}

/// The path of a URI without the scheme: "/x", "///x" or "//localhost/x"; empty where another computer is named.
QByteArray localPart(const QByteArray &rest)
{
    if (!rest.startsWith("//"))
        return rest;
    const qsizetype slash = rest.indexOf('/', 2);
    const QByteArray host = rest.mid(2, slash - 2).toLower();
    return slash >= 0 && (host.isEmpty() || host == "localhost") ? rest.mid(slash) : QByteArray();
}

} // namespace

PathOrRefusal pathOfUri(const QByteArray &uri)
{
    if (!isFileUri(uri))
        return refusal(uri, QT_TRANSLATE_NOOP("FilePaths", "only files of this computer can be played"));
    const QByteArray path = localPart(uri.mid(schemeLength(uri)));
    if (path.isEmpty())
        return refusal(uri, QT_TRANSLATE_NOOP("FilePaths", "only files of this computer can be played"));
    const bool hasParts = path.contains('?') || path.contains('#') || path.contains('\0');
    if (uri.size() > kLongestUri || !path.startsWith('/') || hasParts || !hasGoodEscapes(path))
        return refusal(uri, QT_TRANSLATE_NOOP("FilePaths", "it is not the address of a file"));
    return pathOfBytes(QByteArray::fromPercentEncoding(path));
}

PathOrRefusal pathOfArgument(const QByteArray &argument)
{
    if (isFileUri(argument))
        return pathOfUri(argument);
    std::error_code error;
    const auto path = std::filesystem::absolute(pathOfBytes(argument), error);
    if (argument.isEmpty() || error)
        return refusal(argument, QT_TRANSLATE_NOOP("FilePaths", "it is not the name of a file"));
    const qsizetype scheme = schemeLength(argument);
    if (scheme > 0 && argument.mid(scheme).startsWith("//") && !std::filesystem::exists(path, error))
        return pathOfUri(argument);
    return path;
}

PathOrRefusal pathOfDrop(const QMimeData &data)
{
    for (const QByteArray &line : data.data(kUriList).split('\n'))
        if (const QByteArray uri = line.trimmed(); !uri.isEmpty() && !uri.startsWith('#'))
            return pathOfUri(uri);
    return Refusal{QCoreApplication::translate("FilePaths", "What was dropped is not a file.")};
}

bool holdsFiles(const QMimeData &data)
{
    return data.hasFormat(kUriList);
}

QByteArray uriOfPath(const std::filesystem::path &path)
{
    return "file://" + QByteArray::fromStdString(path.string()).toPercentEncoding("/");
}

QString nameOfPath(const std::filesystem::path &path)
{
    return QString::fromStdString(path.filename().string());
}

} // namespace kxplayer
