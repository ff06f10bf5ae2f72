// Which of several products for the same machines the rules take.

#include "Console.h"
#include "ManifestChecks.h"
#include "core/ZelSelectionRules.h"

#include <QRegularExpression>

namespace {

constexpr int mayaVersionLimit = 8; // in one label; labels name one

// The numbers behind the word Maya.
QStringList mayaVersions(const QString& label) {
    static const QRegularExpression number("[0-9]+(\\.[0-9]+)*");
    QStringList versions;
    auto match = number.globalMatch(label, std::max<qsizetype>(label.indexOf("Maya"), 0));
    while (match.hasNext() && versions.size() < mayaVersionLimit)
        versions << match.next().captured();
    versions.removeDuplicates();
    return versions;
}

bool isNewer(const ZelManifestElement& element, const ZelManifestElement& other) {
    const auto key = [](const ZelManifestElement& e) {
        return std::pair(versionIn(e.label()).toFloat(), buildOf(e));
    };
    return key(element) > key(other);
}

void replacedBy(Manifest& manifest, int index, int winner) {
    const QList<ZelManifestElement>& products = manifest.products;
    Finding& finding =
        manifest.add(manifest.notes[index].line, index, "replaced",
                     QString("%1 in line %2 is for the same machines and comes later")
                         .arg(quoted(products[winner].label()))
                         .arg(manifest.notes[winner].line),
                     "only ever proposes the later one");
    if (!isNewer(products[index], products[winner]))
        return;
    finding.severity = Severity::Error;
    finding.effect += ", although this one is newer";
    finding.remedy = "put the newer one last";
}

// A machine without anything shows which of the render servers the rule takes.
void checkServers(Manifest& manifest) {
    const QList<ZelManifestElement>& products = manifest.products;
    ZelOffer offer;
    QStringList issues;
    ZelChooseLFSDownload(products, ZelMachineAssay(), offer, issues);
    if (offer.chosen.isEmpty())
        return;
    for (int i = 0; i < products.size(); ++i) {
        if (products[i].GetIsFarmServer() && i != offer.chosen.first() &&
            !versionIn(products[i].label()).isEmpty())
            replacedBy(manifest, i, offer.chosen.first());
    }
}

// For each version of Maya, a machine with it alone shows which of the tools the rule takes. It is
// asked about those alone that name the version: about all of them, the work would grow with the
// square of the manifest.
void checkTools(Manifest& manifest) {
    const QList<ZelManifestElement>& products = manifest.products;
    QMap<QString, QList<int>> tools;
    QHash<int, int> winners; // of each of the tools, -1 as long as there is none
    for (int i = 0; i < products.size(); ++i) {
        if (!products[i].GetIsLATForMaya() || versionIn(products[i].label()).isEmpty())
            continue;
        winners[i] = -1;
        for (const QString& version : mayaVersions(products[i].label()))
            tools[version] << i;
    }
    ZelMachineAssay machine;
    for (auto group = tools.cbegin(); group != tools.cend(); ++group) {
        QList<ZelManifestElement> candidates;
        for (const int i : group.value())
            candidates << products[i];
        machine.products = {{{"ProductName", "Maya"}, {"Version", group.key()}}};
        ZelOffer offer;
        QStringList issues;
        ZelChooseLATDownload(candidates, machine, offer, issues);
        if (offer.chosen.isEmpty())
            continue;
        const int winner = group.value()[offer.chosen.first()];
        for (const int i : group.value()) {
            if (winners[i] != i)
                winners[i] = winner;
        }
        winners[winner] = winner;
    }
    for (int i = 0; i < products.size(); ++i) {
        const int winner = winners.value(i, i);
        if (winner < 0)
            manifest.add(
                manifest.notes[i].line, i, "no-maya",
                QString("no installed Maya leads to the label %1").arg(quoted(products[i].label())),
                "never proposes it, and shows it under \"Show All\" only");
        else if (winner != i)
            replacedBy(manifest, i, winner);
    }
}

} // namespace

void checkOrder(Manifest& manifest) {
    checkServers(manifest);
    checkTools(manifest);
}
