#pragma once

#include "WalkModel.h"
#include "vendorserver/ZelServer.h"

// A server that sends one answer in pieces.
class Origin : public ZelServer {
public:
    explicit Origin(const bool& certificateIsAccepted) : isAccepted(certificateIsAccepted) {
        last = this;
    }

    bool isIdle() const { return !asked && owed <= 0; }

    void more(qint64 size) {
        send(left.left(size));
        owed -= std::min(size, qint64(left.size()));
        left.remove(0, size);
    }

    void end(void (Origin::*how)()) {
        asked = false;
        owed = 0;
        (this->*how)();
    }

    QByteArray left;            // to be sent
    qint64 owed = 0;            // of what was announced
    static inline Origin* last; // the one that was asked last

protected:
    void handle(QTcpSocket*, const ZelRequest&) override {
        last = this;
        owed = 0;
        WalkModel::require(isAccepted || url().startsWith("http:"), "an unknown server is asked");
    }

private:
    const bool& isAccepted;
};
