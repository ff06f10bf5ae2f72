#pragma once

#include "core/ZelManifestElement.h"

#include <QStringList>
#include <QXmlDefaultHandler>
#include <optional>

class QXmlInputSource;

// Reads a manifest: appends one record for each "ProductInfo" to the caller's list and gathers the
// success address. It goes by element names and the first piece of text behind each; structure,
// end tags and attributes mean nothing to it.
class ZelManifestHandler : public QXmlDefaultHandler {
public:
    // The list is the caller's and is appended to, never cleared.
    explicit ZelManifestHandler(QList<ZelManifestElement>& list);

    bool startElement(const QString& namespaceURI, const QString& localName, const QString& qName,
                      const QXmlAttributes& attributes) override;
    bool endElement(const QString& namespaceURI, const QString& localName,
                    const QString& qName) override;
    bool characters(const QString& text) override;
    bool internalEntityDecl(const QString& name, const QString& value) override;
    bool fatalError(const QXmlParseException& exception) override;
    QString errorString() const override;

    // The element names that mean something: the product's first, then the fields'.
    static QStringList elementNames();

    // Whether the next text goes into a field.
    bool awaitsText() const { return state != 0; }

    // The address of the page shown at the end, when the document named one.
    std::optional<QUrl> successUrl;

    // Why the document was not accepted; empty when it was.
    QString problem;

private:
    bool refuse(const char* reason);

    QList<ZelManifestElement>& list;
    int state = 0;   // the field whose text is awaited, 0 for none
    int depth = 0;   // of the element that is open
    QString refusal; // why this handler ended the reading
};

// Runs the handler over a document. False when the document was not accepted; what was read before
// the fault has been delivered all the same, to the handler's list and success address.
// A document that would exhaust the stack or the memory of the reader is not accepted either.
bool ZelReadManifest(const QXmlInputSource& source, ZelManifestHandler& handler);
