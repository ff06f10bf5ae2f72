#include "Forecast.h"

#include <QJsonArray>

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

QJsonObject toJson(const Forecast& forecast) {
    QJsonArray rows;
    for (const int index : forecast.offer.chosen)
        rows << index;
    return {{"proposedInOrder", rows},
            {"explanations", QJsonArray::fromStringList(forecast.issues)},
            {"installProblem", forecast.installProblem},
            {"neededBytes", forecast.needed},
            {"fits", forecast.fits}};
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
