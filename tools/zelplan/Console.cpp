#include "Console.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <unistd.h>

namespace {

constexpr int progressDelay = 1000;   // ms before the line appears
constexpr int progressInterval = 100; // ms between two updates

bool isPlain(QChar c) {
    return c >= ' ' && c <= '~';
}

// Columns that the text takes on a terminal.
qsizetype columns(const QString& text) {
    if (std::all_of(text.begin(), text.end(), isPlain))
        return text.size();
    qsizetype width = 0;
    for (const char32_t character : text.toUcs4())
        width += std::max(0, wcwidth(wchar_t(character)));
    return width;
}

} // namespace

void print(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void print(const QJsonValue& value) {
    // A document holds an array or an object: the value is taken out of its array again.
    const QByteArray json = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    std::fwrite(json.constData() + 1, 1, size_t(json.size() - 2), stdout);
}

int finish(int status) {
    if (std::fflush(stdout) == 0 && !std::ferror(stdout))
        return status;
    return fail("the output could not be written");
}

int fail(const QString& text) {
    std::fprintf(stderr, "zelplan: %s\n", printable(text, 500).toUtf8().constData());
    return Unreadable;
}

QString printable(const QString& text, qsizetype limit) {
    if (text.size() <= limit && std::all_of(text.begin(), text.end(), isPlain))
        return text;
    QString result;
    for (const char32_t character : text.left(limit).toUcs4()) {
        if (character == '\n')
            result += "\\n";
        else if (character == '\t')
            result += "\\t";
        else if (QChar::isPrint(character))
            result += QString::fromUcs4(&character, 1);
        else
            result += QString("\\u{%1}").arg(uint(character), 0, 16);
    }
    return text.size() > limit ? result + u'…' : result;
}

QString addressText(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded | QUrl::RemovePassword);
}

QString Table::toString(const QString& indent) const {
    QList<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], columns(row[i]));
    }

    QString result;
    for (const QStringList& row : rows) {
        QString line = indent;
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString padding(widths[i] - columns(row[i]), ' ');
            line += right.contains(i) ? padding + row[i] : row[i] + padding;
            line += "  ";
        }
        while (line.endsWith(' '))
            line.chop(1);
        result += line + '\n';
    }
    return result;
}

Progress::Progress(const QString& subject, qsizetype count)
    : what(subject), total(count), isTerminal(isatty(STDERR_FILENO)) {
    sinceStart.start();
    sinceShown.start();
}

void Progress::show(qsizetype done) {
    if (!isTerminal || sinceStart.elapsed() < progressDelay)
        return;
    if (visible && sinceShown.elapsed() < progressInterval)
        return;
    std::fprintf(stderr, "\r%s: %lld of %lld\033[K", qUtf8Printable(what), qlonglong(done),
                 qlonglong(total));
    sinceShown.start();
    visible = true;
}

void Progress::hide() {
    if (visible)
        std::fputs("\r\033[K", stderr);
    visible = false;
}
