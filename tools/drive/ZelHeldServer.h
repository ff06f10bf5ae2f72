#pragma once

#include <QPointer>
#include <QSslServer>
#include <QTcpSocket>

// A server that takes requests and says nothing until it is told to. With a certificate it speaks
// TLS.
class ZelHeldServer : public QSslServer {
public:
    ZelHeldServer();

    QString hostAndPort() const { return QString("127.0.0.1:%1").arg(serverPort()); }
    QString url(const QString& name) const { return "http://" + hostAndPort() + '/' + name; }

    // Begins the answer to the latest request. Its body has `size` bytes; -1 for as many as come.
    void answer(qint64 size, const QByteArray& body = {}, const QByteArray& fields = {});

    // Sends over, or closes, the connection of the latest request.
    void send(const QByteArray& bytes) { latest->write(bytes); }
    void close() { latest->disconnectFromHost(); }

    QStringList requests; // the paths asked for, in order
    bool asked = false;   // whether a request has come since the last answer

protected:
    void incomingConnection(qintptr socket) override;

private:
    QPointer<QTcpSocket> latest;
};
