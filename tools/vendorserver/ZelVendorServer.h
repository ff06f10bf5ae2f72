#pragma once

#include "vendorserver/ZelServer.h"

#include <QHash>
#include <QJsonObject>

struct ZelAnswer;

// The vendor's web server on this machine: it signs accounts in, hands out the manifest of
// products, serves their packages and misbehaves where a scenario file wants it to.
class ZelVendorServer : public ZelServer {
    Q_OBJECT

public:
    ~ZelVendorServer() override { stop(); } // while it can still tell what ends

    // Takes the program's options, which --help prints, and listens. Returns why it cannot.
    QString start(const QStringList& arguments);

    // Scheme, host and port.
    QString address() const { return url().chopped(1); }

signals:
    // A line for a person. Each request has one at the end of its answer: method, path, status (0:
    // no answer) and bytes of the body that were sent; no credentials.
    void said(const QByteArray& line);

protected:
    void handle(QTcpSocket* socket, const ZelRequest& request) override;

private:
    QString readAccounts(const QString& path);
    QString readWeather(const QString& path);
    QString refusal(const ZelRequest& request) const;
    void signIn(const ZelRequest& request, ZelAnswer& answer);
    void servePackage(const QString& path, ZelAnswer& answer) const;
    void applyWeather(const QString& path, const ZelRequest& request, ZelAnswer& answer);
    QByteArray resolved(QByteArray text) const;

    QString manifest;
    QString packages;
    QHash<QString, QStringList> accounts; // password and perhaps why it is refused, by user id
    QJsonObject weather;
    QHash<QString, int> asks; // by path, for rules that do not hold for ever
};
