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
