#pragma once

#include "core/ZelMachineAssay.h"
#include "core/ZelXmlHandler.h"

// Reads the system profiler's property list: the amount of memory and the installed Maya versions.
// It knows nothing of the list's structure but that a value's "string" follows its "key".
class zelProfileHandler : public ZelXmlHandler {
public:
    // Both targets are the caller's; products are appended.
    zelProfileHandler(QList<ZelProductHash>* products, QHash<ZelAttrNames, QString>* attributes);

    bool characters(const QString& text) override;
    bool fatalError(const QXmlParseException& exception) override;

protected:
    bool beginElement(const QString& name) override;

private:
    QList<ZelProductHash>* products;
    QHash<ZelAttrNames, QString>* attributes;
    qint32 state = 0;
};
