#include "support/ZelTestSupport.h"

#include <QLabel>
#include <QProgressBar>
#include <unistd.h>

// The packages are on disk from the start; only installing them is left.
class tst_installer : public QObject {
    Q_OBJECT

private slots:
    void queueGoesOn_data();
    void queueGoesOn();
    void nothingToInstallAtAll();
    void commandLineAndBusyBar();
    void isNeverCutOff_data();
    void isNeverCutOff();
};

void tst_installer::queueGoesOn_data() {
    QTest::addColumn<QString>("first"); // then "second.pkg"
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QStringList>("boxes");
    const QStringList both{"first.pkg", "second.pkg"};
    const QStringList second{"second.pkg"};
    const QStringList none;
    const QString notStarted = "Could not start installer process for Label of %1, skipping to "
                               "next product/";
    QTest::newRow("exit 0") << "first.pkg" << both << none;
    QTest::newRow("exit 1") << "first.pkg" << both << none;
    QTest::newRow("kill -SEGV $$")
        << "first.pkg" << both << QStringList{"Installer exited with err. Exit code: 11/"};
    QTest::newRow("skipped, capitals") << "first.PKG" << second << none;
    QTest::newRow("skipped, other suffix") << "first.pkg.zip" << second << none;
    QTest::newRow("switched off") << "first.pkg" << none << none;
    QTest::newRow("not on the PATH")
        << "first.pkg" << none
        << QStringList{notStarted.arg("first.pkg"), notStarted.arg("second.pkg")};
}

void tst_installer::queueGoesOn() {
    QFETCH(QString, first);
    const QByteArray behaviour = QTest::currentDataTag(); // a shell line, or in words
    const bool skipped = behaviour.startsWith("skipped");
    ZelTestWizard wizard;
    wizard.offerOnDisk({first, "second.pkg"});
    ZelApp::instance()->runInstallers = behaviour != "switched off";
    if (behaviour == "not on the PATH")
        qputenv("PATH", QFile::encodeName(wizard.machine.path()));
    else if (!skipped)
        wizard.tellInstaller(behaviour);
    wizard.tellInstaller("exit 0");
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QTEST(wizard.installed(), "installed");
    QTEST(wizard.said(), "boxes");
    QCOMPARE(ZelLogCapture::lines().contains(
                 QString("Not running installer on  \"%1\"").arg(wizard.downloads.filePath(first))),
             skipped);
    QCOMPARE(ZelLogCapture::contains("Set to not run installers, skipping \"Label of second.pkg\""),
             behaviour == "switched off");
    QCOMPARE(ZelLogCapture::lines().count("process object abandoned due to error"),
             behaviour == "not on the PATH" ? 2 : 0);
    QVERIFY(wizard.downloads.exists(first));
}

// The queue is over before the wizard has quite reached the page.
void tst_installer::nothingToInstallAtAll() {
    ZelTestWizard wizard;
    wizard.offerOnDisk({"guide.pdf"});
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
}

void tst_installer::commandLineAndBusyBar() {
    ZelTestWizard wizard;
    wizard.offerOnDisk({"Tools & Toys 21.0.pkg"});
    QVERIFY(wizard.startQueue());
    const bool root = geteuid() == 0;
    QTRY_COMPARE(wizard.installerCalls(),
                 QStringList{(root ? "installer -target / -package " : "open -W ") +
                             wizard.downloads.filePath("Tools & Toys 21.0.pkg")});
    QCOMPARE(ZelLogCapture::contains("Not running as root, launching GUI installer"), !root);
    const auto* bar = wizard.find<QProgressBar>("productProgress");
    QCOMPARE(bar->minimum(), 0);
    QCOMPARE(bar->maximum(), 0);
    QCOMPARE(wizard.find<QLabel>("downloadStatus")->text(),
             "Installing Label of Tools & Toys 21.0.pkg...");
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
