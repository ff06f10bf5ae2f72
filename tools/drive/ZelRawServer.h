#pragma once

#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

// Answers every request with the same bytes and closes the connection: for what a sound server
// never says. Keeps what it was sent.
class ZelRawServer : public QTcpServer {
public:
    ZelRawServer() {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
                requests += socket->readAll();
                static const QRegularExpression length("Content-Length: ([0-9]+)");
                const qsizetype body = requests.indexOf("\r\n\r\n") + 4;
                const QString head = requests.left(body);
                if (body < 4 || requests.size() - body < length.match(head).captured(1).toInt())
                    return;
                socket->write(answer);
                socket->disconnectFromHost();
            });
        });
    }

    // Sets the answer: status and headers as in `head` ("200 OK\r\nX: y"), then the body, of which
    // `missing` bytes are announced but never come.
    void setAnswer(const QByteArray& head, const QByteArray& body, int missing = 0) {
        answer = "HTTP/1.1 " + head + "\r\nConnection: close\r\nContent-Length: " +
                 QByteArray::number(body.size() + missing) + "\r\n\r\n" + body;
    }

    QUrl url(const QString& path = "/") const {
        return QUrl(QString("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
    }

    QByteArray answer;   // all of it, for one without a length
    QByteArray requests; // all that came
};
