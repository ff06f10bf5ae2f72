#include "vendorserver/ZelAnswer.h"

#include <QSslSocket>
#include <cmath>
#include <limits>
#include <sys/socket.h>

namespace {

constexpr qint64 unlimited = std::numeric_limits<qint64>::max();
constexpr qint64 atOnce = 256 * 1024; // bytes that a connection is given

} // namespace

void ZelAnswer::setText(const QByteArray& text, const QByteArray& type) {
    body = {{text, text.size()}};
    fields["Content-Type"] = type;
}

ZelAnswer::ZelAnswer(QTcpSocket* connection) : QObject(connection), socket(connection) {
    pause.setSingleShot(true);
}

void ZelAnswer::begin() {
    if (rule.value("hang_up").toBool()) {
        hangUp();
        return;
    }
    qint64 size = rule.value("length_off_by").toInteger();
    for (const Piece& piece : std::as_const(body))
        size += piece.size;
    const QString framing = rule.value("framing").toString("length");
    if (framing == "length")
        fields["Content-Length"] = QByteArray::number(std::max<qint64>(size, 0));
    isChunked = framing == "chunked";
    if (isChunked)
        fields["Transfer-Encoding"] = "chunked";
    isLast = isLast || framing == "until-close";
    if (isLast)
        fields["Connection"] = "close";

    QByteArray head = "HTTP/1.1 " + QByteArray::number(status) + " \r\n";
    for (auto field = fields.cbegin(); field != fields.cend(); ++field)
        head += field.key() + ": " + field.value() + "\r\n";
    socket->write(head + "\r\n");

    connect(&pause, &QTimer::timeout, this, &ZelAnswer::sendMore);
    connect(socket, &QTcpSocket::bytesWritten, this, &ZelAnswer::sendMore);
    if (auto* tls = qobject_cast<QSslSocket*>(socket))
        connect(tls, &QSslSocket::encryptedBytesWritten, this, &ZelAnswer::sendMore);
    sendMore();
}

void ZelAnswer::sendMore() {
    const auto* tls = qobject_cast<QSslSocket*>(socket);
    const auto waiting = [&] {
        return socket->bytesToWrite() + (tls ? tls->encryptedBytesToWrite() : 0);
    };
    const qint64 last = std::min(rule.value("cut_at").toInteger(unlimited),
                                 rule.value("stall_at").toInteger(unlimited));
    const qint64 speed = rule.value("bytes_per_second").toInteger();
    while (!body.isEmpty() && sent < last) {
        if (pause.isActive() || waiting() > atOnce)
            return;
        const Piece& piece = body.first();
        qint64 room = std::min({piece.size - sentOfPiece, last - sent, atOnce});
        // Ten times a second is smooth enough for a progress bar.
        if (speed > 0)
            room = std::min(room, std::max<qint64>(speed / 10, 1));
        const QByteArray bytes = piece.block.mid(sentOfPiece % piece.block.size(), room);
        if (isChunked)
            socket->write(QByteArray::number(bytes.size(), 16) + "\r\n" + bytes + "\r\n");
        else
            socket->write(bytes);
        sent += bytes.size();
        sentOfPiece += bytes.size();
        if (sentOfPiece == piece.size) {
            body.removeFirst();
            sentOfPiece = 0;
        }
        if (speed > 0)
            pause.start(int(std::ceil(1000.0 * bytes.size() / speed)));
    }
    if (waiting() == 0)
        end();
}

void ZelAnswer::end() {
    disconnect(socket, nullptr, this, nullptr);
    const bool isWhole = body.isEmpty();
    if (rule.contains("stall_at") && (isWhole || sent == rule.value("stall_at").toInteger()))
        return; // until the client goes
    if (!isWhole || rule.contains("cut_at") || rule.value("length_off_by").toInteger() > 0) {
        hangUp();
        return;
    }
    if (isChunked)
        socket->write("0\r\n\r\n");
    if (isLast)
        socket->disconnectFromHost();
    deleteLater();
}

// Without the goodbye of TLS, as a broken line.
void ZelAnswer::hangUp() const {
    shutdown(int(socket->socketDescriptor()), SHUT_RDWR);
}
