#include "ManifestChecks.h"
#include "core/ZelTexts.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <memory>

namespace {

constexpr qsizetype requestsAtATime = 6; // no more go to one server
constexpr char packageBeginning[] = "xar!";
constexpr qint64 beginningSize = 4;

// The whole package's, -1 when the server does not tell.
qint64 lengthOf(const QNetworkReply& reply, int status) {
    const QByteArray range = reply.rawHeader("Content-Range");
    const QByteArray text =
        status == 206 ? range.mid(range.lastIndexOf('/') + 1) : reply.rawHeader("Content-Length");
    bool isNumber = false;
    const qint64 length = text.toLongLong(&isNumber);
    return isNumber ? length : -1;
}

class AddressProbe : public QObject {
public:
    AddressProbe(Manifest& target, int milliseconds) : manifest(target), timeout(milliseconds) {
        // A bad certificate is a finding, and no reason to learn nothing else.
        connect(&network, &QNetworkAccessManager::sslErrors, this,
                [this](QNetworkReply* reply, const QList<QSslError>& errors) {
                    QStringList& texts = certificateErrors[reply->url().authority()];
                    for (const QSslError& error : errors)
                        texts << error.errorString();
                    texts.removeDuplicates();
                    reply->ignoreSslErrors();
                });
    }

    // Returns when all have answered or did not.
    void run() {
        QEventLoop loop;
        for (int i = 0; i < manifest.products.size(); ++i) {
            const QUrl& url = manifest.products[i].DownloadURL;
            if (url.isValid() && url.scheme().startsWith("http") && !url.host().isEmpty())
                ask(i);
            while (running >= requestsAtATime)
                loop.processEvents(QEventLoop::WaitForMoreEvents);
        }
        while (running > 0)
            loop.processEvents(QEventLoop::WaitForMoreEvents);
    }

private:
    void ask(int index) {
        // As the installer asks, so that redirections and protocols are the same.
        QNetworkRequest request(manifest.products[index].DownloadURL);
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        // A packed length would not be the file's.
        request.setRawHeader("Accept-Encoding", "identity");
        request.setRawHeader("Range", "bytes=0-" + QByteArray::number(beginningSize - 1));
        request.setTransferTimeout(timeout);
        QNetworkReply* reply = network.get(request);
        reply->setReadBufferSize(beginningSize);
        ++running;
        // A server that does not know ranges sends everything: the beginning is enough.
        auto beginning = std::make_shared<QByteArray>();
        connect(reply, &QNetworkReply::readyRead, this, [reply, beginning] {
            if (reply->bytesAvailable() < beginningSize || !beginning->isEmpty())
                return;
            *beginning = reply->read(beginningSize);
            reply->abort();
        });
        connect(reply, &QNetworkReply::finished, this, [this, reply, beginning, index] {
            if (beginning->isEmpty())
                *beginning = reply->read(beginningSize);
            judge(index, *reply, *beginning);
            reply->deleteLater();
            --running;
        });
    }

    void judge(int index, const QNetworkReply& reply, const QByteArray& beginning) {
        const int line = manifest.notes[index].fields.value("DownloadURL").line;
        const auto add = [&](const char* kind, const QString& what, const QString& effect) {
            manifest.add(line, index, kind, what, effect);
        };
        const QStringList certificate = certificateErrors.value(reply.url().authority());
        if (!certificate.isEmpty())
            add("probe-certificate",
                "the server's certificate is not trusted: " + certificate.join(' '),
                "may ask each user whether to trust the server all the same");

        const int status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        if (status != 200 && status != 206) {
            const QString reason = reply.error() == QNetworkReply::OperationCanceledError
                                       ? QString("no answer in time")
                                       : ZelNetworkError(reply.error());
            add(status == 0 ? "probe-unreachable" : "probe-status",
                status == 0 ? "the server cannot be asked: " + reason
                            : QString("the server answers with status %1").arg(status),
                "offers it and fails to download it");
            return;
        }
        const qint64 length = lengthOf(reply, status);
        const qint64 size = manifest.products[index].FileSize;
        if (length >= 0 && length != size)
            add("probe-length",
                QString("the package has %1 bytes, the manifest says %2").arg(length).arg(size),
                "reserves the wrong room, and downloads the package anew although it is there");
        if (beginning != packageBeginning)
            add("probe-contents", "what the server sends does not begin like a flat package",
                "downloads it and fails to install it");
    }

    Manifest& manifest;
    int timeout;
    QNetworkAccessManager network;
    QHash<QString, QStringList> certificateErrors; // of each server
    qsizetype running = 0;
};

} // namespace

void probeAddresses(Manifest& manifest, int timeout) {
    AddressProbe(manifest, timeout).run();
}
