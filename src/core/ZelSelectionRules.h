#pragma once

#include "core/ZelMachineAssay.h"
#include "core/ZelManifestElement.h"

// What the rules make of a manifest on a machine. Products are indices into the manifest.
struct ZelOffer {
    QList<int> chosen;           // proposed: pre-checked and always shown
    QList<int> hidden;           // offered only on demand
    QHash<int, QString> reasons; // for each record, in words, why it stands where it does
};

// The rules that decide which products of a manifest to propose on a machine. Each fills `offer`
// and appends to `issues` what the user should know about products that are not proposed.

// All of them: the render server, the Maya tools, then every other record in manifest order.
void ZelChooseDownloads(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                        ZelOffer& offer, QStringList& issues);

// Proposes at most one render server: the manifest's last, when it is newer than the installed one.
void ZelChooseLFSDownload(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                          ZelOffer& offer, QStringList& issues);

// Proposes at most one product for Maya: that of the first installed Maya which the manifest
// serves.
void ZelChooseLATDownload(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                          ZelOffer& offer, QStringList& issues);

// Adds to `sum` the bytes that have to be free for a package: room for it, and as much again for
// what is unpacked from it. Sizes come from the server: a sum beyond all bounds is more than any
// disk has.
qint64 ZelAddRoomNeeded(qint64 sum, qint64 fileSize);
