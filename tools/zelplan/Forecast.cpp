#include "Forecast.h"

Forecast forecast(const QList<ZelManifestElement>& manifest, const Snapshot& snapshot) {
    Forecast result;
    ZelChooseDownloads(manifest, snapshot.assay, result.offer, result.issues);
    result.decisions.fill(Decision::NotOffered, manifest.size());
    for (const int index : std::as_const(result.offer.hidden))
        result.decisions[index] = Decision::Hidden;
    for (const int index : std::as_const(result.offer.chosen)) {
        result.decisions[index] = Decision::Proposed;
        result.needed = ZelAddRoomNeeded(result.needed, manifest[index].FileSize);
    }
    result.fits = snapshot.freeBytes >= result.needed;
    snapshot.assay.FindMachineProperty(ZelAttrInstallProblem, result.installProblem);
    return result;
}

QString nameOf(Decision decision) {
    switch (decision) {
    case Decision::Proposed:
        return "proposed";
    case Decision::Hidden:
        return "hidden";
    default:
        return "not offered";
    }
}
