#include "core/ZelRendererBanner.h"

#include <QDebug>
#include <QRegExp>

namespace {

// True on failure.
bool toNumber(const QString& text, int& number) {
    bool converted = false;
    const int value = text.toInt(&converted);
    if (converted)
        number = value;
    return !converted;
}

} // namespace

bool ZelReadRendererBanner(const QString& output, int& buildId, int& major, int& minor,
                           QString& suffix) {
    static QRegExp buildPattern("@([0-9]+)");
    static QRegExp versionPattern("Corvane\\sRadiant\\sLumivex\\s([1-9][0-9])\\.([0-9])([\\S]+)?");

    if (buildPattern.indexIn(output) < 0) {
        qDebug() << "no build id in output" << output;
        return true;
    }
    if (versionPattern.indexIn(output) < 0) {
        qDebug() << "no version in output" << output;
        return true;
    }
    if (toNumber(buildPattern.cap(1), buildId) || toNumber(versionPattern.cap(1), major) ||
        toNumber(versionPattern.cap(2), minor))
        return true;
    suffix = versionPattern.cap(3);
    return false;
}
