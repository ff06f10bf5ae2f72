#pragma once

#include "core/ZelManifestElement.h"
#include "core/ZelXmlHandler.h"

#include <QStringList>
#include <optional>

// Reads a manifest: appends one record for each "ProductInfo" to the caller's list and gathers the
// success address. It goes by element names and the first piece of text behind each; structure,
// end tags and attributes mean nothing to it.
class ZelManifestHandler : public ZelXmlHandler {
public:
    // The list is the caller's and is appended to, never cleared.
    explicit ZelManifestHandler(QList<ZelManifestElement>& list);

    bool characters(const QString& text) override;
    bool fatalError(const QXmlParseException& exception) override;

    // The element names that mean something: the product's first, then the fields'.
    static QStringList elementNames();

    // Whether the next text goes into a field.
    bool awaitsText() const { return state != 0; }

    // The address of the page shown at the end, when the document named one.
    std::optional<QUrl> successUrl;

    // Why the document was not accepted; empty when it was.
    QString problem;

protected:
    bool beginElement(const QString& name) override;

private:
    QList<ZelManifestElement>& list;
    int state = 0; // the field whose text is awaited, 0 for none
};
