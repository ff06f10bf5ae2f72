#include "drive/ZelCertificate.h"

#include <QProcess>

ZelCertificate zelSelfSigned(const QString& folder, const QStringList& arguments) {
    const ZelCertificate made{folder + "/certificate.pem", folder + "/key.pem"};
    QProcess openssl;
    openssl.start("openssl", QStringList{"req", "-x509", "-newkey", "ec", "-pkeyopt",
                                         "ec_paramgen_curve:prime256v1", "-nodes", "-keyout",
                                         made.key, "-out", made.certificate} +
                                 arguments);
    if (!openssl.waitForFinished(60000) || openssl.exitCode() != 0)
        qFatal("openssl made no certificate: %s", openssl.readAllStandardError().constData());
    return made;
}
