#include "core/ZelManifestHandler.h"

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

Field fieldOf(const QString& element) {
    static const QHash<QString, Field> fields{
        {"Name", Name},
        {"BuildID", BuildID},
        {"SimpleName", SimpleName},
        {"DownloadURL", DownloadURL},
        {"EligibleCommunityDownload", EligibleCommunityDownload},
        {"FileSize", FileSize},
        {"ZELSuccessURL", SuccessURL},
    };
    return fields.value(element, NoField);
}

} // namespace

ZelManifestHandler::ZelManifestHandler(QList<ZelManifestElement>& target) : list(target) {}

bool ZelManifestHandler::startElement(const QString&, const QString& localName, const QString&,
                                      const QXmlAttributes&) {
    if (localName == "ProductInfo") {
        list.append(ZelManifestElement());
        state = NoField;
    } else {
        state = fieldOf(localName);
    }
    return true;
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
    return false;
}

bool ZelReadManifest(const QXmlInputSource& source, ZelManifestHandler& handler) {
    QXmlSimpleReader reader;
    reader.setContentHandler(&handler);
    reader.setErrorHandler(&handler);
    return reader.parse(&source, false);
}
