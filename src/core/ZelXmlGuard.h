#pragma once

#include <QXmlInputSource>

// Stands between a document and the reader, which follows some constructs without any bound: nested
// content models until its stack overflows, entities until a small document fills the memory. The
// document ends, for the reader, where one of them goes beyond all sense.
class ZelXmlGuard : public QXmlInputSource {
public:
    // `source` is read by this object, from its beginning, and has to outlive it.
    explicit ZelXmlGuard(const QXmlInputSource& source);

    QChar next() override;

    // Why the document was cut off; empty when it was not.
    const QString& problem() const { return reason; }

private:
    enum State { Text, Markup, Declaration, Reference };

    QChar examineNext();
    bool fetchBlock();
    void watch(QChar c);
    void endOfReference();

    QXmlInputSource& source;
    QString block; // what the source holds at the moment
    const QChar* at = nullptr;
    const QChar* harmlessEnd = nullptr; // behind the characters that need no closer look
    const QChar* end = nullptr;
    bool watching = false; // whether the next character may belong to something counted
    State state = Text;
    bool hasDeclarations = false;
    bool inModel = false;
    quint64 name = 0; // of the declaration or reference that is being read
    int modelDepth = 0;
    int declarations = 0;
    int references = 0;
    QString reason;
};
