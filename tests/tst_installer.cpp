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
    void logTellsTheCourse();
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

void tst_installer::logTellsTheCourse() {
    ZelTestWizard wizard;
    wizard.offerOnDisk({"first.pkg"});
    QVERIFY(wizard.startQueue());
    const QString said = "installer stdout: \"half \\\"done\\\"\\n\"";
    wizard.tellInstaller("echo 'half \"done\"'");
    QTRY_VERIFY(ZelLogCapture::lines().contains(said));
    wizard.tellInstaller("echo oh$QT_NO_GLIB >&2");
    QTRY_VERIFY(ZelLogCapture::lines().contains("installer stderr: oh\n"));
    wizard.tellInstaller("exit 3");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);

    const QStringList course =
        ZelLogCapture::lines().filter(QRegularExpression("nstaller |Finished!|process object"));
    QCOMPARE(
        course.mid(1),
        QStringList({"Installer moves to state 1", "Installer moves to state 2", "Installer starts",
                     said, "installer stderr: oh\n", "Installer moves to state 0",
                     "Installer finished 3  status  0", "Finished!",
                     "calling delete on installer process object", "process object gone"}));
}

ZEL_TEST_MAIN(tst_installer)
#include "tst_installer.moc"
