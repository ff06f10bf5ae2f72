#include "core/ZelXmlGuard.h"

#include <algorithm>

namespace {

// Far beyond any manifest, far below what harms. The handler sees to it that an entity is at most
// 4096 characters long and uses no other, so that the references bound what a document can grow to.
constexpr int maxModelDepth = 200;
constexpr int maxDeclarations = 500;
constexpr int maxReferences = 10000;

// A name of up to seven characters as a number: comparing texts for each character of a document
// would take longer than reading it.
constexpr quint64 packed(quint64 name, char16_t c) {
    return name << 8 | (c > 0 && c < 0x80 ? c : 0x80);
}

constexpr quint64 packed(const char* text) {
    quint64 name = 0;
    for (; *text; ++text)
        name = packed(name, *text);
    return name;
}

// Whether a character begins what has to be watched, or is none at all.
bool isSpecial(QChar c) {
    constexpr quint64 watched = 1ULL << '<' | 1ULL << '&' | 1ULL << '%';
    return c.unicode() < 64 ? watched >> c.unicode() & 1 : c.unicode() >= 0xfff0;
}

bool isNameCharacter(QChar c) {
    return c.isLetterOrNumber() || c.isMark() || c == '#' || c == '_' || c == ':' || c == '.' ||
           c == '-';
}

} // namespace

// The reader, too, takes a constant source and reads it.
ZelXmlGuard::ZelXmlGuard(const QXmlInputSource& document)
    : source(const_cast<QXmlInputSource&>(document)), block(source.data()), at(block.constBegin()),
      harmlessEnd(at), end(block.constEnd()) {}

// Called for each character of a document; hardly any of them needs a closer look.
QChar ZelXmlGuard::next() {
    return at == harmlessEnd ? examineNext() : *at++;
}

QChar ZelXmlGuard::examineNext() {
    if (at == end && !fetchBlock())
        return QChar(EndOfDocument);
    const QChar c = *at++;
    if (watching || isSpecial(c))
        watch(c);
    harmlessEnd = watching ? at : std::find_if(at, end, isSpecial);
    // In a document, the character that stands for the end of a block is the end of all.
    return reason.isEmpty() && c != QChar(EndOfData) ? c : QChar(EndOfDocument);
}

// A source that reads from a device holds one block of it at a time, any other one all there is.
bool ZelXmlGuard::fetchBlock() {
    if (!reason.isEmpty())
        return false;
    source.fetchData();
    const QString next = source.data();
    if (next.constBegin() == block.constBegin())
        return false;
    block = next;
    at = harmlessEnd = block.constBegin();
    end = block.constEnd();
    return at != end;
}

void ZelXmlGuard::watch(QChar c) {
    if (c == '<') {
        state = at == end || *at == '!' ? Markup : Text;
        inModel = false;
    } else if (c == '>') {
        state = Text;
        inModel = false;
    } else if (c == '&' || c == '%') {
        // Without a declaration, a "%" is but part of an address.
        state = c == '&' || hasDeclarations ? Reference : Text;
        name = packed(0, c.unicode());
    } else if (state == Markup) {
        state = c == '!' ? Declaration : Text;
        hasDeclarations |= c == '!';
        name = 0;
    } else if (state == Declaration) {
        name = packed(name, c.unicode());
        inModel = name == packed("ELEMENT");
        modelDepth = 0;
        if (name == packed("ENTITY") && ++declarations > maxDeclarations)
            reason = "too many entities are declared";
        if (inModel || !c.isLetter())
            state = Text;
    } else if (state == Reference && c == ';') {
        endOfReference();
        state = Text;
    } else if (state == Reference) {
        name = packed(name, c.unicode());
        if (!isNameCharacter(c) || name == packed("&#"))
            state = Text;
    }

    if (inModel && c == '(' && ++modelDepth > maxModelDepth)
        reason = "content models are nested too deeply";
    else if (inModel && c == ')')
        --modelDepth;

    watching = state != Text || inModel;
    if (!reason.isEmpty())
        at = end;
}

void ZelXmlGuard::endOfReference() {
    for (const char* harmless : {"&", "%", "&amp", "&lt", "&gt", "&quot", "&apos"}) {
        if (name == packed(harmless))
            return;
    }
    if (++references > maxReferences)
        reason = "too many entities are used";
}
