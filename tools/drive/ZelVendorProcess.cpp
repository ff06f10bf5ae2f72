#include "drive/ZelVendorProcess.h"

#include "drive/ZelFiles.h"

#include <QDir>

ZelVendorProcess::ZelVendorProcess() {
    setAccounts("user\tpass\n");
    setManifest(zelManifestXml({}));
    QDir(directory.path()).mkdir("packages");
}

ZelVendorProcess::~ZelVendorProcess() {
    stop();
}

void ZelVendorProcess::stop() {
    process.terminate();
    process.waitForFinished();
}

bool ZelVendorProcess::start(const QStringList& arguments) {
    process.start(ZEL_VENDOR_PROGRAM,
                  QStringList{"--accounts", directory.filePath("accounts.txt"), "--manifest",
                              directory.filePath("manifest.xml"), "--packages",
                              directory.filePath("packages"), "--die-with-parent"} +
                      arguments);
    const QByteArray announcement = "listening on ";
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead())
            return false;
    }
    const QByteArray line = process.readLine().trimmed();
    address = QUrl(QString::fromUtf8(line.mid(announcement.size())));
    return line.startsWith(announcement) && address.isValid();
}

QString ZelVendorProcess::hostAndPort() const {
    return address.authority();
}

QUrl ZelVendorProcess::packageUrl(const QString& name) const {
    QUrl url = address;
    url.setPath("/packages/" + name);
    return url;
}

void ZelVendorProcess::setManifest(const QByteArray& xml) {
    zelWriteFile(directory.filePath("manifest.xml"), xml);
}

void ZelVendorProcess::setAccounts(const QByteArray& text) {
    zelWriteFile(directory.filePath("accounts.txt"), text);
}

QByteArray ZelVendorProcess::addPackage(const QString& name, int size) {
    QByteArray contents = "xar!";
    while (contents.size() < size)
        contents += QByteArray::number(contents.size());
    contents.truncate(size);
    zelWriteFile(directory.filePath("packages/" + name), contents);
    return contents;
}
