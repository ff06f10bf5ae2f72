#include "drive/ZelHeldServer.h"

ZelHeldServer::ZelHeldServer() {
    listen(QHostAddress::LocalHost);
    connect(this, &QTcpServer::pendingConnectionAvailable, this, [this] {
        QTcpSocket* socket = nextPendingConnection();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
            latest = socket;
            while (socket->canReadLine()) {
                const QByteArray line = socket->readLine();
                if (!line.startsWith("GET ") && !line.startsWith("POST "))
                    continue;
                requests << QString::fromUtf8(line.split(' ')[1]);
                asked = true;
            }
        });
    });
}

void ZelHeldServer::answer(qint64 size, const QByteArray& body, const QByteArray& fields) {
    asked = false;
    latest->write("HTTP/1.1 200 OK\r\nConnection: close\r\n" + fields +
                  (size < 0 ? "" : "Content-Length: " + QByteArray::number(size) + "\r\n") +
                  "\r\n" + body);
}

void ZelHeldServer::incomingConnection(qintptr socket) {
    if (sslConfiguration().localCertificate().isNull())
        QTcpServer::incomingConnection(socket); // NOLINT(bugprone-parent-virtual-call): no TLS
    else
        QSslServer::incomingConnection(socket);
}
