#include "core/zelProfileHandler.h"

#include <QDebug>
#include <QRegExp>

namespace {

enum State { Idle, InKey, MemoryExpected, NameExpected };

} // namespace

zelProfileHandler::zelProfileHandler(QList<ZelProductHash>* productList,
                                     QHash<ZelAttrNames, QString>* attributeHash)
    : products(productList), attributes(attributeHash) {}

bool zelProfileHandler::beginElement(const QString& name) {
    if (name == "key")
        state = InKey;
    else if ((state != MemoryExpected && state != NameExpected) || name != "string")
        state = Idle;
    return true;
}

bool zelProfileHandler::characters(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return true;

    switch (state) {
    case InKey:
        if (trimmed == "physical_memory")
            state = MemoryExpected;
        else if (trimmed == "_name")
            state = NameExpected;
        break;
    case MemoryExpected:
        if (trimmed.contains(" GB", Qt::CaseInsensitive)) {
            QString gigabytes = trimmed;
            attributes->insert(ZelAttrPhysicalMemory, gigabytes.remove(" GB", Qt::CaseInsensitive));
        }
        state = Idle;
        break;
    case NameExpected:
        if (trimmed.contains("maya", Qt::CaseInsensitive) &&
            trimmed.contains("core", Qt::CaseInsensitive)) {
            static const QRegExp wording("[a-zA-Z _]");
            products->append({{"ProductName", "Maya"}, {"Version", wording.removeIn(trimmed)}});
        }
        state = Idle;
        break;
    default:
        state = Idle;
    }
    return true;
}

bool zelProfileHandler::fatalError(const QXmlParseException&) {
    qDebug() << "Failed to parse system_profiler output";
    return true;
}
