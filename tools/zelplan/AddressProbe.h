#pragma once

#include "ManifestInspector.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

// Asks the servers for the packages of a manifest, without downloading them: some at a time, each
// within a time limit.
class AddressProbe : public QObject {
public:
    // The time-out, in milliseconds, is for each request.
    AddressProbe(const QList<ZelManifestElement>& products, const QList<RecordNotes>& notes,
                 int timeout);

    // Asks for all of them; returns when all have answered or did not.
    void run();

    QList<Finding> findings;

private:
    struct Answer {
        int status = 0;
        qint64 length = -1;
        QString type;
        QByteArray beginning;
        QString error;
    };

    void askHead(int index);
    void askBeginning(int index, const Answer& head);
    void judge(int index, const Answer& answer);
    QNetworkRequest request(int index) const;
    Answer read(QNetworkReply* reply) const;
    void add(int index, const QString& kind, const QString& what, const QString& effect,
             const QString& remedy);

    const QList<ZelManifestElement>& products;
    const QList<RecordNotes>& notes;
    int timeout;
    QNetworkAccessManager network;
    QList<int> waiting;
    qsizetype running = 0;
};
