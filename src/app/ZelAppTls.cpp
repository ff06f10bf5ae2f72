// The policy for TLS errors.

#include "app/ZelApp.h"
#include "app/ZelMessageBox.h"

#include <QDebug>
#include <QNetworkAccessManager>
#include <cstdio>
#include <utility>

void ZelApp::manifestSslErrors(const QList<QSslError>& errors) {
    if (manifestReply)
        sslErrors(manifestReply, errors);
}

void ZelApp::downloadSslErrors(const QList<QSslError>& errors) {
    if (currentDownloadReply)
        sslErrors(currentDownloadReply, errors);
}

void ZelApp::sslErrors(QNetworkReply* reply, const QList<QSslError>& errors) {
    tlsErrorsJudged = true;
    // A network that vouches for itself with a root certificate of its own.
    if (errors.size() == 1 && errors[0].error() == QSslError::SelfSignedCertificateInChain) {
        reply->ignoreSslErrors(errors);
        return;
    }

    QStringList texts;
    for (const QSslError& error : errors)
        texts << error.errorString();

    if (!gui) {
        for (const QString& text : std::as_const(texts))
            std::fprintf(stderr, "ssl error: %s\n", qPrintable(text));
        std::fprintf(stderr, "ignored\n");
        reply->ignoreSslErrors(errors);
        return;
    }

    ZelMessageBox box;
    box.name = "sslErrors";
    box.text = tr("There was issue with the SSL connection. Continue anyway?");
    if (texts.size() == 1) {
        box.informativeText = texts[0];
    } else {
        box.informativeText = tr("There were multiple issues with the SSL connection");
        for (const QString& text : std::as_const(texts))
            qDebug() << "ssl error: %s" << text;
        box.detailedText = texts.join("---");
    }
    box.buttons = QMessageBox::Ok | QMessageBox::Cancel;
    box.defaultButton = QMessageBox::Ok;

    // The reply may end while the user thinks.
    const QPointer<QNetworkReply> asked = reply;
    // Without the user and password that an address may carry.
    const QString server = reply->url().host() + ':' + QString::number(reply->url().port(443));
    const bool accepted = ZelShowMessageBox(box) == QMessageBox::Ok;
    qDebug() << "TLS errors of" << server << (accepted ? "accepted" : "refused");
    // Refused is all but an error that never comes: an empty list would leave what was accepted
    // before in force for a connection that is made once more.
    if (asked)
        asked->ignoreSslErrors(accepted ? errors : QList{QSslError()});
}

// The shared manager, about to start a request. What was accepted held for one reply alone: the
// next one must not be served over its connection, unasked.
QNetworkAccessManager* ZelApp::managerForRequest() {
    QNetworkAccessManager* manager = getNetworkManager();
    if (std::exchange(tlsErrorsJudged, false))
        manager->clearConnectionCache();
    return manager;
}
