#include "core/ZelDownloadFolder.h"

#include "core/ZelMachineAssay.h"

#include <QDebug>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int namesToTry = 10000;

bool isUsable(const QDir& folder) {
    return folder.exists() && QFileInfo(folder.absolutePath()).isWritable();
}

// A link that leads nowhere counts as taken too: writing to it would write somewhere else.
bool isTaken(const QString& path) {
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

// Tries one name after another; makeFinalName(i) gives the i-th. Empty when all are taken.
template<typename MakeFinalName> QString firstFreeTempPath(MakeFinalName makeFinalName) {
    for (int i = 0; i < namesToTry; ++i) {
        const QString finalName = makeFinalName(i);
        const QString tempName = finalName + '.' + ZelTempSuffix;
        if (!isTaken(finalName) && !isTaken(tempName))
            return tempName;
    }
    return QString();
}

} // namespace

QDir ZelChooseDownloadFolder() {
    const QDir downloads(ZelMachineAssay::Singleton()->GetUserDownloadPath());
    if (isUsable(downloads))
        return downloads;
    qDebug() << "No ~/Downloads dir" << downloads.absolutePath() << "Trying temp";

    const QDir temp(QDir::tempPath());
    if (isUsable(temp))
        return temp;
    qDebug() << "No temp, using . for downloads";

    return QDir("");
}

QString ZelPackageFileName(const QString& manifestName) {
    const QString name = QFileInfo(manifestName).fileName();
    return name == "." || name == ".." ? QString() : name;
}

QString ZelFreeTempPath(const QDir& folder, const QString& manifestName) {
    const QFileInfo name(ZelPackageFileName(manifestName));
    const QString base = folder.absolutePath() + '/' + name.completeBaseName();
    const QString suffix = '.' + name.suffix();

    QString path = firstFreeTempPath(
        [&](int i) { return base + (i == 0 ? QString() : '-' + QString::number(i)) + suffix; });
    if (!path.isEmpty())
        return path;

    qDebug() << "Failed to find unique name for " << manifestName;
    path = firstFreeTempPath([&](int i) { return "zel-" + QString::number(i) + suffix; });
    return path.isEmpty() ? ZelNoTempPath : path;
}

QString ZelFinalNameFromTempName(const QString& tempName) {
    const QFileInfo info(tempName);
    if (info.suffix() == ZelTempSuffix)
        return info.path() + '/' + info.completeBaseName();
    qDebug() << "getFinalNameFromTempName: Unexpected name" << tempName;
    return tempName;
}

bool ZelRenameFile(const QString& from, const QString& to) {
    const QByteArray encodedFrom = QFile::encodeName(from);
    const QByteArray encodedTo = QFile::encodeName(to);
    const char* const source = encodedFrom.constData();
    const char* const target = encodedTo.constData();
#ifdef Q_OS_MACOS
    if (renamex_np(source, target, RENAME_EXCL) == 0)
        return true;
#else
    if (renameat2(AT_FDCWD, source, AT_FDCWD, target, RENAME_NOREPLACE) == 0)
        return true;
#endif
    // Not every file system, least of all one on the network, can refuse to replace, and some that
    // cannot have no links either.
    if (errno != EINVAL && errno != ENOTSUP)
        return false;
    if (link(source, target) == 0) {
        unlink(source);
        return true;
    }
    return !isTaken(to) && std::rename(source, target) == 0;
}
