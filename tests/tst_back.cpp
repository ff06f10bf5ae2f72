#include "support/ZelTestSupport.h"

#include <QProgressBar>

// The back button of the download page, and what ends while one of its dialogs is open.
class tst_back : public QObject {
    Q_OBJECT

private slots:
    void duringDownload_data();
    void duringDownload();
    void duringInstallation_data();
    void duringInstallation();
    void startsAtTheFirstProductAgain();
};

namespace {

// Presses the back button and, while the dialog is open, does what happens meanwhile.
class BackWizard : public ZelTestWizard {
public:
    void goBack(const QString& dialog, QMessageBox::StandardButton answer,
                const std::function<void()>& meanwhile) {
        boxes.answers[dialog] = {answer};
        boxes.answers["downloadFailed"] = {QMessageBox::Ignore};
        boxes.onShow = [&](QMessageBox& box) {
            if (box.objectName() == dialog)
                meanwhile();
        };
        press(QWizard::CustomButton1);
        boxes.onShow = nullptr;
        const ZelSeenBox box = boxes.boxes[0];
        QCOMPARE(box.buttons, QMessageBox::Ok | QMessageBox::Cancel);
        QCOMPARE(box.defaultButton, "Cancel");
    }

    // Where the wizard is and the boxes after the dialog: "Selection" or "Finished downloadFailed".
    QString outcome() const {
        return (QStringList{QVariant::fromValue(page()).toString()} + boxes.names().mid(1))
            .join(' ');
    }

    // The only file in the download folder, its name and size.
    QString onDisk() const {
        const QFileInfo file = downloads.entryInfoList(QDir::Files).value(0);
        return QString("%1 %2").arg(file.fileName()).arg(file.size());
    }
};

} // namespace

void tst_back::duringDownload_data() {
    QTest::addColumn<QString>("meanwhile"); // the end of the transfer, while the dialog is open
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<QString>("outcome");
    QTest::addColumn<QString>("onDisk");
    const QString whole = "one.pkg 8";
    const QString part = "one.pkg.zeldownload 4";
    QTest::newRow("Cancel") << "" << QMessageBox::Cancel << "Finished" << whole;
    QTest::newRow("Cancel, done") << "completed" << QMessageBox::Cancel << "Finished" << whole;
    QTest::newRow("Cancel, failed")
        << "failed" << QMessageBox::Cancel << "Finished downloadFailed" << part;
    QTest::newRow("Ok") << "" << QMessageBox::Ok << "Selection" << part;
    QTest::newRow("Ok, done") << "completed" << QMessageBox::Ok << "Selection" << whole;
    QTest::newRow("Ok, failed") << "failed" << QMessageBox::Ok << "Selection" << part;
}

void tst_back::duringDownload() {
    QFETCH(QString, meanwhile);
    QFETCH(QMessageBox::StandardButton, answer);
    BackWizard wizard;
    ZelServer server;
    wizard.offer({zelProductXml("one.pkg", "One", 1, 8, server.url("one.pkg"))});
    wizard.tellInstaller("exit 0");
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(server.requests.size(), 1);
    server.answer(8, "half");
    QTRY_COMPARE(ZelApp::instance()->manifest[0].file->pos(), 4);

    wizard.goBack("backDuringDownload", answer, [&] {
        if (meanwhile == "completed")
            server.send("half");
        else if (meanwhile == "failed")
            server.close();
        if (!meanwhile.isEmpty())
            QTRY_VERIFY(ZelLogCapture::contains("Download " + meanwhile + " while in the back"));
        QVERIFY(!ZelLogCapture::contains("running installer"));
    });
    if (meanwhile.isEmpty() && answer == QMessageBox::Cancel)
        server.send("half");
    QFETCH(QString, outcome);
    QTRY_COMPARE(wizard.outcome(), outcome);
    QCOMPARE(wizard.said()[0], "Download In Progress. Really go back?/Pressing Ok will stop this "
                               "download of One. Press Cancel to resume download and installation");
    QTEST(wizard.onDisk(), "onDisk");
    QCOMPARE(wizard.installed().size(), outcome == "Finished" ? 1 : 0);

    // The next visit knows nothing of it: a failure there is reported.
    if (outcome != "Selection")
        return;
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    QTRY_COMPARE(server.requests.size(), 2);
    server.answer(8);
    server.close();
    QTRY_COMPARE(wizard.outcome(), "Finished downloadFailed");
}

void tst_back::duringInstallation_data() {
    QTest::addColumn<QByteArray>("meanwhile"); // what the installer does while the dialog is open
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<QString>("outcome");
    const QByteArray end = "exit 0";
    const QByteArray crash = "kill -SEGV $$";
    QTest::newRow("Cancel") << QByteArray() << QMessageBox::Cancel << "Finished";
    QTest::newRow("Cancel, ended") << end << QMessageBox::Cancel << "Finished";
    QTest::newRow("Cancel, crashed") << crash << QMessageBox::Cancel << "Finished installerFailed";
    QTest::newRow("Ok") << QByteArray() << QMessageBox::Ok << "Selection";
    QTest::newRow("Ok, ended") << end << QMessageBox::Ok << "Selection";
    QTest::newRow("Ok, crashed") << crash << QMessageBox::Ok << "Selection installerFailed";
}

void tst_back::duringInstallation() {
    QFETCH(QByteArray, meanwhile);
    QFETCH(QMessageBox::StandardButton, answer);
    BackWizard wizard;
    const QStringList names{"one.pkg", "two.pkg"};
    wizard.offerOnDisk(names);
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.installed(), names.mid(0, 1));

    wizard.goBack("backDuringInstall", answer, [&] {
        if (meanwhile.isEmpty())
            return;
        wizard.tellInstaller(meanwhile);
        QTRY_VERIFY(ZelLogCapture::contains("Installer finished while waiting for user input"));
        QVERIFY(!ZelLogCapture::contains("process object gone"));
    });
    if (meanwhile.isEmpty()) {
        QCOMPARE(wizard.page(), ZelMainWindow::Download);
        wizard.tellInstaller("exit 0");
    }
    // During the second one nothing of the first is left.
    if (answer == QMessageBox::Cancel) {
        QTRY_COMPARE(wizard.installed(), names);
        wizard.goBack("backDuringInstall", answer, [] {});
        wizard.boxes.boxes.removeLast();
        QCOMPARE(ZelLogCapture::lines().count("process object gone"), 1);
    }
    wizard.tellInstaller("exit 0");
    QFETCH(QString, outcome);
    QTRY_COMPARE(wizard.outcome(), outcome);
    QCOMPARE(wizard.said()[0],
             "A Product Install Is In Progress/Once Label of one.pkg is installed "
             "the Lumivex Community Installer will go back");
    QCOMPARE(wizard.installed(), names.mid(0, answer == QMessageBox::Ok ? 1 : 2));
    QCOMPARE(ZelLogCapture::lines().count("process object gone"), wizard.installed().size());

    // The next visit installs both.
    if (answer != QMessageBox::Ok)
        return;
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    wizard.tellInstaller("exit 0");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(wizard.installed(), names.mid(0, 1) + names);
}

void tst_back::startsAtTheFirstProductAgain() {
    BackWizard wizard;
    ZelServer server;
    wizard.offer({zelProductXml("one.txt", "One", 1, 4, server.url("one.txt")),
                  zelProductXml("two.txt", "Two", 1, 4, server.url("two.txt"))});
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(server.requests.size(), 1);
    server.answer(4, "full");
    QTRY_COMPARE(server.requests.size(), 2);
    wizard.goBack("backDuringDownload", QMessageBox::Ok, [] {});
    QCOMPARE(wizard.page(), ZelMainWindow::Selection);

    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    QCOMPARE(wizard.find<QProgressBar>("overallProgress")->value(), 0);
    wizard.goBack("backDuringDownload", QMessageBox::Cancel, [] {});
    QCOMPARE(wizard.boxes.names().size(), 2);
    for (int answered : {3, 4}) {
        QTRY_COMPARE(server.requests.size(), answered);
        server.answer(4, "full");
    }
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(server.requests, QStringList({"/one.txt", "/two.txt", "/one.txt", "/two.txt"}));
}

ZEL_TEST_MAIN(tst_back)
#include "tst_back.moc"
