#pragma once

#include <QByteArrayList>
#include <QString>

// Writes a file, with its directories, and returns its path; `executable` for programs.
QString zelWriteFile(const QString& path, const QByteArray& contents, bool executable = false);

// A manifest record as XML. Without `url` the package is on the server that sends the manifest, a
// ZelVendor.
QByteArray zelProductXml(const QString& name, const QString& simpleName, int build, qint64 size,
                         const QString& url = QString(), bool eligible = true);
QByteArray zelManifestXml(const QByteArrayList& products);

// Makes key.pem and certificate.pem in a folder: for a server whose certificate vouches for itself.
// `arguments` are those of `openssl req` that say whom it is for.
void zelMakeCertificate(const QString& folder, const QStringList& arguments);
