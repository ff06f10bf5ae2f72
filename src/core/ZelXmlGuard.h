#pragma once

#include <QXmlInputSource>

// Stands between a document and the reader, which follows some constructs without any bound: nested
// content models until its stack overflows, entities until a small document fills the memory. The
// document ends, for the reader, where one of them goes beyond all sense.
class ZelXmlGuard : public QXmlInputSource {
public:
    // `source` is read by this object and has to outlive it.
    explicit ZelXmlGuard(const QXmlInputSource& source);

    QChar next() override;

    // Why the document was cut off; empty when it was not.
    const QString& problem() const { return reason; }

private:
    void watchMarkup(QChar c);
    void watchReference(QChar c);

    QXmlInputSource& source;
    QString markup;    // the beginning of the tag or declaration that is being read
    QString reference; // the reference that is being read, with the character that opens it
    int modelDepth = 0;
    int declarations = 0;
    int references = 0;
    QString reason;
};
