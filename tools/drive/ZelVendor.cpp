#include "drive/ZelVendor.h"

#include "drive/ZelFiles.h"

#include <QDir>

ZelVendor::ZelVendor() {
    setAccounts("user\tpass\n");
    setManifest(zelManifestXml({}));
    QDir(directory.path()).mkdir("packages");
    connect(&thread, &QThread::finished, [this] { ZelVendorServer::stop(); }); // in that thread
}

void ZelVendor::stop() {
    thread.quit();
    thread.wait();
}

bool ZelVendor::start(const QStringList& options) {
    const QString problem =
        ZelVendorServer::start(QStringList{"--accounts", directory.filePath("accounts.txt"),
                                           "--manifest", directory.filePath("manifest.xml"),
                                           "--packages", directory.filePath("packages")} +
                               options);
    if (!problem.isEmpty())
        qWarning("%s", qPrintable(problem));
    moveToThread(&thread);
    thread.start();
    return problem.isEmpty();
}

QUrl ZelVendor::packageUrl(const QString& name) const {
    QUrl url(address());
    url.setPath("/packages/" + name);
    return url;
}

void ZelVendor::setManifest(const QByteArray& xml) {
    zelWriteFile(directory.filePath("manifest.xml"), xml);
}

void ZelVendor::setAccounts(const QByteArray& text) {
    zelWriteFile(directory.filePath("accounts.txt"), text);
}

QByteArray ZelVendor::addPackage(const QString& name, int size) {
    QByteArray contents = "xar!";
    while (contents.size() < size)
        contents += QByteArray::number(contents.size());
    contents.truncate(size);
    zelWriteFile(directory.filePath("packages/" + name), contents);
    return contents;
}
