#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelDownload.h"

#include <QLabel>
#include <QProgressBar>

class tst_download : public QObject {
    Q_OBJECT

private slots:
    void worksThroughTheQueue();
    void progress();
    void picturesTakeTurns();
};

namespace {

constexpr int size = 30;

// Of each kind of line that is the wizard's the first.
const char courseOfTheLog[] = R"log(
Welcome!
Selection
Doing assay...
Assay completed
Chose 6 to download
There are  0 hidden
message box "selectionIssues" answered QMessageBox::Ok "There were issues selecting products"N
Manifest:
"left.pkg" zel: true url: QUrl("http://N") buildid: "1"
building a list with QList(0, 1, 2, 3, 4, 5)
Adding  "left.pkg" with label  "Label of left.pkg"
We have enough space "N" to continue. Needed "300b"
Download
Download complete! 1
Download failed "the remote content was not found at the server (similar to HTTP error 404)"
Requesting retry after a failed download
Finished!
)log";

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

// Two packages are fetched, one is on disk, and two are not on the server.
void tst_download::worksThroughTheQueue() {
    ZelTestWizard wizard;
    ZelVendor vendor;
    QVERIFY(vendor.start());
    QByteArrayList products;
    const QStringList names{"one.pkg", "gone.pkg", "two.pkg", "three.pkg", "none.pkg"};
    products << product("left.pkg", vendor.packageUrl("left.pkg").toString());
    for (const QString& name : names) {
        products << product(name, vendor.packageUrl(name).toString());
        wizard.tellInstaller("exit 0");
    }
    const QByteArray one = vendor.addPackage("one.pkg", size);
    vendor.addPackage("three.pkg", size);
    zelWriteFile(wizard.downloads.filePath("two.pkg"), QByteArray(size, '2'));
    wizard.offer(products);
    wizard.boxes.answers["downloadFailed"] = {QMessageBox::Retry, QMessageBox::Ignore};

    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    const auto* status = wizard.find<QLabel>("downloadStatus");
    const auto* bytes = wizard.find<QLabel>("byteCount");
    const auto* bar = wizard.find<QProgressBar>("productProgress");
    QCOMPARE(status->text(), "Download/Installing");
    wizard.toggle(0);
    QList<int> overall;
    QStringList shown;
    connect(wizard.find<QProgressBar>("overallProgress"), &QProgressBar::valueChanged, status,
            [&](int value) { overall << value; });
    connect(bar, &QProgressBar::valueChanged, status, [&](int value) {
        shown << status->text() + QString(" %1 ").arg(value) + bytes->text();
    });
    wizard.boxes.onShow = [&](QMessageBox&) {
        QCOMPARE(bytes->text(), "");
        QCOMPARE(bar->value(), -1);
    };
    const QSignalSpy completed(wizard.window->page(ZelMainWindow::Download),
                               &QWizardPage::completeChanged);
    QVERIFY(wizard.startQueue());
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(completed.size(), 1);

    // A fifth each, half of it for the transfer, be it of an error's text. What is on disk has
    // none.
    QCOMPARE(overall, QList({0, 100, 200, 300, 200, 300, 400, 600, 700, 800, 900}));
    QCOMPARE(shown, QStringList({"Downloading Label of one.pkg... 30 30b/30b",
                                 "Downloading Label of gone.pkg... 26 26b/26b",
                                 "Downloading Label of gone.pkg... 26 26b/26b",
                                 "Downloading Label of three.pkg... 30 30b/30b",
                                 "Downloading Label of none.pkg... 26 26b/26b"}));
    QCOMPARE(bytes->text(), "");
    const QStringList good{"one.pkg", "two.pkg", "three.pkg"};
    QCOMPARE(wizard.installed(), good);
    QCOMPARE(contentsOf(wizard.downloads.filePath("one.pkg")), one);
    QCOMPARE(contentsOf(wizard.downloads.filePath("two.pkg")), QByteArray(size, '2'));
    QCOMPARE(wizard.downloads.entryList({"*.pkg"}).size(), 3);
    QCOMPARE(vendor.requests,
             QStringList({"/packages/one.pkg", "/packages/gone.pkg", "/packages/gone.pkg",
                          "/packages/three.pkg", "/packages/none.pkg"}));
    QCOMPARE(wizard.boxes.names(), QStringList(3, "downloadFailed"));

    static const QRegularExpression ours(
        "^(Welc|Sel|Doi|Assay|Chos|Ther|mes|Man|\"left|bui|Add|We|Do|Re|Fin)");
    static const QRegularExpression varying("127[^\"]*|[0-9.]+GB| \"Click.*");
    QStringList course;
    QStringList kinds;
    for (QString line : ZelLogCapture::lines().filter(ours)) {
        if (!kinds.contains(line.section(' ', 0, 1)))
            course << line.replace(varying, "N");
        kinds << line.section(' ', 0, 1);
    }
    QCOMPARE(course, QString(courseOfTheLog).trimmed().split('\n'));
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
                   .arg(bar->maximum()) +
               (bar->isTextVisible() ? "" : " without words");
    };
    zelCheckTable(R"(1000 | 2000 => 416 1000b/1.953KB 2000
        2000 | 2000 => 499 1.953KB/1.953KB 2000
        1 | -1 => 167 1b/-1b -1 without words
        0 | 0 => 333 0b/0b 0 without words
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
        nor is one at 19 | 1 18 20 => 1 18 1 18 1 18
        gaps beyond 19 are not | 1 19 20 22 => 1 19 20 1 19 20
        no first picture | 2 3 => 2 3 0 2 3 0)",
                  run);
}

ZEL_TEST_MAIN(tst_download)
#include "tst_download.moc"
