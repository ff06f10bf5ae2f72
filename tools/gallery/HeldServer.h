#pragma once

#include <QPointer>
#include <QSslServer>
#include <QTcpSocket>

// Takes requests and says nothing until it is told to. With a certificate it speaks TLS.
class HeldServer : public QSslServer {
public:
    HeldServer() {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::pendingConnectionAvailable, this, [this] {
            latest = nextPendingConnection();
            connect(latest, &QTcpSocket::readyRead, this, [this] { asked = true; });
        });
    }

    QString hostAndPort() const { return QString("127.0.0.1:%1").arg(serverPort()); }

    // Begins an answer. Its body has `size` bytes; -1 for as many as come.
    void answer(qint64 size, const QByteArray& body = {}, const QByteArray& fields = {}) {
        asked = false;
        latest->write("HTTP/1.1 200 OK\r\nConnection: close\r\n" + fields +
                      (size < 0 ? "" : "Content-Length: " + QByteArray::number(size) + "\r\n") +
                      "\r\n" + body);
    }

    bool asked = false; // whether a request has come since the last answer
    QPointer<QTcpSocket> latest;

protected:
    void incomingConnection(qintptr socket) override {
        if (sslConfiguration().localCertificate().isNull())
            QTcpServer::incomingConnection(socket); // NOLINT(bugprone-parent-virtual-call): no TLS
        else
            QSslServer::incomingConnection(socket);
    }
};
