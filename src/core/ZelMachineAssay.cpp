#include "core/ZelMachineAssay.h"

#include "core/ZelChildEnvironment.h"
#include "core/zelProfileHandler.h"

#include <QDebug>
#include <QFileInfo>
#include <QProcess>

#ifdef Q_OS_MACOS
#include <sys/mount.h>
#include <sys/param.h>
#else
#include <sys/statvfs.h>
#endif

namespace {

// Bytes free for users without special rights. False, with `bytes` unchanged, when the system
// cannot tell. The two systems name the size of a block differently.
bool queryFreeBytes(const QByteArray& path, qint64& bytes) {
#ifdef Q_OS_MACOS
    struct statfs volume;
    if (statfs(path.constData(), &volume) != 0)
        return false;
    bytes = qint64(volume.f_bavail) * qint64(volume.f_bsize);
#else
    struct statvfs volume;
    if (statvfs(path.constData(), &volume) != 0)
        return false;
    bytes = qint64(volume.f_bavail) * qint64(volume.f_frsize);
#endif
    return true;
}

} // namespace

ZelMachineAssay* ZelMachineAssay::Singleton() {
    static ZelMachineAssay* assay = new ZelMachineAssay;
    return assay;
}

ZelMachineAssay::ZelMachineAssay() {
    setupPossibleLocations();
}

void ZelMachineAssay::setupPossibleLocations() {
    rendererPath = "bin/lxrender";
    atelierRendererPath = "lumitree/bin/lxrender";
    mayaPluginPath = "plug-ins/Lumivex_for_Maya.bundle";
    possibleLocations << "/Applications/Corvane";
    addParentLocation("LUMITREE", "found LUMITREE set at ");
    addParentLocation("LATTREE", "found LATTREE set at ");
}

// The variables name one install; its neighbours are looked at too.
void ZelMachineAssay::addParentLocation(const char* variable, const char* message) {
    QString install;
    bool found = false;
    GetEnv(variable, install, nullptr, &found);
    if (!found)
        return;
    qDebug() << message << install;
    if (install.isEmpty())
        return;

    // The root has no parent, but the toolkit writes one.
    QString path = QDir(install).absolutePath();
    while (path == "/.." || path.startsWith("/../"))
        path.remove(0, 3);
    const QString parent = QFileInfo(path).path();
    if (path.size() > 1 && QDir(parent).exists() && !possibleLocations.contains(parent))
        possibleLocations << parent;
}

void ZelMachineAssay::DoAssay() {
    attributes.clear();
    products.clear();
    attributes[ZelAttrPlatform] = "osx";

    zelProfileHandler handler(&products, &attributes);
    // Never released: destroying a process that still runs kills it and waits for its end.
    QProcess* profiler = new QProcess;
    const QStringList arguments{"-xml", "SPHardwareDataType", "SPInstallHistoryDataType"};
    qDebug() << "running" << profilerPath << arguments;
    const ZelChildEnvironment ofTheUser; // for the renderers too
    profiler->start(profilerPath, arguments, QIODevice::ReadOnly);

    if (handler.read(profiler)) {
        qDebug() << "Got system profile" << attributes << products;
    } else {
        qDebug() << "Couldn't read system_profiler output";
        profiler->kill(); // it may print for ever, and all of it would be kept
    }

    findCorvaneProducts();
}

bool ZelMachineAssay::FindMachineProperty(ZelAttrNames key, QString& value) const {
    const auto found = attributes.constFind(key);
    if (found == attributes.constEnd())
        return false;
    value = *found;
    return true;
}

bool ZelMachineAssay::FindMachineProperty(ZelAttrNames key, int& value) const {
    QString text;
    if (!FindMachineProperty(key, text))
        return false;
    bool converted = false;
    const int number = text.toInt(&converted);
    if (converted)
        value = number;
    return converted;
}

void ZelMachineAssay::GetEnv(const QString& name, QString& value, const char* defaultValue,
                             bool* found) {
    const QByteArray variable = name.toLatin1();
    const bool isSet = qEnvironmentVariableIsSet(variable.constData());
    if (found)
        *found = isSet;
    if (isSet)
        value = qEnvironmentVariable(variable.constData());
    else if (defaultValue)
        value = defaultValue;
}

qint64 ZelMachineAssay::GetAvailableDisk(const QDir& dir) const {
    qint64 available = 0;
    if (queryFreeBytes(QFile::encodeName(dir.path()), available))
        qDebug() << "Bytes avail on" << dir.path() << available;
    else
        qDebug() << "statfs failed on" << dir;
    return available;
}

QString ZelMachineAssay::GetUserDownloadPath() const {
    return QDir(QDir::homePath()).absolutePath() + "/Downloads";
}
