#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelDownload.h"

#include <QLabel>
#include <QProgressBar>

class tst_download : public QObject {
    Q_OBJECT

private slots:
    void worksThroughTheQueue();
    void failedTransfer_data();
    void failedTransfer();
    void endsTheProgram();
    void progress();
    void picturesTakeTurns();
};

namespace {

constexpr int size = 30;

QByteArray product(const QString& name, const QString& url) {
    return zelProductXml(name, "Label of " + name, 1, size, url);
}

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

int red(const QPixmap& picture) {
    return picture.isNull() ? 0 : picture.toImage().pixelColor(8, 8).red();
}

} // namespace

void tst_download::worksThroughTheQueue() {
    ZelTestWizard wizard;
    ZelVendor vendor;
    QVERIFY(vendor.start());
    const QStringList names{"one.pkg", "two.pkg", "three.pkg"};
    QByteArrayList products;
    for (const QString& name : names) {
        products << product(name, vendor.packageUrl(name).toString());
        wizard.tellInstaller("exit 0");
    }
    const QByteArray one = vendor.addPackage("one.pkg", size);
    vendor.addPackage("three.pkg", size);
    zelWriteFile(wizard.downloads.filePath("two.pkg"), QByteArray(size, '2'));
    wizard.offer(products);

    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    const auto* status = wizard.find<QLabel>("downloadStatus");
    const auto* bytes = wizard.find<QLabel>("byteCount");
    QList<int> overall;
    QStringList shown;
    connect(wizard.find<QProgressBar>("overallProgress"), &QProgressBar::valueChanged, status,
            [&](int value) { overall << value; });
    connect(
        wizard.find<QProgressBar>("productProgress"), &QProgressBar::valueChanged, status,
        [&](int value) { shown << status->text() + QString(" %1 ").arg(value) + bytes->text(); });
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);

    // A third each, half of it for the transfer; the second is on disk and has none.
    QCOMPARE(overall, QList({0, 166, 333, 666, 832, 999}));
    QCOMPARE(shown, QStringList({"Downloading Label of one.pkg... 30 30b/30b",
                                 "Downloading Label of three.pkg... 30 30b/30b"}));
    QCOMPARE(bytes->text(), "");
    QCOMPARE(wizard.installed(), names);
    QCOMPARE(contentsOf(wizard.downloads.filePath("one.pkg")), one);
    QCOMPARE(contentsOf(wizard.downloads.filePath("two.pkg")), QByteArray(size, '2'));
    QCOMPARE(wizard.downloads.entryList(QDir::Files).size(), 3);
    QVERIFY(!vendor.received.contains("two.pkg"));
    QCOMPARE(wizard.said(), {});
}

void tst_download::failedTransfer_data() {
    QTest::addColumn<QStringList>("queue"); // "none.pkg" is not on the server until it is missed
    QTest::addColumn<QMessageBox::StandardButton>("answer");
    QTest::addColumn<QStringList>("installed");
    const QStringList good{"good.pkg"};
    const QStringList none{"none.pkg"};
    QTest::newRow("Retry") << none + good << QMessageBox::Retry << QStringList{"none-1.pkg"} + good;
    QTest::newRow("Ignore") << none + good << QMessageBox::Ignore << good;
    QTest::newRow("Ignore the last") << good + none << QMessageBox::Ignore << good;
}

void tst_download::failedTransfer() {
    QFETCH(QStringList, queue);
    QFETCH(QMessageBox::StandardButton, answer);
    ZelTestWizard wizard;
    ZelVendor vendor;
    QVERIFY(vendor.start());
    vendor.addPackage("good.pkg", size);
    QByteArrayList products;
    for (const QString& name : queue) {
        products << product(name, vendor.packageUrl(name).toString());
        wizard.tellInstaller("exit 0");
    }
    wizard.offer(products);
    wizard.boxes.answers["downloadFailed"] = {answer};
    wizard.boxes.onShow = [&vendor](QMessageBox&) { vendor.addPackage("none.pkg", size); };
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);

    QCOMPARE(wizard.said(),
             {"Product download failed/the remote content was not found at the server (similar to "
              "HTTP error 404). Press Abort to exit, Retry or Ignore to try the next product"});
    const ZelSeenBox box = wizard.boxes.boxes[0];
    QCOMPARE(box.buttons, QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore);
    QCOMPARE(box.defaultButton, "Retry");
    QTEST(wizard.installed(), "installed");
}

void tst_download::endsTheProgram() {
    const auto statusOfQueue = [](ZelSandbox& wizard, const QString& name) {
        wizard.offer({product(name, "http://127.0.0.1:1/none")});
        wizard.boxes.answers["downloadFailed"] = {QMessageBox::Abort};
        return ZelWizardDriver::exitStatusOf([&wizard] { wizard.startQueue(); });
    };
    {
        ZelTestWizard aborted;
        QCOMPARE(statusOfQueue(aborted, "one.pkg"), -1);
        QCOMPARE(aborted.boxes.names(), {"downloadFailed"});
        QCOMPARE(aborted.installed(), {});
    }
    ZelTestWizard refused;
    const QString noFileName(300, 'x');
    QCOMPARE(statusOfQueue(refused, noFileName), 0);
    QCOMPARE(refused.said(),
             {"There Was An Error Downloading/While processingLabel of " + noFileName +
              ". If this error persists contact customer support. "
              "Press Ok to exit the application"});
}

// During the second of three products; each has a share of 333, the transfer half of that. From the
// bytes received and their total to the overall value, what is shown, and the end of the product's
// bar.
void tst_download::progress() {
    ZelTestWizard wizard;
    ZelServer server;
    zelWriteFile(wizard.downloads.filePath("guide.pdf"), QByteArray(size, '1'));
    wizard.offer({product("guide.pdf", server.url("none")), product("two", server.url("two")),
                  product("three", server.url("three"))});
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(server.requests, QStringList{"/two"});
    const auto* bar = wizard.find<QProgressBar>("productProgress");
    const auto run = [&](const QStringList& in) {
        QMetaObject::invokeMethod(wizard.window->currentPage(), "downloadProgress",
                                  Q_ARG(qint64, in[0].toLongLong()),
                                  Q_ARG(qint64, in[1].toLongLong()));
        return QString("%1 %2 %3")
            .arg(wizard.find<QProgressBar>("overallProgress")->value())
            .arg(wizard.find<QLabel>("byteCount")->text())
            .arg(bar->maximum());
    };
    zelCheckTable(R"(1000 | 2000 => 416 1000b/1.953KB 2000
        2000 | 2000 => 499 1.953KB/1.953KB 2000
        1 | -1 => 167 1b/-1b -1
        0 | 0 => 333 0b/0b 0
        4294968296 | 8589936592 => 416 4.000GB/8.000GB 2000
        1500 | 2000 => 457 1.465KB/1.953KB 2000)",
                  run);
    QCOMPARE(bar->minimum(), 0);
    QCOMPARE(bar->value(), 1500);
}

// From the numbers of the pictures there are to the turns they take; 0 is none.
void tst_download::picturesTakeTurns() {
    const auto run = [](const QStringList& in) {
        ZelTestWizard wizard;
        for (const QString& number : in[1].split(' '))
            wizard.addPicture("whileUWait-" + number + ".png", QColor(number.toInt(), 0, 0));
        wizard.walkTo(ZelMainWindow::Welcome);
        const auto* label = wizard.find<QLabel>("whileUWait");
        const int first = red(label->pixmap());
        QStringList turns{QString::number(first)};
        while (turns.size() < 6)
            turns << QString::number(
                red(qobject_cast<ZelDownload*>(wizard.window->page(ZelMainWindow::Download))
                        ->nextWUWPixmap()));
        if (!QTest::qWaitFor([&] { return red(label->pixmap()) != first; }))
            return QString("the pictures do not change by themselves");
        return turns.join(' ');
    };
    zelCheckTable(R"(gaps are skipped | 1 3 4 18 => 1 3 4 18 1 3
        gaps beyond 19 are not | 1 19 20 22 => 1 19 20 1 19 20
        no first picture | 2 3 => 2 3 0 2 3 0)",
                  run);
}

ZEL_TEST_MAIN(tst_download)
#include "tst_download.moc"
