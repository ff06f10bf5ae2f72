#include "ManifestInspector.h"

#include "Console.h"
#include "Snapshot.h"

#include <algorithm>
#include <numeric>

namespace {

// Ten times a manifest of 10,000 products.
constexpr qint64 manifestLimit = 64 * 1024 * 1024;

constexpr char successElement[] = "ZELSuccessURL";

bool isBlank(const QString& text) {
    return text.trimmed().isEmpty();
}

QString quoted(const QString& text) {
    return '"' + printable(text, 60) + '"';
}

QString suggestion(const QString& name) {
    for (const QString& known : ZelManifestHandler::elementNames()) {
        if (isNearMiss(name, known))
            return known;
    }
    return QString();
}

} // namespace

bool isNearMiss(const QString& word, const QString& other) {
    const int limit = int(std::clamp<qsizetype>(other.size() / 4, 1, 3));
    if (std::abs(word.size() - other.size()) > limit)
        return false;
    const QString a = word.toLower();
    const QString b = other.toLower();
    // Edit distance, one row of the table at a time.
    QList<int> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (qsizetype i = 0; i < a.size(); ++i) {
        int diagonal = row[0]++;
        for (qsizetype j = 0; j < b.size(); ++j) {
            const int replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.last() <= limit;
}

ManifestInspector::ManifestInspector(QList<ZelManifestElement>& target)
    : ZelManifestHandler(target), products(target) {}

void ManifestInspector::add(Severity severity, const Element& element, const QString& kind,
                            const QString& what, const QString& effect, const QString& remedy) {
    const int product = element.inProduct ? int(products.size()) - 1 : -1;
    findings << Finding{element.line, product, severity, kind, what, effect, remedy};
}

bool ManifestInspector::beginElement(const QString& name) {
    const qsizetype before = products.size();
    ZelManifestHandler::beginElement(name);

    Element element;
    element.name = name;
    element.line = locator->lineNumber();
    element.isField = awaitsText();
    element.isProduct = products.size() > before;
    element.inProduct = !open.isEmpty() && (open.last().isProduct || open.last().inProduct);
    isManifest |= element.isProduct || element.isField;
    if (element.isProduct) {
        RecordNotes record;
        record.line = element.line;
        notes << record;
        if (!open.isEmpty())
            open.last().holdsProduct = true;
    } else if (element.isField) {
        awaiting = element;
        awaitingLevel = open.size();
    }
    open << element;
    return true;
}

bool ManifestInspector::endElement(const QString& namespaceURI, const QString& localName,
                                   const QString& qName) {
    const Element element = open.takeLast();
    if (element.holdsProduct && !open.isEmpty())
        open.last().holdsProduct = true;
    const bool isUnknown = !element.isField && !element.isProduct;
    if (isUnknown && !element.holdsProduct && !open.isEmpty()) {
        const QString known = suggestion(element.name);
        isManifest |= !known.isEmpty();
        if (element.inProduct || element.holdsText || !known.isEmpty())
            add(Severity::Warning, element, "unknown-element",
                QString("the element %1 is not known").arg(quoted(element.name)),
                "passes over it and its text",
                known.isEmpty() ? QString("remove it") : QString("write %1").arg(quoted(known)));
    }
    return ZelManifestHandler::endElement(namespaceURI, localName, qName);
}

bool ManifestInspector::characters(const QString& text) {
    const bool awaited = awaitsText();
    if (!ZelManifestHandler::characters(text)) {
        refused = true;
        textRefused(text);
    } else if (awaited && awaitsText()) {
        textRefused(text);
    } else if (awaited) {
        textTaken(text);
    } else if (!isBlank(text) && !open.isEmpty()) {
        textLost(text);
    }
    return true;
}

// A field, or the success address, stands before the first product.
void ManifestInspector::textRefused(const QString& text) {
    if (awaiting.reported)
        return;
    awaiting.reported = true;
    if (awaiting.name == successElement)
        add(Severity::Error, awaiting, "early-success-address",
            QString("the success address %1 comes before the first product").arg(quoted(text)),
            "passes over it and opens its built-in page at the end",
            "move it behind the first product");
    else
        add(Severity::Error, awaiting, "field-before-product",
            QString("the field %1 comes before the first product").arg(quoted(awaiting.name)),
            "refuses the whole manifest: every user reads \"bad manifest reply\"",
            "move it into a ProductInfo element");
}

void ManifestInspector::textTaken(const QString& text) {
    const bool isSuccess = awaiting.name == successElement;
    const bool isClosed = open.size() <= awaitingLevel;
    if (isClosed) {
        add(Severity::Error, awaiting, "swallowed-space",
            QString("the field %1 is empty").arg(quoted(awaiting.name)),
            QString("takes the text behind it, %1, for its value").arg(quoted(text)),
            "remove the empty field or give it a value");
    }
    if (!awaiting.inProduct && !isSuccess)
        add(Severity::Error, awaiting, "field-outside-product",
            QString("the field %1 stands outside of any product").arg(quoted(awaiting.name)),
            "stores it into the product before it", "move it into its ProductInfo element");

    RecordNotes& record = notes.last();
    const QString before = isSuccess ? successAddress : record.fields.value(awaiting.name).text;
    if (isSuccess ? !before.isEmpty() : record.fields.contains(awaiting.name))
        add(Severity::Error, awaiting, "repeated-field",
            QString("the field %1 comes again").arg(quoted(awaiting.name)),
            QString("takes %1 in place of %2").arg(quoted(text), quoted(before)),
            "keep one of them");
    if (isSuccess)
        successAddress = text;
    else
        record.fields[awaiting.name] = {awaiting.line, text};
}

void ManifestInspector::textLost(const QString& text) {
    Element& element = open.last();
    element.holdsText = true;
    if (!element.isField || element.reported)
        return;
    element.reported = true;
    add(Severity::Error, element, "cut-text",
        QString("the text of the field %1 is in several pieces").arg(quoted(element.name)),
        QString("takes only the first piece; %1 is lost").arg(quoted(text)),
        "write the text in one piece: no CDATA section, comment or element in it");
}

bool readManifest(const QString& path, ZelManifestHandler& handler, QString& problem) {
    const std::optional<QByteArray> bytes = readFile(path, manifestLimit, problem);
    if (!bytes)
        return false;
    if (handler.read(*bytes))
        return true;
    problem = QString("%1: not a manifest that the installer reads: %2").arg(path, handler.problem);
    return false;
}

std::optional<QList<ZelManifestElement>> readManifest(const QString& path, QString& problem) {
    QList<ZelManifestElement> products;
    ManifestInspector inspector(products);
    if (!readManifest(path, inspector, problem))
        return {};
    if (inspector.refused)
        problem = path + ": the installer refuses it; zelplan check tells why";
    else if (products.isEmpty())
        problem = path + ": not a manifest: there is no product in it";
    else
        return products;
    return {};
}
