#pragma once

#include "core/ZelManifestHandler.h"

#include <QHash>

enum class Severity { Error, Warning, Note };

// Something in a manifest that a release engineer hardly meant.
struct Finding {
    int line = 0;     // 0 when it has none
    int product = -1; // index of the record, -1 when it belongs to none
    Severity severity = Severity::Warning;
    QString kind;   // stable short name
    QString what;   // what is in the file
    QString effect; // what the installer does with it
    QString remedy;
};

// Where a record and its fields stand, and the texts that the reader took for them.
struct RecordNotes {
    struct Field {
        int line = 0;
        QString text;
    };
    int line = 0;
    QHash<QString, Field> fields;
};

// The installer's own reader, which also notes what it makes of the document: the records come
// from the reader itself, only the notes are added. Unlike the installer it reads on behind a field
// before the first product, to find everything in one run.
class ManifestInspector : public ZelManifestHandler {
public:
    explicit ManifestInspector(QList<ZelManifestElement>& target);

    void setDocumentLocator(QXmlLocator* documentLocator) override { locator = documentLocator; }
    bool endElement(const QString& namespaceURI, const QString& localName,
                    const QString& qName) override;
    bool characters(const QString& text) override;

    QList<RecordNotes> notes; // one for each record
    QList<Finding> findings;
    bool refused = false;    // the installer takes nothing of this document
    bool isManifest = false; // there is a known element in it, or one nearly so

protected:
    bool beginElement(const QString& name) override;

private:
    struct Element {
        QString name;
        int line = 0;
        bool isField = false;
        bool isProduct = false;
        bool inProduct = false;
        bool holdsProduct = false;
        bool holdsText = false;
        bool reported = false;
    };

    void textTaken(const QString& text);
    void textRefused(const QString& text);
    void textLost(const QString& text);
    void add(Severity severity, const Element& element, const QString& kind, const QString& what,
             const QString& effect, const QString& remedy);

    QList<ZelManifestElement>& products;
    QXmlLocator* locator = nullptr;
    QList<Element> open; // from the root to the innermost
    Element awaiting;    // the field that the next text goes to
    qsizetype awaitingLevel = 0;
    QString successAddress;
};

// Reads a manifest file. False, with the reason in `problem`, when the file cannot be read or the
// reader does not accept it.
bool readManifest(const QString& path, ZelManifestHandler& handler, QString& problem);

// Reads a manifest as the installer would; one that it refuses, or without any product, is none.
std::optional<QList<ZelManifestElement>> readManifest(const QString& path, QString& problem);

// Whether two words differ by so little that one may be meant for the other.
bool isNearMiss(const QString& word, const QString& other);
