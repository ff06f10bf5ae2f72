#include "core/ZelXmlGuard.h"

#include <QStringList>

namespace {

// Far beyond any manifest, far below what harms. An entity is at most 4096 characters long, which
// the reader (what is nested in it) and the handler (what is written in it) see to, so that the
// references bound what a document can grow to.
constexpr int maxModelDepth = 200;
constexpr int maxDeclarations = 500;
constexpr int maxReferences = 10000;

constexpr QLatin1String elementDeclaration("<!ELEMENT");
constexpr QLatin1String entityDeclaration("<!ENTITY");

bool isPredefined(const QString& reference) {
    static const QStringList predefined{"&amp", "&lt", "&gt", "&quot", "&apos"};
    return reference.startsWith("&#") || predefined.contains(reference);
}

bool isNameCharacter(QChar c) {
    return c.isLetterOrNumber() || c == '#' || c == '_' || c == ':' || c == '.' || c == '-';
}

} // namespace

// The reader, too, takes a constant source and reads it.
ZelXmlGuard::ZelXmlGuard(const QXmlInputSource& document)
    : source(const_cast<QXmlInputSource&>(document)) {}

QChar ZelXmlGuard::next() {
    if (!reason.isEmpty())
        return QChar(EndOfDocument);
    const QChar c = source.next();
    watchMarkup(c);
    watchReference(c);
    return reason.isEmpty() ? c : QChar(EndOfDocument);
}

void ZelXmlGuard::watchMarkup(QChar c) {
    if (c == '<') {
        markup = c;
        modelDepth = 0;
    } else if (c == '>') {
        markup.clear();
    } else if (markup == elementDeclaration) {
        if (c == '(' && ++modelDepth > maxModelDepth)
            reason = "content models are nested too deeply";
        else if (c == ')')
            --modelDepth;
    } else if (!markup.isEmpty() && markup.size() < elementDeclaration.size()) {
        markup += c;
        if (markup == entityDeclaration && ++declarations > maxDeclarations)
            reason = "too many entities are declared";
    }
}

void ZelXmlGuard::watchReference(QChar c) {
    if (c == '&' || c == '%') {
        reference = c;
    } else if (c == ';') {
        if (reference.size() > 1 && !isPredefined(reference) && ++references > maxReferences)
            reason = "too many entities are used";
        reference.clear();
    } else if (!reference.isEmpty()) {
        if (isNameCharacter(c))
            reference += c;
        else
            reference.clear();
    }
}
