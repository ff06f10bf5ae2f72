#pragma once

#include "app/ZelApp.h"
#include "drive/ZelCertificate.h"
#include "drive/ZelFiles.h"
#include "drive/ZelSandbox.h"
#include "drive/ZelVendor.h"

#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
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

// Collects the program's messages while it lives; they are not printed meanwhile.
class ZelLogCapture {
public:
    ZelLogCapture();
    ~ZelLogCapture();

    // The messages so far, as handed to the message handler.
    static QStringList lines();

    // Whether a message with this text in it has come.
    static bool contains(const QString& text);

private:
    QtMessageHandler previous;
};

// The driven wizard, with its log and without the program's pictures.
class ZelTestWizard : public ZelLogCapture, public ZelSandbox {
public:
    ZelTestWizard() { ZelApp::instance()->installRoot = machine.path(); }

    // A plain picture among the program's resources.
    void addPicture(const QString& name, const QColor& color) const;
};

// Fills the test data with the table below a heading of docs/weather.md, which says what a user
// meets in each weather: rows named by their weather, and a column "expected" with the other cells,
// joined with " | ". A row that is wrong there fails, and a new one is a new test.
void zelWeatherRows(const QString& heading);

// The ready scenario of a weather, as an option of the vendor server; none when it needs none.
QStringList zelScenario(const QString& weather);

// What becomes of the request for a manifest or a package that `start` makes: "goes on", or why
// not.
QString zelOutcomeOf(const std::function<void()>& start);

// Makes a package of this address the only one on offer, and starts its transfer.
QNetworkReply* zelDownload(const QUrl& url);

// Runs a test class inside the real application object, off-screen, with a home directory of its
// own. Tests empty the folder for packages: it must never be the system's temporary one.
template<typename Test> int zelRunTest(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("TMPDIR", QFile::encodeName(home.path()));
    QDir(home.path()).mkdir("Downloads");
    ZelApp app(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

#define ZEL_TEST_MAIN(Test)                                                                        \
    int main(int argc, char** argv) {                                                              \
        return zelRunTest<Test>(argc, argv);                                                       \
    }
