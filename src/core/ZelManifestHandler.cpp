#include "core/ZelManifestHandler.h"

#include "core/ZelXmlGuard.h"

#include <QDebug>
#include <QHash>
#include <QXmlSimpleReader>

namespace {

enum Field {
    NoField,
    Name,
    BuildID,
    SimpleName,
    DownloadURL,
    EligibleCommunityDownload,
    FileSize,
    SuccessURL,
};

constexpr char productElement[] = "ProductInfo";

// The reader calls itself for each level: thousands would overflow its stack. Manifests have two.
constexpr int maxDepth = 500;

// In characters. A longer one, used as often as the guard lets it, would fill the memory.
constexpr int maxEntityLength = 4096;

const QHash<QString, Field>& fieldNames() {
    static const QHash<QString, Field> fields{
        {"Name", Name},
        {"BuildID", BuildID},
        {"SimpleName", SimpleName},
        {"DownloadURL", DownloadURL},
        {"EligibleCommunityDownload", EligibleCommunityDownload},
        {"FileSize", FileSize},
        {"ZELSuccessURL", SuccessURL},
    };
    return fields;
}

} // namespace

ZelManifestHandler::ZelManifestHandler(QList<ZelManifestElement>& target) : list(target) {}

bool ZelManifestHandler::startElement(const QString&, const QString& localName, const QString&,
                                      const QXmlAttributes&) {
    if (++depth > maxDepth)
        return false;
    if (localName == productElement) {
        list.append(ZelManifestElement());
        state = NoField;
    } else {
        state = fieldNames().value(localName, NoField);
    }
    return true;
}

bool ZelManifestHandler::endElement(const QString&, const QString&, const QString&) {
    --depth;
    return true;
}

bool ZelManifestHandler::internalEntityDecl(const QString&, const QString& value) {
    return value.size() <= maxEntityLength;
}

bool ZelManifestHandler::characters(const QString& text) {
    if (list.isEmpty()) {
        // A success address before the first product is passed over; the state stays as it is.
        if (state == NoField || state == SuccessURL)
            return true;
        qDebug() << "Unexpected empty manifest cdata found";
        return false;
    }

    ZelManifestElement& element = list.last();
    switch (state) {
    case Name:
        element.Name = text;
        break;
    case BuildID:
        element.BuildID = text;
        break;
    case SimpleName:
        element.SimpleName = text;
        break;
    case DownloadURL:
        element.DownloadURL = QUrl(text);
        break;
    case EligibleCommunityDownload:
        element.EligibleCommunityDownload = text == "true";
        break;
    case FileSize:
        element.FileSize = text.toLongLong();
        break;
    case SuccessURL:
        successUrl = QUrl(text);
        break;
    default:
        break;
    }
    state = NoField;
    return true;
}

bool ZelManifestHandler::fatalError(const QXmlParseException& exception) {
    // The empty piece at the end keeps the blank behind the message.
    qWarning() << "Fatal error on line" << exception.lineNumber() << ", column"
               << exception.columnNumber() << ":" << exception.message() << "";
    problem = QString("line %1, column %2: %3")
                  .arg(exception.lineNumber())
                  .arg(exception.columnNumber())
                  .arg(exception.message());
    return false;
}

QString ZelManifestHandler::errorString() const {
    return depth > maxDepth ? "elements are nested too deeply" : QXmlDefaultHandler::errorString();
}

QStringList ZelManifestHandler::elementNames() {
    return QStringList(productElement) + fieldNames().keys();
}

bool ZelReadManifest(const QXmlInputSource& source, ZelManifestHandler& handler) {
    QXmlSimpleReader reader;
    reader.setContentHandler(&handler);
    reader.setErrorHandler(&handler);
    reader.setDeclHandler(&handler);
    ZelXmlGuard guard(source);
    const bool accepted = reader.parse(&guard, false);
    if (!guard.problem().isEmpty()) {
        qWarning() << "Refused a manifest:" << guard.problem();
        handler.problem = guard.problem();
    }
    return accepted;
}
