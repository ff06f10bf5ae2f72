#include "core/ZelSelectionRules.h"

#include <QCoreApplication>
#include <QDebug>
#include <QLoggingCategory>
#include <limits>

namespace {

// Obeys the same switches as every other message, but asks them before a line is put together: the
// lines for each record are most of the work when many machines are looked at with them off.
Q_LOGGING_CATEGORY(recordLog, "default")

class Texts {
    Q_DECLARE_TR_FUNCTIONS(ZelSelectionRules)
};

int findFarmServer(const QList<ZelManifestElement>& manifest) {
    QRegExp pattern("FarmServer");
    return ZelManifestElement::FindHighestVersionOfProduct(manifest, pattern);
}

int manifestBuild(const ZelManifestElement& element) {
    int build = 0;
    element.GetBuildId(build);
    return build;
}

int installedBuild(const ZelProductHash& product) {
    int build = 0;
    ZelMachineAssay::GetBuildId(product, build);
    return build;
}

// Why a record with the manifest's build compares as it does with the installed one.
QString comparison(int manifest, int installed) {
    return manifest > installed
               ? QString("build %1 is newer than the installed %2").arg(manifest).arg(installed)
               : QString("build %1 is not newer than the installed %2")
                     .arg(manifest)
                     .arg(installed);
}

} // namespace

void ZelChooseLFSDownload(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                          ZelOffer& offer, QStringList& issues) {
    const int server = findFarmServer(manifest);
    if (server < 0) {
        qDebug() << "No LFS to select, none in manifest";
        issues << Texts::tr(
            "The Corvane server is not offering any version of Lumivex FarmServer at this time.");
        return;
    }

    QString version;
    manifest[server].GetVersion(version);
    const int build = manifestBuild(manifest[server]);
    ZelProductHash installedServer;
    if (!assay.FindHighestBuildOfProduct("FarmServer", version, installedServer)) {
        qDebug() << "Selecting LFS" << version << " none installed";
        offer.chosen << server;
        offer.reasons[server] = QString("no render server %1 is installed").arg(version);
        return;
    }

    const int installed = installedBuild(installedServer);
    offer.reasons[server] = comparison(build, installed);
    if (build <= installed) {
        qDebug() << "No LFS" << version << "to select, found equal or better build installed"
                 << "manifest had " << build << "installed" << installed;
        issues << Texts::tr("The current installed verion of Lumivex FarmServer is the most up to "
                            "date version. Build %1")
                      .arg(build);
    } else {
        qDebug() << "Selecting LFS" << version << ", found down-rev buildid."
                 << "manifest had " << build << "installed" << installed;
        offer.chosen << server;
    }
}

void ZelChooseLATDownload(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                          ZelOffer& offer, QStringList& issues) {
    QList<ZelProductHash> mayas;
    assay.GetProducts("Maya", mayas);
    if (mayas.isEmpty()) {
        issues << Texts::tr(
            "No installations of Maya were detected. Without Maya using Lumivex is possible but "
            "only for the very technically inclined. If there has been an error and Maya is "
            "installed click 'Show All' and manually select the appropriate Lumivex Atelier");
        qDebug() << "No Maya's installed and so no LAT selected";
        return;
    }

    QStringList unsupported;
    for (const ZelProductHash& maya : std::as_const(mayas)) {
        const QString mayaVersion = maya.value("Version");
        qDebug() << "considering installed Maya" << mayaVersion;

        // The end keeps Maya 2014 from matching a product for 2014.5.
        const QString pattern = "Atelier.*Maya.*" + mayaVersion + "([^.]|$)";
        QRegExp expression(pattern);
        const int tools = ZelManifestElement::FindHighestVersionOfProduct(manifest, expression);
        if (tools < 0) {
            qDebug() << "No LAT to select for installed Maya" << pattern;
            unsupported << mayaVersion;
            continue;
        }
        qDebug() << "manifest indicates we have an LAT for Maya" << pattern;

        // The tools ship in step with the render server, so the installed ones are looked up by the
        // version of the server that the manifest offers.
        QString version;
        const int server = findFarmServer(manifest);
        if (server < 0)
            qDebug() << "No LFS while looking for version in manifest";
        else
            manifest[server].GetVersion(version);

        qDebug() << "Looking in assay for LAT" << pattern << "of version" << version;
        const int build = manifestBuild(manifest[tools]);
        ZelProductHash installedTools;
        if (!assay.FindHighestBuildOfProduct(pattern, version, installedTools)) {
            qDebug() << "No LAT for Maya" << mayaVersion << "installed Seleted LAT " << version;
            offer.chosen << tools;
            offer.reasons[tools] = QString("no tools are installed for Maya %1").arg(mayaVersion) +
                                   (version.isEmpty() ? QString() : " in version " + version);
            return;
        }

        const int installed = installedBuild(installedTools);
        offer.reasons[tools] = comparison(build, installed);
        if (installed < build) {
            qDebug() << "Selecting LAT for Maya" << mayaVersion << ", found down-rev buildid."
                     << "manifest had " << build << "installed" << installed;
            offer.chosen << tools;
        } else {
            qDebug() << "No LAT for Maya" << mayaVersion
                     << "to select, found equal or better build installed."
                     << "Manifest had " << build << "installed" << installed;
            issues << Texts::tr("The current installed verion of Lumivex Atelier for Maya is the "
                                "most up to date version. Build %1")
                          .arg(build);
        }
        return;
    }

    issues << Texts::tr(
                  "No supported installations of Maya were detected. Found %1. Without Lumivex for "
                  "Maya using Lumivex is possible but only for the very technically inclined. If "
                  "there has been an error and Maya is installed click 'Show All' and manually "
                  "select the appropriate Lumivex Atelier")
                  .arg(unsupported.join(' '));
    qDebug() << "No Maya's installed and so no LAT selected" << issues;
}

void ZelChooseDownloads(const QList<ZelManifestElement>& manifest, const ZelMachineAssay& assay,
                        ZelOffer& offer, QStringList& issues) {
    ZelChooseLFSDownload(manifest, assay, offer, issues);
    ZelChooseLATDownload(manifest, assay, offer, issues);

    // What a rule chose stays chosen, be it skipped below.
    const QList<int> chosenByRule = offer.chosen;
    offer.reasons.reserve(manifest.size());
    const auto giveReason = [&offer](int i, const QString& reason) {
        if (!offer.reasons.contains(i))
            offer.reasons[i] = reason;
    };
    for (int i = 0; i < manifest.size(); ++i) {
        const ZelManifestElement& element = manifest[i];
        if (!element.DownloadURL.isValid()) {
            qCDebug(recordLog) << "no url for product " << element.Name;
            giveReason(i, QStringLiteral("it has no valid download address"));
        } else if (!element.EligibleCommunityDownload) {
            qCDebug(recordLog) << "Skipping product " << element.Name;
            giveReason(i, QStringLiteral("it is not eligible for community download"));
        } else if (chosenByRule.contains(i)) {
            continue;
        } else if (!element.GetIsFarmServer() && !element.GetIsLATForMaya()) {
            offer.chosen << i;
            giveReason(i, QStringLiteral("every eligible product of this kind is proposed"));
        } else {
            qCDebug(recordLog) << element.label() << "is hidden";
            offer.hidden << i;
            giveReason(i, element.GetIsFarmServer()
                              ? QStringLiteral("the rule for render servers did not choose it")
                              : QStringLiteral("the rule for Maya tools did not choose it"));
        }
    }
}

qint64 ZelAddRoomNeeded(qint64 sum, qint64 fileSize) {
    qint64 twice = 0;
    if (qMulOverflow(fileSize, qint64(2), &twice) || qAddOverflow(sum, twice, &sum))
        return std::numeric_limits<qint64>::max();
    return sum;
}
