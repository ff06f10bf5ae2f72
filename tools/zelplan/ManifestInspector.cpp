#include "ManifestInspector.h"

#include "Console.h"
#include "Snapshot.h"

#include <QRegularExpression>
#include <algorithm>

namespace {

// Ten times a manifest of 10,000 products.
constexpr qint64 manifestLimit = 64 * 1024 * 1024;

constexpr char successElement[] = "ZELSuccessURL";
constexpr char refuses[] = "refuses the whole manifest: every user reads \"bad manifest reply\"";

QString suggestion(const QString& name) {
    for (const QString& known : ZelManifestHandler::elementNames()) {
        if (isNearMiss(name, known))
            return known;
    }
    return QString();
}

Manifest parse(const QString& file, const QByteArray& document) {
    Manifest manifest;
    manifest.file = file;
    ManifestInspector inspector(manifest);
    inspector.read(document);
    manifest.successUrl = inspector.successUrl;
    return manifest;
}

// Writes &amp; for each & that begins no entity, and appends the lines in which they stand.
QByteArray withoutBareAmpersands(const QByteArray& document, QList<int>& lines) {
    static const QRegularExpression bare("&(?!#?[\\w.:-]+;)");
    QStringList rows = QString::fromLatin1(document).split('\n'); // a character for each byte
    for (int i = 0; i < rows.size(); ++i) {
        if (!rows[i].contains(bare))
            continue;
        rows[i].replace(bare, "&amp;");
        lines << i + 1;
    }
    return rows.join('\n').toLatin1();
}

} // namespace

ManifestInspector::ManifestInspector(Manifest& target)
    : ZelManifestHandler(target.products), manifest(target) {}

Finding& ManifestInspector::add(const Element& element, const char* kind, const QString& what,
                                const QString& effect) {
    const int product = element.inProduct ? int(manifest.products.size()) - 1 : -1;
    return manifest.add(element.line, product, kind, what, effect);
}

bool ManifestInspector::beginElement(const QString& name) {
    const qsizetype before = manifest.products.size();
    ZelManifestHandler::beginElement(name);

    Element element;
    element.name = name;
    element.line = locator->lineNumber();
    element.isField = awaitsText();
    element.isProduct = manifest.products.size() > before;
    element.inProduct = !open.isEmpty() && (open.last().isProduct || open.last().inProduct);
    if (element.isProduct) {
        manifest.notes << RecordNotes{element.line, {}};
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
        if (element.inProduct || element.holdsText || !known.isEmpty()) {
            Finding& finding = add(element, "unknown-element",
                                   QString("the element %1 is not known").arg(quoted(element.name)),
                                   "passes over it and its text");
            if (!known.isEmpty())
                finding.remedy = "write " + quoted(known);
        }
    }
    return ZelManifestHandler::endElement(namespaceURI, localName, qName);
}

bool ManifestInspector::characters(const QString& text) {
    const bool awaited = awaitsText();
    if (!ZelManifestHandler::characters(text)) {
        manifest.accepted = false;
        textRefused(text);
    } else if (awaited && awaitsText()) {
        textRefused(text);
    } else if (awaited) {
        textTaken(text);
    } else if (!text.trimmed().isEmpty() && !open.isEmpty()) {
        textLost(text);
    }
    return true;
}

bool ManifestInspector::fatalError(const QXmlParseException& exception) {
    manifest.accepted = false;
    manifest.add(exception.lineNumber(), -1, "unreadable",
                 QString("the reader stops at column %1: %2")
                     .arg(exception.columnNumber())
                     .arg(exception.message()),
                 refuses);
    return ZelManifestHandler::fatalError(exception);
}

// A field, or the success address, stands before the first product.
void ManifestInspector::textRefused(const QString& text) {
    if (awaiting.reported)
        return;
    awaiting.reported = true;
    if (awaiting.name == successElement)
        add(awaiting, "early-success-address",
            QString("the success address %1 comes before the first product").arg(quoted(text)),
            "passes over it and opens its built-in page at the end");
    else
        add(awaiting, "field-before-product",
            QString("the field %1 comes before the first product").arg(quoted(awaiting.name)),
            refuses);
}

void ManifestInspector::textTaken(const QString& text) {
    const bool isSuccess = awaiting.name == successElement;
    if (open.size() <= awaitingLevel)
        add(awaiting, "swallowed-space",
            QString("the field %1 is empty").arg(quoted(awaiting.name)),
            QString("takes the text behind it, %1, for its value").arg(quoted(text)));
    if (!awaiting.inProduct && !isSuccess)
        add(awaiting, "field-outside-product",
            QString("the field %1 stands outside of any product").arg(quoted(awaiting.name)),
            "stores it into the product before it");

    RecordNotes::Field& field =
        isSuccess ? manifest.success : manifest.notes.last().fields[awaiting.name];
    if (!field.text.isEmpty())
        add(awaiting, "repeated-field",
            QString("the field %1 comes again").arg(quoted(awaiting.name)),
            QString("takes %1 in place of %2").arg(quoted(text), quoted(field.text)));
    field = {awaiting.line, text};
}

void ManifestInspector::textLost(const QString& text) {
    Element& element = open.last();
    element.holdsText = true;
    if (!element.isField || element.reported)
        return;
    element.reported = true;
    add(element, "cut-text",
        QString("the text of the field %1 is in several pieces").arg(quoted(element.name)),
        QString("takes only the first piece; %1 is lost").arg(quoted(text)));
}

std::optional<Manifest> inspectManifest(const QString& path, QString& problem) {
    const std::optional<QByteArray> bytes = readFile(path, manifestLimit, problem);
    if (!bytes)
        return {};
    const QString file = path == "-" ? QString("<stdin>") : path;
    Manifest manifest = parse(file, *bytes);
    // The usual slip, in an address with parameters: without it the rest can be read too.
    QList<int> lines;
    const QByteArray mended =
        manifest.accepted ? QByteArray() : withoutBareAmpersands(*bytes, lines);
    if (!lines.isEmpty())
        manifest = parse(file, mended);
    for (const int line : lines) {
        manifest.accepted = false;
        manifest.add(line, -1, "bare-ampersand", "an & begins no entity", refuses);
    }
    if (manifest.products.isEmpty())
        manifest.add(1, -1, "no-product", "there is no product in it", "offers nothing to anybody");
    return manifest;
}

std::optional<Manifest> readManifest(const QString& path, QString& problem) {
    std::optional<Manifest> manifest = inspectManifest(path, problem);
    if (!manifest || (manifest->accepted && !manifest->products.isEmpty()))
        return manifest;
    const auto reason = std::find_if(manifest->findings.cbegin(), manifest->findings.cend() - 1,
                                     [](const Finding& f) { return f.effect == refuses; });
    problem = QString("%1:%2: not a manifest that offers anything: %3")
                  .arg(manifest->file, QString::number(reason->line), reason->what);
    return {};
}
