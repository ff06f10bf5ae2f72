#include "core/ZelManifestHandler.h"

#include <QDebug>

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
    NewProduct,
};

// A handful, most of different lengths: quicker looked through than hashed.
constexpr struct {
    QLatin1String name;
    Field field;
} elements[] = {
    {QLatin1String("ProductInfo"), NewProduct},
    {QLatin1String("Name"), Name},
    {QLatin1String("SimpleName"), SimpleName},
    {QLatin1String("BuildID"), BuildID},
    {QLatin1String("DownloadURL"), DownloadURL},
    {QLatin1String("FileSize"), FileSize},
    {QLatin1String("EligibleCommunityDownload"), EligibleCommunityDownload},
    {QLatin1String("ZELSuccessURL"), SuccessURL},
};

Field fieldOf(const QString& name) {
    for (const auto& element : elements) {
        if (name == element.name)
            return element.field;
    }
    return NoField;
}

// A copy of just the text's size: the reader goes on in its own, larger buffer instead of leaving
// it behind in each record and getting a new one.
QString kept(const QString& text) {
    return QString(text.constData(), text.size());
}

} // namespace

ZelManifestHandler::ZelManifestHandler(QList<ZelManifestElement>& target) : list(target) {}

bool ZelManifestHandler::beginElement(const QString& name) {
    state = fieldOf(name);
    if (state == NewProduct) {
        list.emplaceBack();
        state = NoField;
    }
    return true;
}

bool ZelManifestHandler::characters(const QString& text) {
    if (list.isEmpty()) {
        // A success address before the first product is passed over; the state stays as it is.
        if (state == NoField || state == SuccessURL)
            return true;
        qDebug() << "Unexpected empty manifest cdata found";
        return refuse("there is a field before the first product");
    }

    ZelManifestElement& element = list.last();
    switch (state) {
    case Name:
        element.Name = kept(text);
        break;
    case BuildID:
        element.BuildID = kept(text);
        break;
    case SimpleName:
        element.SimpleName = kept(text);
        break;
    case DownloadURL:
        element.DownloadURL = QUrl(text);
        break;
    case EligibleCommunityDownload:
        element.EligibleCommunityDownload = text == QLatin1String("true");
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

QStringList ZelManifestHandler::elementNames() {
    QStringList names;
    for (const auto& element : elements)
        names << element.name;
    return names;
}
