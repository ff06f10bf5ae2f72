#pragma once

#include <QFile>
#include <QJsonObject>
#include <QMap>
#include <QTcpSocket>
#include <QTimer>
#include <functional>

// An answer, sent with the faults that a rule of the weather wants. It lives until it is out or its
// connection, which it belongs to, is gone.
class ZelAnswer : public QObject {
    Q_OBJECT

public:
    // A part of the body: a block that goes out over and over until so many bytes did.
    struct Piece {
        QByteArray block;
        qint64 size;
    };

    explicit ZelAnswer(QTcpSocket* connection);
    ~ZelAnswer() override { whenOver(sent); }

    int status = 200;
    QMap<QByteArray, QByteArray> fields;
    QList<Piece> body;
    QFile file;          // for a body that is mapped from it
    QJsonObject rule;    // what is wrong with it
    bool isLast = false; // the client wants no other over its connection

    // Called in the end with the bytes of the body that were sent.
    std::function<void(qint64)> whenOver;

    void setText(const QByteArray& text, const QByteArray& type);

    // Sends it, as fast as the connection takes it.
    void start() { QTimer::singleShot(rule.value("delay_ms").toInt(), this, &ZelAnswer::begin); }

private:
    void begin();
    void sendMore();
    void end();
    void hangUp() const;

    QTcpSocket* socket;
    qint64 sent = 0; // bytes of the body
    qint64 sentOfPiece = 0;
    QTimer pause;
    bool isChunked = false;
};
