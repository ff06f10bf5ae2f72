#include "drive/ZelFiles.h"

#include <QDir>
#include <QFile>

QString zelWriteFile(const QString& path, const QByteArray& contents, bool executable) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
    if (executable)
        file.setPermissions(file.permissions() | QFile::ExeOwner);
    return path;
}

QByteArray zelProductXml(const QString& name, const QString& simpleName, int build, qint64 size,
                         const QString& url, bool eligible) {
    return QString("<ProductInfo><Name>%1</Name><SimpleName>%2</SimpleName><BuildID>%3</BuildID>"
                   "<DownloadURL>%4</DownloadURL><FileSize>%5</FileSize>"
                   "<EligibleCommunityDownload>%6</EligibleCommunityDownload></ProductInfo>\n")
        .arg(name.toHtmlEscaped(), simpleName.toHtmlEscaped(), QString::number(build),
             url.isEmpty() ? "@SERVER@/packages/" + name : url, QString::number(size),
             eligible ? "true" : "false")
        .toUtf8();
}

QByteArray zelManifestXml(const QByteArrayList& products) {
    return "<Manifest>\n" + products.join() + "</Manifest>\n";
}
