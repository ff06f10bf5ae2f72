#include "support/ZelWeather.h"

#include <QTcpServer>
#include <QTimer>

namespace {

constexpr int patience = 60000; // ms

} // namespace

void zelWeatherRows(const QString& heading) {
    QTest::addColumn<QString>("expected");
    QFile page(ZEL_SOURCE_DIR "/docs/weather.md");
    if (!page.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(page.fileName()));
    const QString text = QString::fromUtf8(page.readAll()).section("\n## " + heading + '\n', 1);
    bool inBody = false;
    for (const QString& line : text.section("\n## ", 0, 0).split('\n')) {
        if (line.startsWith("|---"))
            inBody = true;
        else if (inBody && line.startsWith("| ")) {
            QStringList cells;
            for (const QString& cell : line.split('|').mid(1))
                cells << cell.trimmed().remove('`');
            cells.removeLast();
            QTest::newRow(qPrintable(cells.takeFirst())) << cells.join(" | ");
        }
    }
}

QString zelWeather() {
    return QString::fromUtf8(QTest::currentDataTag());
}

QStringList zelScenario(const QString& weather) {
    const QString file = ZEL_SOURCE_DIR "/tools/weather/" + weather + ".json";
    return QFile::exists(file) ? QStringList{"--weather", file} : QStringList();
}

int zelRun(const std::function<void()>& start) {
    QApplication::setQuitOnLastWindowClosed(false); // a box is often the only one here
    QTimer deadline;
    QObject::connect(&deadline, &QTimer::timeout, qApp, [] { QApplication::exit(zelHung); });
    deadline.start(patience);
    QTimer::singleShot(0, &deadline, start);
    return QApplication::exec();
}

void zelStop() {
    QApplication::exit(zelStopped);
}

QByteArray zelCommand(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForFinished(patience) || process.exitCode() != 0)
        qFatal("%s: %s", qPrintable(program), process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

quint16 zelFreePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}
