#include "Console.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cstdio>

namespace {

bool isPlain(QChar c) {
    return c >= ' ' && c <= '~';
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

QString quoted(const QString& text) {
    return '"' + printable(text, 60) + '"';
}

QString counted(qsizetype count, const QString& noun) {
    return QString("%1 %2%3").arg(count).arg(noun, count == 1 ? "" : "s");
}

QString addressText(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded | QUrl::RemovePassword);
}

QString Table::toString(const QString& indent) const {
    QList<qsizetype> widths;
    for (const QStringList& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (qsizetype i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }

    QString result;
    for (const QStringList& row : rows) {
        QString line = indent;
        for (qsizetype i = 0; i < row.size(); ++i) {
            const QString padding(widths[i] - row[i].size(), ' ');
            line += right.contains(i) ? padding + row[i] : row[i] + padding;
            line += "  ";
        }
        while (line.endsWith(' '))
            line.chop(1);
        result += line + '\n';
    }
    return result;
}
