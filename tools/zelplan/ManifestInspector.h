#pragma once

#include "Manifest.h"
#include "core/ZelManifestHandler.h"

// The installer's own reader, which also notes what it makes of the document: the records come
// from the reader itself, only the notes are added. Unlike the installer it reads on behind a field
// before the first product, to find everything in one run.
class ManifestInspector : public ZelManifestHandler {
public:
    explicit ManifestInspector(Manifest& target);

    void setDocumentLocator(QXmlLocator* documentLocator) override { locator = documentLocator; }
    bool endElement(const QString& namespaceURI, const QString& localName,
                    const QString& qName) override;
    bool characters(const QString& text) override;
    bool fatalError(const QXmlParseException& exception) override;

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
    Finding& add(const Element& element, const char* kind, const QString& what,
                 const QString& effect);

    Manifest& manifest;
    QXmlLocator* locator = nullptr;
    QList<Element> open; // from the root to the innermost
    Element awaiting;    // the field that the next text goes to
    qsizetype awaitingLevel = 0;
};
