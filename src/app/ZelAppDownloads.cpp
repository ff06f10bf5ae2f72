// Where packages go, what they are called, and the one transfer in progress.

#include "app/ZelApp.h"
#include "core/ZelDownloadFolder.h"
#include "core/ZelTexts.h"

#include <QDebug>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <algorithm>
#include <utility>

namespace {

// What a reply may hold that has not been read yet. Unbounded, a disk slower than the network would
// let whole packages pile up in memory. Of a body that comes compressed it counts the bytes as they
// came, and those only until the first of them is read.
constexpr qint64 replyBufferSize = 512 * 1024;

// Whether a request goes through a proxy: the manager's own, else what the system says.
bool usesProxy(const QNetworkAccessManager& manager, const QUrl& url) {
    const QNetworkProxy own = manager.proxy();
    const QList<QNetworkProxy> proxies =
        own.type() == QNetworkProxy::DefaultProxy
            ? QNetworkProxyFactory::proxyForQuery(QNetworkProxyQuery(url))
            : QList<QNetworkProxy>{own};
    return std::any_of(proxies.begin(), proxies.end(), [](const QNetworkProxy& proxy) {
        return proxy.type() != QNetworkProxy::NoProxy;
    });
}

// Bounds a reply that is about to be answered. Not through a proxy's tunnel: when that is closed
// while some of the answer is still on the way, a bounded reply never ends.
void bound(QNetworkReply* reply) {
    const bool isTunnelled =
        reply->url().scheme() == "https" && usesProxy(*reply->manager(), reply->url());
    reply->setReadBufferSize(isTunnelled ? 0 : replyBufferSize);
}

// Nobody reads the body of a redirect. Bounded, it would never end.
void unboundRedirect(QNetworkReply* reply) {
    if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() / 100 == 3)
        reply->setReadBufferSize(0);
}

// Now and then a reply ends without an error although the server closed the connection before all
// had come. What was announced tells; a body without a length, or an encoded one, which is
// announced by another length than it is saved in, is measured by the manifest. More than was
// announced comes too: behind a redirect with a long page, over the same connection, the toolkit
// may ask once more and hand over two answers as one.
bool isBroken(qint64 saved, const QNetworkReply& reply, qint64 manifestSize) {
    const QVariant announced = reply.header(QNetworkRequest::ContentLengthHeader);
    const bool comparable = announced.isValid() && !reply.hasRawHeader("Content-Encoding");
    return comparable ? saved != announced.toLongLong() : saved < manifestSize;
}

} // namespace

QDir* ZelApp::GetDownloadDir() {
    if (!downloadDirectory)
        downloadDirectory = std::make_unique<QDir>(ZelChooseDownloadFolder());
    return downloadDirectory.get();
}

QString ZelApp::getDownloadPath(int index) {
    if (!isManifestIndex(index)) {
        qDebug() << "index out of range in getDownloadPath" << index;
        return ZelNoTempPath;
    }
    return ZelFreeTempPath(*GetDownloadDir(), manifest[index].Name);
}

QString ZelApp::getFinalNameFromTempName(const QString& tempName) const {
    return ZelFinalNameFromTempName(tempName);
}

void ZelApp::CheckForDownload(int index) {
    if (!isManifestIndex(index)) {
        qDebug() << "index out of range in CheckForDownload" << index;
        return;
    }
    ZelManifestElement& element = manifest[index];
    const QFileInfo package(GetDownloadDir()->absolutePath() + '/' +
                            ZelPackageFileName(element.Name));
    qDebug() << "Looking for download of" << package.absoluteFilePath();
    if (package.isFile() && package.size() == element.FileSize) {
        qDebug() << "Found existing download";
        element.file = QSharedPointer<QFile>::create(package.absoluteFilePath());
        element.downloaded = true;
    }
}

QNetworkReply* ZelApp::DownloadProduct(int index) {
    if (currentDownloadReply) {
        qDebug() << "Already downloading something" << index;
        return nullptr;
    }
    if (!isManifestIndex(index)) {
        qDebug() << "index out of range in Download " << index;
        return nullptr;
    }
    ZelManifestElement& element = manifest[index];
    if (element.downloaded) {
        qDebug() << "Asked to download " << element.Name << " again";
        return nullptr;
    }

    const QString path = getDownloadPath(index);
    element.file = QSharedPointer<QFile>::create(path);
    if (!element.file->open(QIODevice::WriteOnly)) {
        qDebug() << "Couldn't open temp file for write" << path << "errcode"
                 << int(element.file->error());
        return nullptr;
    }
    qDebug() << "downloading " << element.label() << "from" << element.DownloadURL;

    QNetworkAccessManager* const manager = managerForRequest();
    QNetworkRequest request(element.DownloadURL);
    // A bound has no effect on HTTP/2; but where that is not allowed, a reply never ends when the
    // proxy closes the connection instead of making a tunnel.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute,
                         usesProxy(*manager, element.DownloadURL));
    QNetworkReply* const reply = manager->get(request);
    bound(reply);
    // Each redirect leads to a new request, which knows nothing of the bound.
    connect(reply, &QNetworkReply::requestSent, reply, [reply] { bound(reply); });
    connect(reply, &QNetworkReply::metaDataChanged, reply, [reply] { unboundRedirect(reply); });
    // After this one the toolkit goes on receiving, and hands over nothing any more.
    connect(reply, &QNetworkReply::errorOccurred, reply,
            [reply](QNetworkReply::NetworkError error) {
                if (error == QNetworkReply::UnknownContentError)
                    reply->abort();
            });
    currentDownloadReply = reply;
    connect(currentDownloadReply, &QNetworkReply::sslErrors, this, &ZelApp::downloadSslErrors);
    connect(currentDownloadReply, &QNetworkReply::readyRead, this, &ZelApp::downloadReadyRead);
    currentDownloadIndex = index;
    return currentDownloadReply;
}

void ZelApp::downloadReadyRead() {
    if (!currentDownloadReply || !isManifestIndex(currentDownloadIndex)) {
        qDebug() << QString("error in download reply");
        return;
    }
    const QSharedPointer<QFile> file = manifest[currentDownloadIndex].file;
    if (!file) {
        qDebug() << "data ready but no file";
        return;
    }

    // An abort ends the transfer, and lets its slots run, before it returns: nothing of it may be
    // touched afterwards.
    QNetworkReply* const reply = currentDownloadReply;
    char* const buffer = getDownloadBuffer();
    while (reply->bytesAvailable() > 0) {
        const qint64 received = reply->read(buffer, downloadBufferSize);
        if (received < 0) {
            reply->abort();
            qDebug() << "Error reading from network";
            return;
        }
        if (file->write(buffer, received) < received) {
            const int error = file->error();
            reply->abort();
            qDebug() << "Failed writing to file in download" << error;
            return;
        }
    }
}

void ZelApp::finishedDownload(QNetworkReply* reply) {
    qDebug() << "finished download" << currentDownloadIndex;
    const int index = std::exchange(currentDownloadIndex, -1);
    const QNetworkReply* expected = std::exchange(currentDownloadReply, nullptr);
    reply->disconnect(this); // TLS errors of an aborted one may still come: not for the next one
    reply->deleteLater();

    if (reply != expected) {
        qDebug() << "wrong reply!";
        emit failedDownload(tr("wrong reply"), index);
        return;
    }
    if (!isManifestIndex(index)) {
        qDebug() << "index out of range in Download " << index;
        emit failedDownload(tr("index out of range in Download"), index);
        return;
    }

    // The element may have been replaced with the whole manifest meanwhile.
    const QSharedPointer<QFile> file = manifest[index].file;
    const QString problem =
        file ? finishFile(*file, *reply, manifest[index].FileSize) : ZelFileError(QFile::OpenError);
    if (problem.isEmpty()) {
        emit finishedDownload(index);
        return;
    }
    manifest[index].file.reset();
    emit failedDownload(problem, index);
}

// Closes the file and gives it its final name. The reason when that cannot be, empty on success.
QString ZelApp::finishFile(QFile& file, const QNetworkReply& reply, qint64 manifestSize) {
    const qint64 saved = file.pos();
    // The last of the data is written here: a full disk may show only now, and so do writes that a
    // network's disk has lost.
    file.close();

    QString reason;
    if (reply.error() != QNetworkReply::NoError)
        reason = ZelNetworkError(reply.error());
    else if (file.error() != QFile::NoError)
        reason = ZelFileError(file.error());
    else if (isBroken(saved, reply, manifestSize))
        reason = ZelNetworkError(QNetworkReply::RemoteHostClosedError);
    if (!reason.isEmpty()) {
        qDebug() << reason;
        return reason;
    }

    const QString tempName = file.fileName();
    const QString finalName = getFinalNameFromTempName(tempName);
    if (finalName == tempName || ZelRenameFile(tempName, finalName)) {
        file.setFileName(finalName);
        return QString();
    }
    reason = tr("Couldn't finalize download when renaming %1 to %2").arg(tempName, finalName);
    qWarning().noquote() << reason;
    return reason;
}
