#include "core/ZelProxyText.h"

#include <QStringList>

std::optional<QNetworkProxy> ZelProxyFromText(const QString& text) {
    const QStringList parts = text.split(':', Qt::KeepEmptyParts);
    if (parts.size() != 2)
        return std::nullopt;
    return QNetworkProxy(QNetworkProxy::HttpProxy, parts[0], quint16(parts[1].toUInt()));
}
