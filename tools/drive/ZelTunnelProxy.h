#pragma once

#include <QTcpServer>
#include <QTcpSocket>
#include <sys/socket.h>

// A proxy that makes tunnels and breaks them.
class ZelTunnelProxy : public QTcpServer {
public:
    // Answers each CONNECT with `toConnect`; when that is null, by making the tunnel, which lets
    // `bytes` bytes through to the program. After that, or when the server has closed, it closes
    // the connection, or resets it.
    ZelTunnelProxy(const QByteArray& toConnect, qint64 bytes, bool byReset)
        : answer(toConnect), limit(bytes), resets(byReset) {
        connect(this, &QTcpServer::newConnection, this, [this] { serve(nextPendingConnection()); });
        listen(QHostAddress::LocalHost);
    }

    int requests = 0;

private:
    void serve(QTcpSocket* client) {
        auto* const server = new QTcpSocket(client);
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        connect(client, &QTcpSocket::readyRead, client, [=, this] {
            const QByteArray sent = client->readAll();
            if (server->isOpen()) {
                server->write(sent);
                return;
            }
            ++requests;
            client->write(answer.isNull() ? "HTTP/1.1 200 Established\r\n\r\n" : answer);
            if (!answer.isNull())
                return finish(client);
            const QList<QByteArray> address = sent.split(' ')[1].split(':');
            server->connectToHost(QString::fromUtf8(address[0]), address[1].toUShort());
        });
        connect(server, &QTcpSocket::readyRead, client, [=, this, passed = qint64(0)]() mutable {
            const QByteArray bytes = server->read(qMin(limit - passed, server->bytesAvailable()));
            passed += bytes.size();
            client->write(bytes);
            if (passed == limit) {
                server->disconnect();
                finish(client);
            }
        });
        connect(server, &QTcpSocket::disconnected, client, [=, this] { finish(client); });
    }

    void finish(QTcpSocket* client) {
        const linger reset{1, 0};
        if (resets) {
            setsockopt(int(client->socketDescriptor()), SOL_SOCKET, SO_LINGER, &reset,
                       sizeof reset);
            client->abort();
        } else {
            client->disconnectFromHost();
        }
    }

    const QByteArray answer;
    const qint64 limit;
    const bool resets;
};
