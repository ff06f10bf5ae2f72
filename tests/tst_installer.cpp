#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <unistd.h>

// The packages are on disk from the start; only installing them is left.
class tst_installer : public QObject {
    Q_OBJECT

private slots:
    void queueGoesOn();
    void nothingToInstallAtAll();
    void commandLineAndBusyBar();
    void isNeverCutOff_data();
    void isNeverCutOff();
};

// What the installer does, the name of the first package and how the second one is installed, to
// the packages installed and the boxes. Exit codes are the platform's installer's requests.
void tst_installer::queueGoesOn() {
    const auto run = [](const QStringList& in) {
        ZelTestWizard wizard;
        wizard.offerOnDisk({in[1], "second.pkg"});
        ZelApp::instance()->runInstallers = in[0] != "switched off";
        if (in[0] == "not on the PATH")
            qputenv("PATH", QFile::encodeName(wizard.machine.path()));
        else if (in[0] != "passed over")
            wizard.tellInstaller(in[0].toUtf8());
        wizard.tellInstaller("exit 0");
        if (!wizard.startQueue() ||
            !QTest::qWaitFor([&] { return wizard.page() == ZelMainWindow::Finished; }))
            return QString("does not end");
        QStringList log = ZelLogCapture::lines().filter(
            QRegularExpression("^Not running (?!as)|^Set to|abandoned"));
        log.replaceInStrings(wizard.downloads.path(), "").replaceInStrings("\"", "");
        QStringList result = wizard.installed();
        for (const ZelSeenBox& box : wizard.boxes.boxes)
            result << box.name + box.text.section("code", 1);
        return (result + log).join(", ") +
               (wizard.downloads.count() == 4 ? "" : ", something is gone");
    };
    zelCheckTable(R"(exit 0 | first.pkg => first.pkg, second.pkg
        exit 1 | first.pkg => first.pkg, second.pkg
        exit 255 | first.pkg => first.pkg, second.pkg
        kill -SEGV $$ | first.pkg => first.pkg, second.pkg, installerFailed: 11
        passed over | first.PKG => second.pkg, Not running installer on  /first.PKG
        passed over | first.pkg.zip => second.pkg, Not running installer on  /first.pkg.zip
        passed over | firstpkg => second.pkg, Not running installer on  /firstpkg
        switched off | a.pkg => Set to not run installers, skipping Label of a.pkg, Set to not run installers, skipping Label of second.pkg
        not on the PATH | first.pkg => installerNotStarted, installerNotStarted, process object abandoned due to error, process object abandoned due to error)",
                  run);
}

// The queue is over before the wizard has quite reached the page, or gone on from it.
void tst_installer::nothingToInstallAtAll() {
    ZelTestWizard wizard;
    wizard.offerOnDisk({"guide.pdf"});
    QVERIFY(wizard.startQueue());
    wizard.window->button(QWizard::CustomButton1)->click();
    bool later = false;
    QTimer::singleShot(10, wizard.window.get(), [&later] { later = true; });
    QTRY_VERIFY(later);
    QCOMPARE(wizard.page(), ZelMainWindow::Selection);
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QVERIFY(wizard.window->button(QWizard::FinishButton)->isVisible());
    QVERIFY(!wizard.window->button(QWizard::CustomButton1)->isVisible());
}

void tst_installer::commandLineAndBusyBar() {
    ZelTestWizard wizard;
    wizard.offerOnDisk({"Tools & Toys 21.0.pkg", "second.pkg"});
    QVERIFY(wizard.startQueue());
    const bool root = geteuid() == 0;
    QTRY_COMPARE(wizard.installerCalls(),
                 QStringList{(root ? "installer -target / -package " : "open -W ") +
                             wizard.downloads.filePath("Tools & Toys 21.0.pkg")});
    QCOMPARE(ZelLogCapture::contains("Not running as root, launching GUI installer"), !root);
    QVERIFY(ZelLogCapture::contains(root ? "running installer \"installer\" QList(\"-target"
                                         : "running installer \"open\" QList(\"-W"));
    const auto* bar = wizard.find<QProgressBar>("productProgress");
    const auto* status = wizard.find<QLabel>("downloadStatus");
    QCOMPARE(bar->maximum(), 0);
    QCOMPARE(status->text(), "Installing Label of Tools & Toys 21.0.pkg...");
    QCOMPARE(status->textFormat(), Qt::PlainText);
    wizard.tellInstaller("exit 0");
    wizard.tellInstaller("exit 0");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
}

void tst_installer::isNeverCutOff_data() {
    QTest::addColumn<QByteArray>("end");
    QTest::newRow("window closed") << QByteArray("exit 0");
    QTest::newRow("window closed on the way back") << QByteArray("exit 0");
    QTest::newRow("window closed, crash") << QByteArray("kill -SEGV $$");
    QTest::newRow("quit") << QByteArray("exit 0");
}

// It says what it has to say, asks in vain, and ends, before the program does.
void tst_installer::isNeverCutOff() {
    QFETCH(QByteArray, end);
    const QByteArray how = QTest::currentDataTag();
    ZelTestWizard wizard;
    wizard.offerOnDisk({"first.pkg", "second.pkg"});
    QVERIFY(wizard.startQueue());
    QTRY_VERIFY(ZelLogCapture::contains("Installer starts"));
    wizard.boxes.answers["backDuringInstall"] = {QMessageBox::Ok};
    if (how.endsWith("back"))
        wizard.press(QWizard::CustomButton1);
    wizard.boxes.boxes.clear();
    const int status = ZelWizardDriver::exitStatusOf([&] {
        if (how == "quit")
            QApplication::quit();
        else
            wizard.window->close();
        QTRY_VERIFY(!wizard.window->isVisible());
        wizard.tellInstaller("read; printf 'half\\n\"done\"\\n'");
        QTRY_VERIFY(ZelLogCapture::contains("half"));
        wizard.tellInstaller("printf \"oh$QT_NO_GLIB\\0dear\" >&2");
        QTRY_VERIFY(ZelLogCapture::contains("dear"));
        wizard.tellInstaller(end);
    });
    QCOMPARE(status, 0);
    const QStringList course = ZelLogCapture::lines().filter(
        QRegularExpression("^[Ii]nstaller (?!error)|Finished!|process object"));
    const QString finished =
        QString("Installer finished %1").arg(end == "exit 0" ? "0  status  0" : "11  status  1");
    QCOMPARE(course,
             QStringList({"Installer moves to state 1", "Installer moves to state 2",
                          "Installer starts", "installer stdout: \"half\\n\\\"done\\\"\\n\"",
                          "installer stderr: oh\\0dear", "Installer moves to state 0", finished,
                          "calling delete on installer process object", "process object gone"}));
    QCOMPARE(wizard.said(), {});
    QCOMPARE(wizard.installed(), {"first.pkg"});
}

ZEL_TEST_MAIN(tst_installer)
#include "tst_installer.moc"
