#include "vendorserver/ZelServer.h"

#include <QFile>
#include <QRegularExpression>
#include <QSslKey>
#include <QSslSocket>
#include <QUrl>
#include <sys/socket.h>

QSslConfiguration zelServerConfiguration(const QString& certificate, const QString& key) {
    QFile file(key);
    const QByteArray pem = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    QSslConfiguration result = QSslConfiguration::defaultConfiguration();
    result.setLocalCertificateChain(QSslCertificate::fromPath(certificate));
    for (const auto algorithm : {QSsl::Ec, QSsl::Rsa}) {
        if (const QSslKey read(pem, algorithm); !read.isNull())
            result.setPrivateKey(read);
    }
    const bool isWhole = !result.localCertificate().isNull() && !result.privateKey().isNull();
    return isWhole ? result : QSslConfiguration();
}

ZelServer::ZelServer() {
    listen(QHostAddress::LocalHost);
}

QString ZelServer::hostAndPort() const {
    QUrl address;
    address.setHost(serverAddress().toString());
    address.setPort(serverPort());
    return address.authority();
}

QString ZelServer::url(const QString& name) const {
    return (tls.isNull() ? "http://" : "https://") + hostAndPort() + '/' + name;
}

void ZelServer::answer(qint64 size, const QByteArray& body, const QByteArray& fields,
                       const QByteArray& status) {
    asked = false;
    send("HTTP/1.1 " + status + "\r\nConnection: close\r\n" + fields +
         (size < 0 ? "" : "Content-Length: " + QByteArray::number(size) + "\r\n") + "\r\n" + body);
}

void ZelServer::send(const QByteArray& bytes) {
    if (latest && latest->state() == QAbstractSocket::ConnectedState)
        latest->write(bytes);
}

void ZelServer::close() {
    if (latest)
        latest->disconnectFromHost();
}

void ZelServer::reset() {
    if (!latest)
        return;
    latest->flush();
    const linger atOnce{1, 0};
    setsockopt(int(latest->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    latest->abort();
}

void ZelServer::setAnswer(const QByteArray& head, const QByteArray& body) {
    always = "HTTP/1.1 " + head +
             "\r\nConnection: close\r\nContent-Length: " + QByteArray::number(body.size()) +
             "\r\n\r\n" + body;
}

void ZelServer::stop() {
    QTcpServer::close();
    qDeleteAll(findChildren<QTcpSocket*>(Qt::FindDirectChildrenOnly));
}

void ZelServer::handle(QTcpSocket* socket, const ZelRequest& /*request*/) {
    if (always.isEmpty())
        return;
    socket->write(always);
    socket->disconnectFromHost();
}

void ZelServer::incomingConnection(qintptr descriptor) {
    QSslSocket* secure = tls.isNull() ? nullptr : new QSslSocket(this);
    QTcpSocket* socket = secure ? secure : new QTcpSocket(this);
    socket->setSocketDescriptor(descriptor);
    connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
    if (secure) {
        secure->setSslConfiguration(tls);
        secure->startServerEncryption();
    }
}

void ZelServer::read(QTcpSocket* socket) {
    static const QRegularExpression length("\r\nContent-Length: *([0-9]+)",
                                           QRegularExpression::CaseInsensitiveOption);
    for (;;) {
        const QByteArray all = socket->peek(socket->bytesAvailable());
        const qsizetype end = all.indexOf("\r\n\r\n") + 4;
        const QByteArray head = all.left(end);
        const qsizetype size = end + length.match(head).captured(1).toInt();
        if (end < 4 || all.size() < size)
            return;
        socket->skip(size);
        const QByteArrayList words = head.left(head.indexOf('\r')).split(' ');
        latest = socket;
        asked = true;
        requests << QString::fromUtf8(words.value(1));
        received += all.left(size);
        handle(socket, {words.value(0), words.value(1), head, all.mid(end, size - end)});
    }
}
