#pragma once

#include "core/ZelMachineAssay.h"

#include <QXmlDefaultHandler>

// Reads the system profiler's property list: the amount of memory and the installed Maya versions.
// It knows nothing of the list's structure but that a value's "string" follows its "key".
class zelProfileHandler : public QXmlDefaultHandler {
public:
    // Both targets are the caller's; products are appended.
    zelProfileHandler(QList<ZelProductHash>* products, QHash<ZelAttrNames, QString>* attributes);

    bool startElement(const QString& namespaceURI, const QString& localName, const QString& qName,
                      const QXmlAttributes& xmlAttributes) override;
    bool characters(const QString& text) override;
    bool fatalError(const QXmlParseException& exception) override;

private:
    QList<ZelProductHash>* products;
    QHash<ZelAttrNames, QString>* attributes;
    qint32 state = 0;
};
