#pragma once

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QUrl>

// Writes UTF-8 to standard output.
void print(const QString& text);

// Writes one compact JSON value to standard output, without a line feed.
void print(const QJsonValue& value);

// Foreign text for a terminal: what would move the cursor or change colours is shown as an escape,
// and more than `limit` characters are cut.
QString printable(const QString& text, qsizetype limit = 100);

// The same in double quotes, cut early.
QString quoted(const QString& text);

// "1 product", "2 products".
QString counted(qsizetype count, const QString& noun);

// An address as it is sent, but without a password.
QString addressText(const QUrl& url);

// Rows of texts in aligned columns; the numbers in `rightAligned` name the columns that are flush
// right.
class Table {
public:
    explicit Table(const QList<int>& rightAligned) : right(rightAligned) {}
    void add(const QStringList& row) { rows << row; }
    QString toString(const QString& indent) const;

private:
    QList<int> right;
    QList<QStringList> rows;
};
