#include "core/ZelXmlHandler.h"

#include <QXmlInputSource>
#include <QXmlSimpleReader>

namespace {

// The reader calls itself for each level: thousands would overflow its stack. Manifests have two,
// system profiles six or so.
constexpr int maxDepth = 500;

} // namespace

// Knows the character that the reader has come to.
class ZelXmlHandler::Source : public QXmlInputSource {
public:
    using QXmlInputSource::QXmlInputSource;
    QChar next() override { return last = QXmlInputSource::next(); }

    QChar last;
};

bool ZelXmlHandler::read(const QByteArray& document) {
    Source whole;
    whole.setData(document);
    return readFrom(whole);
}

bool ZelXmlHandler::read(QIODevice* device) {
    Source arriving(device);
    return readFrom(arriving);
}

bool ZelXmlHandler::readFrom(Source& document) {
    source = &document;
    QXmlSimpleReader reader;
    // Namespaces mean nothing here, and to follow them takes, at the end of each element, a time
    // that grows with the square of the prefixes: minutes for a small document of many.
    reader.setFeature("http://xml.org/sax/features/namespaces", false);
    reader.setContentHandler(this);
    reader.setErrorHandler(this);
    reader.setLexicalHandler(this);
    return reader.parse(&document, false);
}

bool ZelXmlHandler::startElement(const QString&, const QString&, const QString& qName,
                                 const QXmlAttributes&) {
    if (++depth > maxDepth)
        return refuse("elements are nested too deeply");
    return beginElement(qName.mid(qName.indexOf(':') + 1));
}

bool ZelXmlHandler::endElement(const QString&, const QString&, const QString&) {
    --depth;
    return true;
}

// Declarations can do all harm: nested ones overflow the stack, entities fill the memory. The
// reader calls this when it has come to the first of them, or to the end of a document type without
// any.
bool ZelXmlHandler::startDTD(const QString&, const QString&, const QString&) {
    if (source->last == '>' || source->last == ']')
        return true;
    return refuse("a manifest declares nothing in its document type");
}

bool ZelXmlHandler::refuse(const char* reason) {
    refusal = reason;
    return false;
}
