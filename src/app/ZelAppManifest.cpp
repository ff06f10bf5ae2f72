// The manifest: its request, the judgement of the reply, and the local files beside it.

#include "app/ZelApp.h"
#include "core/ZelMachineAssay.h"
#include "core/ZelManifestHandler.h"

#include <QDebug>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <utility>

namespace {

void appendFormField(QHttpMultiPart* form, const char* name, const QString& value) {
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
                   QString("form-data; name=\"%1\"").arg(name));
    part.setBody(value.toUtf8());
    form->append(part);
}

void fillFromEnvironment(QString& member, const char* variable) {
    if (member.isEmpty())
        ZelMachineAssay::GetEnv(variable, member, nullptr, nullptr);
}

} // namespace

QUrl ZelApp::GetURL(ZelLocation location) const {
    QUrl url;
    url.setScheme(scheme);

    // A debug server may come with a port: name:port, 10.0.0.5:port, [::1]:port.
    static const QRegularExpression hostAndPort("\\A([^:]+|\\[[^\\]]+\\]):([0-9]{1,5})\\z");
    const QRegularExpressionMatch match = hostAndPort.match(host);
    if (match.hasMatch() && match.captured(2).toInt() <= 65535) {
        url.setHost(match.captured(1));
        url.setPort(match.captured(2).toInt());
    } else {
        url.setHost(host);
    }

    if (location == ZelManifestLocation)
        url.setPath("/forum/currentproducts.php");
    return url;
}

void ZelApp::RequestManifest(const QUrl& url, const QString& userId, const QString& userPassword,
                             const QString& platform) {
    manifest.clear();
    fillFromEnvironment(manifestFile, "ZEL_MANIFEST_FILE");
    if (!manifestFile.isEmpty()) {
        qDebug() << "Loading manifest from disk ONLY";
        alternateManifest();
        emit validManifestReply();
        return;
    }

    // Nobody waits for an earlier one; it must not go on with what is accepted for this one.
    if (const QPointer<QNetworkReply> earlier = std::exchange(manifestReply, nullptr)) {
        earlier->disconnect(this); // its TLS errors may still come, and would be asked of the next
        earlier->abort();
        earlier->deleteLater();
    }

    qDebug() << "Requesting manifest from " << url;
    QNetworkAccessManager* manager = managerForRequest();
    auto* form = new QHttpMultiPart(QHttpMultiPart::FormDataType, this);
    appendFormField(form, "platform", platform);
    appendFormField(form, "community", "1");
    // The server takes the user id escaped and the password as it is.
    appendFormField(form, "username", QString(userId).replace('&', "&amp;"));
    appendFormField(form, "userpass", userPassword);

    manifestReply = manager->post(QNetworkRequest(url), form);
    form->setParent(manifestReply);
    connect(manifestReply.get(), &QNetworkReply::sslErrors, this, &ZelApp::manifestSslErrors);
}

void ZelApp::finishedReply(QNetworkReply* reply) {
    if (!reply)
        qDebug() << "Oy! null reply";
    else if (reply == manifestReply)
        replyFromManifestRequest(reply);
    else if (reply == currentDownloadReply)
        finishedDownload(reply);
}

void ZelApp::replyFromManifestRequest(QNetworkReply* reply) {
    const QByteArray validation = reply->rawHeader("Validation");
    if (validation.startsWith("Approved")) {
        qDebug() << "Manifest request approved";
        const QByteArray body = reply->readAll();
        const bool parsed = parseManifest(body);
        appendManifest();
        if (parsed) {
            emit validManifestReply();
        } else {
            // As it came, to be checked elsewhere; a zero byte would end the record.
            qDebug().noquote().nospace() << "Bad Wolf:\n"
                                         << QString::fromUtf8(body).replace(QChar::Null, ' ');
            emit invalidManifestReply(tr("bad manifest reply"));
        }
    } else if (validation.startsWith("Error")) {
        qDebug() << "Manifest request denied";
        const QByteArray reason = validation.mid(qstrlen("Error"));
        emit invalidManifestReply(reason.isEmpty() ? tr("Manifest request denied")
                                                   : QString::fromUtf8(reason).trimmed());
    } else {
        qDebug() << "Crikey! unknown manifest Validation" << validation;
        emit invalidManifestReply(tr("Unknown manifest Validation"));
    }

    // Whatever else the server had to say ends at the first zero byte.
    qDebug() << QString::fromUtf8(reply->readAll().constData());
    reply->deleteLater();
}

bool ZelApp::parseManifest(const QByteArray& document) {
    ZelManifestHandler handler(manifest);
    const bool parsed = handler.read(document);
    if (handler.successUrl)
        successUrl = *handler.successUrl;
    return parsed;
}

void ZelApp::alternateManifest() {
    loadLocalManifest(manifestFile, "ZEL_MANIFEST_FILE", "Loading alternate manifest",
                      "added alt manifest");
}

void ZelApp::appendManifest() {
    loadLocalManifest(appendManifestFile, "ZEL_APPEND_MANIFEST_FILE",
                      "Appending alternate manifest", "appended alt manifest");
}

void ZelApp::loadLocalManifest(QString& path, const char* variable, const char* start,
                               const char* success) {
    fillFromEnvironment(path, variable);
    if (path.isEmpty())
        return;
    qDebug() << start << path;
    QFile file(path);
    const QByteArray document = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    qDebug() << (parseManifest(document) ? success : "failed to parse alt manifest");
}
