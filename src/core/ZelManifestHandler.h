#pragma once

#include "core/ZelManifestElement.h"

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
    bool characters(const QString& text) override;
    bool fatalError(const QXmlParseException& exception) override;

    // The address of the page shown at the end, when the document named one.
    std::optional<QUrl> successUrl;

private:
    QList<ZelManifestElement>& list;
    int state = 0; // the field whose text is awaited, 0 for none
};

// Runs the handler over a document. False when the document was not accepted; what was read before
// the fault has been delivered all the same, to the handler's list and success address.
bool ZelReadManifest(const QXmlInputSource& source, ZelManifestHandler& handler);
