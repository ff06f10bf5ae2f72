#pragma once

#include <QPointer>
#include <QSslConfiguration>
#include <QTcpServer>
#include <QTcpSocket>

// A request, as it came.
struct ZelRequest {
    QByteArray method;
    QByteArray target; // the path as it was written, and what follows it
    QByteArray head;   // the first line and the fields
    QByteArray body;
};

// What a server needs for TLS, from two files in PEM: the certificates from its own on, and its
// key. Null when they cannot be used.
QSslConfiguration zelServerConfiguration(const QString& certificate, const QString& key);

// An HTTP server on a free port of this machine that takes requests and says nothing until it is
// told to. What it says then goes out as it stands, be it right or wrong, over the connection of
// the latest request; where that is gone, nothing happens. With a certificate it speaks TLS.
class ZelServer : public QTcpServer {
    Q_OBJECT

public:
    ZelServer();
    ~ZelServer() override { stop(); }

    // Speaks TLS from the next connection on.
    void setSslConfiguration(const QSslConfiguration& configuration) { tls = configuration; }

    // "127.0.0.1:PORT", as the option -debugserver takes it, and an address of this server.
    QString hostAndPort() const;
    QString url(const QString& name = QString()) const;

    // Begins an answer. It announces a body of `size` bytes, or with -1 says nothing about it.
    // `fields` are further lines, each with its "\r\n".
    void answer(qint64 size, const QByteArray& body = {}, const QByteArray& fields = {},
                const QByteArray& status = "200 OK");
    void send(const QByteArray& bytes);

    // Ends the connection: after all that was sent, or at once as a broken line does.
    void close();
    void reset();

    // Answers every request from now on, and closes its connection: status and fields as in `head`
    // ("200 OK\r\nX: y"), then the body.
    void setAnswer(const QByteArray& head, const QByteArray& body);

    // Breaks all connections and listens no more.
    void stop();

    QByteArray always;    // all of the answer to every request; empty: it waits to be told
    QStringList requests; // the targets asked for, in order
    QByteArray received;  // all requests, with their bodies
    bool asked = false;   // whether a request has come since the last answer

protected:
    // Called with each request when all of it has come.
    virtual void handle(QTcpSocket* socket, const ZelRequest& request);

    void incomingConnection(qintptr descriptor) override;

private:
    void read(QTcpSocket* socket);

    QSslConfiguration tls;
    QPointer<QTcpSocket> latest;
};
