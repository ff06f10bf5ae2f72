#pragma once

#include <QElapsedTimer>
#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QUrl>

// The exit statuses that all verbs share.
enum Exit { Clean = 0, Found = 1, Unreadable = 2 };

// Writes UTF-8 to standard output.
void print(const QString& text);

// Writes one compact JSON value to standard output, without a line feed.
void print(const QJsonValue& value);

// The status with which the program ends: `status`, or Unreadable with a line on standard error
// when the output could not be written.
int finish(int status);

// Prints "zelplan: " and the text as one line on standard error. Returns Unreadable.
int fail(const QString& text);

// Foreign text for a terminal: what would move the cursor or change colours is shown as an escape,
// and more than `limit` characters are cut.
QString printable(const QString& text, qsizetype limit = 100);

// An address as it is sent, but without a password.
QString addressText(const QUrl& url);

// Rows of texts in aligned columns; the numbers in `rightAligned` name the columns of figures.
class Table {
public:
    explicit Table(const QList<int>& rightAligned) : right(rightAligned) {}
    void add(const QStringList& row) { rows << row; }
    QString toString(const QString& indent) const;

private:
    QList<int> right;
    QList<QStringList> rows;
};

// A line on a terminal that counts up, for work that takes more than a second. It is gone when
// this object is.
class Progress {
public:
    Progress(const QString& what, qsizetype total);
    ~Progress() { hide(); }

    void show(qsizetype done);

    // Clears the line, for other output.
    void hide();

private:
    QString what;
    qsizetype total;
    bool isTerminal;
    bool visible = false;
    QElapsedTimer sinceStart;
    QElapsedTimer sinceShown;
};
