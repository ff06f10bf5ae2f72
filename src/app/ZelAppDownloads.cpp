// Where packages go, what they are called, and the one transfer in progress.

#include "app/ZelApp.h"
#include "core/ZelDownloadFolder.h"
#include "core/ZelTexts.h"

#include <QDebug>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <utility>

namespace {

// What a reply may hold that has not been read yet. Unbounded, a disk slower than the network would
// let whole packages pile up in memory.
constexpr qint64 replyBufferSize = 512 * 1024;

// Now and then a reply ends without an error although the server closed the connection before all
// had come. What was announced tells; a body without a length, or an encoded one, which is
// announced by another length than it is saved in, is measured by the manifest.
bool isCutOff(const QFile& file, const QNetworkReply& reply, qint64 manifestSize) {
    const QVariant announced = reply.header(QNetworkRequest::ContentLengthHeader);
    const bool comparable = announced.isValid() && !reply.hasRawHeader("Content-Encoding");
    return file.size() < (comparable ? announced.toLongLong() : manifestSize);
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

    QNetworkRequest request(element.DownloadURL);
    // The bound below has no effect on HTTP/2.
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    currentDownloadReply = managerForRequest()->get(request);
    currentDownloadReply->setReadBufferSize(replyBufferSize);
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
    char* const buffer = getDownloadBuffer();
    while (currentDownloadReply->bytesAvailable() > 0) {
        const qint64 received = currentDownloadReply->read(buffer, downloadBufferSize);
        if (received < 0) {
            currentDownloadReply->abort();
            qDebug() << "Error reading from network";
            return;
        }
        if (file->write(buffer, received) < received) {
            const int error = file->error();
            currentDownloadReply->abort();
            qDebug() << "Failed writing to file in download" << error;
            return;
        }
    }
}

void ZelApp::finishedDownload(QNetworkReply* reply) {
    qDebug() << "finished download" << currentDownloadIndex;
    const int index = std::exchange(currentDownloadIndex, -1);
    const QNetworkReply* expected = std::exchange(currentDownloadReply, nullptr);
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
    // The last of the data is written here; a full disk may show only now.
    const QFile::FileError writeError = file.flush() ? QFile::NoError : file.error();
    file.close();

    QString reason;
    if (reply.error() != QNetworkReply::NoError)
        reason = ZelNetworkError(reply.error());
    else if (writeError != QFile::NoError)
        reason = ZelFileError(writeError);
    else if (isCutOff(file, reply, manifestSize))
        reason = ZelNetworkError(QNetworkReply::RemoteHostClosedError);
    if (!reason.isEmpty()) {
        qDebug() << reason;
        return reason;
    }

    const QString tempName = file.fileName();
    const QString finalName = getFinalNameFromTempName(tempName);
    if (finalName == tempName || file.rename(finalName))
        return QString();
    reason = tr("Couldn't finalize download when renaming %1 to %2").arg(tempName, finalName);
    qWarning().noquote() << reason;
    return reason;
}
