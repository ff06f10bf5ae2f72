// The family's installed products: how they are found on disk, and the queries on all products.

#include "core/ZelMachineAssay.h"
#include "core/ZelRendererBanner.h"

#include <QDebug>
#include <QFileInfo>
#include <QProcess>
#include <QRegExp>
#include <algorithm>

namespace {

constexpr int rendererTimeout = 10000; // ms
constexpr int killTimeout = 1000;      // ms
constexpr int oldestRecordedMajor = 19;

} // namespace

void ZelMachineAssay::findCorvaneProducts() {
    const QRegExp serverPattern("[Ll]umi[Vv]ex.*[sS]erver|LFS");
    const QRegExp atelierPattern("[Ll]umi[Vv]ex.*[aA]telier|LAT");
    QRegExp mayaVersionPattern("(201[1-9]\\.?[0-9]?)");

    for (const QString& location : std::as_const(possibleLocations)) {
        qDebug() << "Looking for corvane products in" << location;
        const QDir dir(location);
        if (!dir.exists())
            continue;

        const QStringList entries = dir.entryList(QDir::Dirs, QDir::Unsorted);
        for (const QString& entry : entries) {
            const QString install = dir.absoluteFilePath(entry);
            ZelProductHash product;
            QString executable;
            QString productName;
            if (serverPattern.indexIn(entry) >= 0) {
                qDebug() << entry << "matched" << serverPattern.pattern();
                executable = install + QDir::separator() + rendererPath;
                productName = "Lumivex FarmServer %1";
            } else if (atelierPattern.indexIn(entry) >= 0) {
                qDebug() << entry << "matched" << atelierPattern.pattern();
                const QString plugin = install + QDir::separator() + mayaPluginPath;
                if (!QFileInfo::exists(plugin)) {
                    qDebug() << "Not LAT for Maya, no" << plugin;
                    continue;
                }
                executable = install + QDir::separator() + atelierRendererPath;
                if (mayaVersionPattern.indexIn(entry) < 0) {
                    qDebug() << "No maya verion in LAT path" << executable;
                    continue;
                }
                product["MayaVersion"] = mayaVersionPattern.cap(1);
                productName = "Lumivex Atelier %1 for Maya " + product["MayaVersion"];
            } else {
                continue;
            }

            int buildId = 0;
            int major = 0;
            int minor = 0;
            QString suffix;
            if (getBuildIdFromExecutable(executable, buildId, major, minor, suffix) ||
                major < oldestRecordedMajor)
                continue;
            const QString version = QString("%1.%2").arg(major).arg(minor);
            product["ProductName"] = productName.arg(version);
            product["BuildId"] = QString::number(buildId);
            product["Version"] = version;
            product["Location"] = install;
            qDebug() << "Found" << product;
            products.append(product);
        }
    }
}

bool ZelMachineAssay::getBuildIdFromExecutable(const QString& executable, int& buildId, int& major,
                                               int& minor, QString& suffix) {
    if (!QFileInfo::exists(executable)) {
        qDebug() << "getBuildId given non-existing path" << executable;
        return true;
    }
    qDebug() << "getting version info from" << executable;

    QProcess renderer;
    renderer.start(executable, {"-version"}, QIODevice::ReadWrite);
    if (!renderer.waitForFinished(rendererTimeout)) {
        qDebug() << "Wait failed on process " << executable;
        renderer.kill();
        renderer.waitForFinished(killTimeout);
        return true;
    }

    // The banner comes on standard error; constData() ends it at the first NUL.
    const QString output = QString::fromLocal8Bit(renderer.readAllStandardError().constData());
    return ZelReadRendererBanner(output, buildId, major, minor, suffix);
}

void ZelMachineAssay::GetProducts(const QString& name, QList<ZelProductHash>& result) const {
    result.clear();
    for (const ZelProductHash& product : products) {
        if (product.value("ProductName") == name)
            result.append(product);
    }
    std::stable_sort(result.begin(), result.end(), [](const auto& a, const auto& b) {
        return b.value("Version").toFloat() < a.value("Version").toFloat();
    });
}

bool ZelMachineAssay::FindHighestBuildOfProduct(const QString& namePattern, const QString& version,
                                                ZelProductHash& result) const {
    const QRegExp pattern(namePattern);
    const ZelProductHash* best = nullptr;
    int bestBuild = 0;
    for (const ZelProductHash& product : products) {
        if (pattern.indexIn(product.value("ProductName")) < 0)
            continue;
        if (!version.isEmpty() && product.value("Version") != version)
            continue;
        int build = 0;
        GetBuildId(product, build);
        if (build > bestBuild) {
            bestBuild = build;
            best = &product;
        }
    }
    if (best)
        result = *best;
    return best;
}

void ZelMachineAssay::GetBuildId(const ZelProductHash& product, int& build) {
    build = product.value("BuildId").toInt();
}

bool ZelMachineAssay::FindExecutable(const QString& name, QString& path) {
    if (name.isEmpty())
        return false;
    const QStringList folders = qEnvironmentVariable("PATH").split(':', Qt::SkipEmptyParts);
    for (const QString& folder : folders) {
        const QFileInfo entry(QDir(folder), name);
        if (entry.exists()) {
            path = entry.absoluteFilePath();
            return true;
        }
    }
    return false;
}
