#pragma once

#include <QTest>
#include <functional>

// Checks a table of one case a line, "input | more input => result": `run` makes the result from
// the inputs. Blanks around the pieces do not count; a failure shows the whole line.
inline void zelCheckTable(const QString& table, const std::function<QString(QStringList)>& run) {
    for (const QString& line : table.trimmed().split('\n')) {
        QVERIFY2(line.contains("=>"), qPrintable(line));
        const QString input = line.section("=>", 0, 0);
        QStringList cells;
        for (const QString& cell : (input + ' ').split(" | "))
            cells << cell.trimmed();
        const QString found = (input + "=> " + run(cells)).trimmed();
        QVERIFY2(found == line.trimmed(), qPrintable("\n" + found + "\nis not\n" + line.trimmed()));
    }
}
