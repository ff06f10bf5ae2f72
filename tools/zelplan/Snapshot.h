#pragma once

#include "core/ZelMachineAssay.h"

#include <QByteArray>
#include <optional>

// What the selection rules need to know of a machine, as support receives it from a user.
struct Snapshot {
    QString file; // where it was read from
    ZelMachineAssay assay;
    QString folder; // of the downloads, without the user's name
    qint64 freeBytes = 0;
};

// Inspects this machine as the installer does. An empty profiler path stands for the usual one.
Snapshot takeSnapshot(const QString& profilerPath);

// The snapshot as JSON. It names neither the user nor the home directory.
QByteArray snapshotToJson(const Snapshot& snapshot);

// Reads all of them. Nothing, with the reason in `problem`, when a file is not a snapshot of the
// one known format.
std::optional<QList<Snapshot>> readSnapshots(const QStringList& paths, QString& problem);

// A whole file of at most `limit` bytes, "-" for standard input; nothing, with the reason in
// `problem`, when there is none.
std::optional<QByteArray> readFile(const QString& path, qint64 limit, QString& problem);
