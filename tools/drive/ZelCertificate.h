#pragma once

#include "vendorserver/ZelServer.h"

#include <QStringList>

// A server's certificate and its key, two files in PEM.
struct ZelCertificate {
    QString certificate;
    QString key;

    // For a ZelVendor, and for any other server.
    QStringList serverOptions() const { return {"--cert", certificate, "--key", key}; }
    QSslConfiguration configuration() const { return zelServerConfiguration(certificate, key); }
};

// A certificate that vouches for itself, certificate.pem and key.pem in a folder. `arguments` are
// those of `openssl req` that say whom it is for.
ZelCertificate zelSelfSigned(const QString& folder,
                             const QStringList& arguments = {"-subj", "/CN=127.0.0.1", "-addext",
                                                             "subjectAltName=IP:127.0.0.1"});
