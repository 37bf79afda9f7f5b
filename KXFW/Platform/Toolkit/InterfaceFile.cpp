#include "KXFW/Platform/Toolkit/InterfaceFile.h"

#include "KXFW/Platform/Foundation/StringTable.h"
#include "KXFW/Platform/Toolkit/InterfaceBuilder.h"

#include <QFile>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>

#include <array>

namespace
{

using kx::InterfaceFile;

[[noreturn]] void fail(const InterfaceFile &file, const QXmlStreamReader &xml, const QString &reason)
{
    const QString text = QStringLiteral("line %1: %2").arg(xml.lineNumber()).arg(reason);
    throw kx::nibLoadingException(file.path, text.toStdString());
}

/// The toolkit's reader takes elements in any case.
bool isElement(const QXmlStreamReader &xml, QLatin1StringView name)
{
    return xml.name().compare(name, Qt::CaseInsensitive) == 0;
}

/// The toolkit's reader takes the last attribute of that local name, whatever its prefix.
QString attributeOf(const QXmlStreamReader &xml, QLatin1StringView name)
{
    QString value;
    for (const QXmlStreamAttribute &attribute : xml.attributes())
        if (attribute.name() == name)
            value = attribute.value().toString();
    return value;
}

std::string localized(const std::string &path, const std::string &text)
{
    const std::string usual = kx::StringTable::framework().localizedStringForKey(text);
    return path.starts_with(":/KXFWUI/") ? usual : kx::StringTable::main().localizedStringForKey(text, usual);
}

void checkElement(const InterfaceFile &file, const QXmlStreamReader &xml, int depth)
{
    if (depth == 1 && !isElement(xml, QLatin1StringView("ui")))
        fail(file, xml, QStringLiteral("no interface file, but <%1>").arg(xml.name()));
    if (depth > InterfaceFile::kDeepestElement)
        fail(file, xml, QStringLiteral("more than %1 elements inside each other").arg(InterfaceFile::kDeepestElement));
    const QString name = attributeOf(xml, QLatin1StringView("class"));
    const bool isUnknown = (isElement(xml, QLatin1StringView("widget")) && !kx::isWidgetClass(name)) ||
                           (isElement(xml, QLatin1StringView("layout")) && !kx::isLayoutClass(name));
    if (isUnknown)
        fail(file, xml, QStringLiteral("unknown class '%1'").arg(name));
}

/// Signals as they are named, piece by piece, in <signal>. One is refused: it comes when its sender has gone, together
/// with the receivers around it.
class SignalCheck
{
public:
    explicit SignalCheck(const InterfaceFile &file) : file_(file) {}

    void hear(const QXmlStreamReader &xml)
    {
        if (xml.isCharacters())
            text_ += xml.text();
        else if (xml.isStartElement())
            text_.clear();
        else if (xml.isEndElement() && isElement(xml, QLatin1StringView("signal")) &&
                 text_.simplified().startsWith(QLatin1StringView("destroyed")))
            fail(file_, xml, QStringLiteral("a connection from 'destroyed', when receivers have gone too"));
    }

private:
    const InterfaceFile &file_;
    QString text_;
};

} // namespace

NSException kx::nibLoadingException(const std::string &path, const std::string &reason)
{
    return {nibLoadingExceptionName, path + ": " + reason};
}

kx::InterfaceFile kx::readInterfaceFile(const std::string &path)
{
    QFile file(QString::fromStdString(path));
    if (!file.open(QIODevice::ReadOnly))
        throw nibLoadingException(path, file.errorString().toStdString());
    return {path, file.read(InterfaceFile::kMostBytes + 1)};
}

void kx::checkInterfaceFile(const InterfaceFile &file)
{
    if (file.contents.size() > InterfaceFile::kMostBytes)
        throw nibLoadingException(file.path,
                                  "larger than " + std::to_string(InterfaceFile::kMostBytes / 1024) + " KiB");
    QXmlStreamReader xml(file.contents);
    int depth = 0;
    std::array<int, InterfaceFile::kDeepestElement + 2> layouts{}; // in the element of each depth
    bool hasWidget = false;
    SignalCheck signalCheck(file);
    while (!xml.atEnd()) {
        const auto token = xml.readNext();
        signalCheck.hear(xml);
        if (token == QXmlStreamReader::StartElement) {
            checkElement(file, xml, ++depth);
            layouts[static_cast<std::size_t>(depth) + 1] = 0;
            if (isElement(xml, QLatin1StringView("layout")) && ++layouts[static_cast<std::size_t>(depth)] > 1)
                fail(file, xml, QStringLiteral("two layouts in one place"));
            hasWidget |= depth == 2 && isElement(xml, QLatin1StringView("widget"));
        } else if (token == QXmlStreamReader::EndElement) {
            --depth;
        } else if (token == QXmlStreamReader::DTD) {
            fail(file, xml, QStringLiteral("a document type, which interface files have none of"));
        }
    }
    if (xml.hasError())
        fail(file, xml, xml.errorString());
    if (!hasWidget)
        throw nibLoadingException(file.path, "no widget in it");
}

kx::InterfaceFile kx::localizedInterfaceFile(const InterfaceFile &file)
{
    InterfaceFile result{file.path, {}};
    QXmlStreamReader xml(file.contents);
    QXmlStreamWriter writer(&result.contents);
    while (!xml.atEnd()) {
        xml.readNext();
        writer.writeCurrentToken(xml);
        const bool isCaption = xml.isStartElement() && isElement(xml, QLatin1StringView("string")) &&
                               attributeOf(xml, QLatin1StringView("notr")) != QStringLiteral("true");
        if (!isCaption)
            continue;
        writer.writeCharacters(QString::fromStdString(localized(file.path, xml.readElementText().toStdString())));
        writer.writeEndElement();
    }
    return result;
}
