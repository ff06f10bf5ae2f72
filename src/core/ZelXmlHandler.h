#pragma once

#include <QXmlDefaultHandler>

class QIODevice;

// What the handlers of documents from outside have in common: they are given element names without
// prefix, and refuse what the reader would follow until its stack overflows or the memory is full.
class ZelXmlHandler : public QXmlDefaultHandler {
public:
    // Run this handler over a document, a whole one or one that arrives at the device. False when
    // it was not accepted; what was read before the fault has been delivered all the same.
    bool read(const QByteArray& document);
    bool read(QIODevice* device);

    bool startElement(const QString& namespaceURI, const QString& localName, const QString& qName,
                      const QXmlAttributes& attributes) final;
    bool endElement(const QString& namespaceURI, const QString& localName,
                    const QString& qName) override;
    bool startDTD(const QString& name, const QString& publicId, const QString& systemId) override;
    QString errorString() const override { return refusal; }

protected:
    // An element begins, whose name is this without prefix. False ends the reading.
    virtual bool beginElement(const QString& name) = 0;

    // For a handler that ends the reading: says why, and returns false.
    bool refuse(const char* reason);

private:
    class Source;
    bool readFrom(Source& document);

    const Source* source = nullptr; // of the document that is being read
    int depth = 0;                  // of the element that is open
    QString refusal;                // why this handler ended the reading
};
