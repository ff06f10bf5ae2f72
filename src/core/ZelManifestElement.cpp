#include "core/ZelManifestElement.h"

#include <QDebug>

void ZelManifestElement::GetBuildId(int& id) const {
    id = BuildID.toInt();
}

bool ZelManifestElement::GetIsFarmServer() const {
    return label().contains(QLatin1String("FarmServer"));
}

bool ZelManifestElement::GetIsLATForMaya() const {
    return label().contains(QLatin1String("Lumivex")) &&
           label().contains(QLatin1String("Atelier")) && label().contains(QLatin1String("Maya"));
}

bool ZelManifestElement::GetVersion(QString& version) const {
    static QRegExp pattern("([1-9][0-9]\\.[0-9]+)");
    if (pattern.indexIn(label()) < 0) {
        qDebug() << "Product with no version" << label();
        return true;
    }
    version = pattern.cap(1);
    return false;
}

bool ZelManifestElement::GetVersion(float& version) const {
    QString text;
    if (GetVersion(text))
        return true;
    bool converted = false;
    const float value = text.toFloat(&converted);
    if (!converted) {
        qDebug() << "Product with no float version" << text;
        return true;
    }
    version = value;
    return false;
}

int ZelManifestElement::FindHighestVersionOfProduct(const QList<ZelManifestElement>& list,
                                                    QRegExp& pattern) {
    int found = -1;
    for (int i = 0; i < list.size(); ++i) {
        if (pattern.indexIn(list[i].label()) < 0)
            continue;
        float version = 0;
        if (!list[i].GetVersion(version) && version > 0.0f)
            found = i;
    }
    return found;
}
