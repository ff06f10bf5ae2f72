#include "support/ZelTestSupport.h"

#include <QProgressBar>

// The back button of the download page, and what ends while one of its dialogs is open.
class tst_back : public QObject {
    Q_OBJECT

private slots:
    void duringDownload_data() {
        duringInstallation_data();
        QTest::addRow("window closed, completed") << "completed" << QMessageBox::Close;
        QTest::addRow("window closed, failed") << "failed" << QMessageBox::Close;
    }
    void duringDownload();
    void duringInstallation_data();
    void duringInstallation();
    void whileAnInstallerFailsToStart();
};

namespace {

// Presses the back button and, while the dialog is open, does what happens meanwhile.
class BackWizard : public ZelTestWizard {
public:
    void goBack(
        const QString& dialog, QMessageBox::StandardButton answer,
        const std::function<void()>& meanwhile = [] {}) {
        boxes.answers[dialog] = {answer};
        boxes.answers["downloadFailed"] = {QMessageBox::Ignore};
        boxes.onShow = [&](QMessageBox& box) {
            if (box.objectName() == dialog)
                meanwhile();
        };
        press(QWizard::CustomButton1);
        boxes.onShow = nullptr;
    }

    // The only file in the download folder, its name and size.
    QString onDisk() const {
        const QFileInfo file = downloads.entryInfoList(QDir::Files).value(0);
        return QString("%1 %2").arg(file.fileName()).arg(file.size());
    }

    // Whether the way back led to the products, with the usual buttons.
    bool isBack() const {
        return page() == ZelMainWindow::Selection &&
               window->button(QWizard::BackButton)->isVisible() &&
               window->button(QWizard::NextButton)->isVisible() &&
               !window->button(QWizard::CustomButton1)->isVisible() &&
               !window->button(QWizard::CancelButton)->isVisible();
    }

    const QStringList names{"one.pkg", "two.pkg"};
    QStringList seen; // the boxes that are to be expected
};

} // namespace

void tst_back::duringInstallation_data() {
    QTest::addColumn<QString>("meanwhile"); // how it ends, while the dialog is open
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    for (const char* meanwhile : {"", "completed", "failed"}) {
        QTest::addRow("Cancel %s", meanwhile) << meanwhile << QMessageBox::Cancel;
        QTest::addRow("Ok %s", meanwhile) << meanwhile << QMessageBox::Ok;
    }
}

void tst_back::duringDownload() {
    QFETCH(QString, meanwhile);
    QFETCH(QMessageBox::StandardButton, answer);
    const QString dialog = "backDuringDownload";
    const bool failed = meanwhile == "failed";
    const bool whole = !failed && (answer == QMessageBox::Cancel || !meanwhile.isEmpty());
    const QString onDisk = whole ? "one.pkg 8" : "one.pkg.zeldownload 4";
    BackWizard wizard;
    ZelServer server;
    QByteArrayList products;
    for (const QString& name : wizard.names) {
        products << zelProductXml(name, name, 1, 8, server.url(name));
        wizard.tellInstaller("exit 0");
    }
    wizard.offer(products);
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(server.requests.size(), 1);
    server.answer(8, "half");
    QTRY_COMPARE(ZelApp::instance()->manifest[0].file->pos(), 4);
    const bool closes = answer == QMessageBox::Close;
    wizard.goBack(dialog, closes ? QMessageBox::Cancel : answer, [&] {
        if (meanwhile == "completed")
            server.send("half");
        else if (failed)
            server.close();
        if (!meanwhile.isEmpty())
            QTRY_VERIFY(ZelLogCapture::contains("Download " + meanwhile + " while in the back"));
        QVERIFY(!ZelLogCapture::contains("running installer"));
        if (closes)
            wizard.window->close();
    });
    wizard.seen << dialog;
    if (closes) {
        QVERIFY(!ZelLogCapture::contains("running installer"));
        QCOMPARE(wizard.boxes.names(), wizard.seen);
        return;
    }

    if (answer == QMessageBox::Ok) {
        QVERIFY(wizard.isBack());
        QCOMPARE(wizard.onDisk(), onDisk);
        QCOMPARE(wizard.installed(), {});
        // The next visit begins anew and knows nothing of it: a failure is reported.
        QVERIFY(wizard.walkTo(ZelMainWindow::Download));
        QTRY_COMPARE(server.requests, QStringList({"/one.pkg", "/one.pkg"}));
        server.answer(8);
        server.close();
        QTRY_COMPARE(wizard.boxes.names(), wizard.seen + QStringList{"downloadFailed"});
        return;
    }
    if (meanwhile.isEmpty())
        server.send("half");
    // In the second one nothing of the first is left.
    QTRY_COMPARE(server.requests.size(), 2);
    QCOMPARE(wizard.onDisk(), onDisk);
    wizard.goBack(dialog, answer);
    QCOMPARE(wizard.find<QProgressBar>("overallProgress")->value(), 500);
    if (failed) {
        wizard.seen << "downloadFailed";
        QVERIFY(wizard.said()[1].contains("/the remote server closed"));
    }
    QCOMPARE(wizard.boxes.names(), wizard.seen + QStringList{dialog});
    server.answer(8, "complete");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(wizard.installed(), failed ? wizard.names.mid(1) : wizard.names);
    QCOMPARE(server.requests, QStringList({"/one.pkg", "/two.pkg"}));
    const QStringList completed{"Download complete! 0", "Download complete! 1"};
    QCOMPARE(ZelLogCapture::lines().filter("Download complete!"), completed.mid(failed ? 1 : 0));
}

void tst_back::duringInstallation() {
    QFETCH(QString, meanwhile);
    QFETCH(QMessageBox::StandardButton, answer);
    const QString dialog = "backDuringInstall";
    BackWizard wizard;
    wizard.offerOnDisk(wizard.names);
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.installed(), wizard.names.mid(0, 1));
    wizard.goBack(dialog, answer, [&] {
        if (meanwhile.isEmpty())
            return;
        wizard.tellInstaller(meanwhile == "failed" ? "kill -SEGV $$" : "exit 0");
        QTRY_VERIFY(ZelLogCapture::contains("Installer finished while waiting for user input"));
        QVERIFY(!ZelLogCapture::contains("process object gone"));
    });
    wizard.seen << dialog;
    if (meanwhile == "failed") {
        wizard.seen << "installerFailed";
        QTRY_COMPARE(wizard.said().value(1), "Installer exited with err. Exit code: 11/");
    }
    if (meanwhile.isEmpty()) {
        QCOMPARE(wizard.page(), ZelMainWindow::Download);
        wizard.tellInstaller("exit 0");
    }

    if (answer == QMessageBox::Ok) {
        QTRY_VERIFY(wizard.isBack());
        QCOMPARE(wizard.installed(), wizard.names.mid(0, 1));
        QVERIFY(wizard.walkTo(ZelMainWindow::Download)); // installs both
        wizard.tellInstaller("exit 0");
    }
    // During another one nothing of the first is left.
    QTRY_COMPARE(wizard.installed().size(), answer == QMessageBox::Ok ? 3 : 2);
    wizard.goBack(dialog, QMessageBox::Cancel);
    QCOMPARE(wizard.boxes.names(), wizard.seen + QStringList{dialog});
    QCOMPARE(ZelLogCapture::lines().count("process object gone") + 1, wizard.installed().size());
    QCOMPARE(wizard.installed().last(), "two.pkg");
    wizard.tellInstaller("exit 0");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
}

// The next product does not start under the dialog.
void tst_back::whileAnInstallerFailsToStart() {
    BackWizard wizard;
    wizard.offerOnDisk(wizard.names);
    wizard.tellInstaller("exit 0");
    {
        const ZelEnvironment path("PATH", "/nowhere");
        QVERIFY(wizard.startQueue());
    }
    wizard.goBack("backDuringInstall", QMessageBox::Cancel, [&] {
        QTRY_VERIFY(ZelLogCapture::contains("Installer error  0"));
        QCOMPARE(wizard.boxes.names(), QStringList("backDuringInstall"));
    });
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(wizard.boxes.names(), QStringList({"backDuringInstall", "installerNotStarted"}));
    QCOMPARE(wizard.installed(), wizard.names.mid(1));
}

ZEL_TEST_MAIN(tst_back)
#include "tst_back.moc"
