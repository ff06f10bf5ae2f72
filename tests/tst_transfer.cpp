#include "core/ZelDownloadFolder.h"
#include "drive/ZelFailingDisk.h"
#include "support/ZelTestSupport.h"

#include <QNetworkAccessManager>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

// Stands in front of the C library's own: this folder cannot be written to, not even by root.
extern "C" int access(const char* path, int mode) noexcept {
    if (mode == W_OK && QByteArray(path).contains("/locked")) {
        errno = EACCES;
        return -1;
    }
    return faccessat(AT_FDCWD, path, mode, 0);
}

// Of the transfers that follow each other below, one a line.
static const char courseOfTheLog[] = R"log(
"error in download reply"; index out of range in Download  -1; index out of range in Download  7; Asked to download  "missing.pkg"  again
downloading  "big" from QUrl("/packages/big.pkg"); Already downloading something 2; bound 0 524288; finished download 0; done größe.pkg false false
downloading  "missing" from QUrl("/packages/missing.pkg"); bound 1 524288; finished download 1; "the remote content was not found at the server (similar to HTTP error 404)"; failed 1 the remote content was not found at the server (similar to HTTP error 404) true
downloading  "empty" from QUrl("/packages/empty.pkg"); finished download 2; done empty.pkg false false
downloading  "more" from QUrl("/packages/more.pkg"); bound 3 524288; finished download 3; "the remote server closed the connection prematurely, before the entire reply was received and processed"; failed 3 the remote server closed the connection prematurely, before the entire reply was received and processed true
downloading  "lost" from QUrl("/packages/lost.pkg"); data ready but no file; bound 4 524288; finished download 4; failed 4 The file could not be opened. true
downloading  "coded" from QUrl("/packages/coded.pkg"); bound 5 524288; finished download 5; failed 5 the remote server closed the connection prematurely, before the entire reply was received and processed true
downloading  "left" from QUrl("/packages/left.pkg"); bound 6 524288; finished download 6; index out of range in Download  6; failed 6 index out of range in Download true; finished download -1; wrong reply!; failed -1 wrong reply true; index out of range in Download  0
)log";

// How a package gets to disk, and under which name.
class tst_transfer : public QObject {
    Q_OBJECT

    static constexpr int packageSize = 2'000'000;

    ZelApp* app = ZelApp::instance();
    QDir downloads = *app->GetDownloadDir();

    // What lies in the download folder. A file with a final name counts as the package only when it
    // is that, byte for byte.
    QString files(const QByteArray& package) const {
        QStringList seen;
        for (const QFileInfo& info : downloads.entryInfoList(QDir::Files, QDir::Name)) {
            seen << info.fileName();
            QFile file(info.filePath());
            if (info.suffix() == "zeldownload")
                continue;
            if (info.size() != package.size())
                seen.last() += QString(", %1 bytes").arg(info.size());
            else if (!file.open(QIODevice::ReadOnly) || file.readAll() != package)
                seen.last() += " (broken)";
        }
        return seen.isEmpty() ? "nothing" : seen.join("; ");
    }

private slots:
    void folder() {
        const QTemporaryDir place;
        const QDir root(place.path());
        QVERIFY(root.mkpath("free/Downloads") && root.mkpath("locked/Downloads"));
        zelWriteFile(root.filePath("file/Downloads"), "");
        const auto run = [&](const QStringList& in) {
            const ZelEnvironment home("HOME", root.filePath(in[0]).toUtf8());
            const ZelEnvironment temp("TMPDIR", root.filePath(in[1]).toUtf8());
            const ZelLogCapture log;
            const QString folder = ZelChooseDownloadFolder().path();
            return (QStringList(folder) + log.lines()).join(' ').remove(root.path());
        };
        zelCheckTable(R"(free | locked => /free/Downloads
            file | free => /free No ~/Downloads dir "/file/Downloads" Trying temp
            locked | locked => . No ~/Downloads dir "/locked/Downloads" Trying temp No temp, using . for downloads)",
                      run);
        const ZelEnvironment home("HOME", root.filePath("free").toUtf8());
        QCOMPARE(*app->GetDownloadDir(), downloads); // decided once, whatever follows
    }

    // From a name and what is in the folder to the final name; the way there ends in the suffix.
    void names() {
        const auto run = [](const QStringList& in) {
            const QTemporaryDir folder;
            for (const QString& file : in[1].split(' '))
                QFile::link("/absent", folder.filePath(file)); // counts as taken, like a file
            const QString temp = ZelFreeTempPath(QDir(folder.path()), in[0]);
            const QString end = ZelFinalNameFromTempName(temp);
            return temp == end + ".zeldownload" ? end.mid(folder.path().size() + 1) : temp;
        };
        zelCheckTable(R"(L-21.0.pkg | => L-21.0.pkg
            L-21.0.pkg | L-21.0.pkg => L-21.0-1.pkg
            L-21.0.pkg | L-21.0.pkg.zeldownload L-21.0-1.pkg => L-21.0-2.pkg
            README | README. => README-1.
            a.b.PKG | a.b.PKG => a.b-1.PKG
            größe 1.pkg | => größe 1.pkg
            ../../etc/a.pkg | => a.pkg
            .. | => -1.)",
                      run);
    }

    void everythingTaken() {
        const QTemporaryDir place;
        const QString before = QDir::currentPath();
        const auto back = qScopeGuard([&before] { QDir::setCurrent(before); });
        QVERIFY(QDir::setCurrent(place.path()) && QDir().mkdir("full"));
        const ZelLogCapture log;
        for (int i = 0; i < 9999; ++i)
            QFile::link("/absent", i ? QString("full/a-%1.pkg").arg(i) : "full/a.pkg");
        const QString last = QDir("full").absoluteFilePath("a-9999.pkg");
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), last + ".zeldownload");
        QFile::link("/absent", last);
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), QString("zel-0.pkg.zeldownload"));
        QCOMPARE(ZelFinalNameFromTempName("zel-0.pkg.zeldownload"), QString("./zel-0.pkg"));
        for (int i = 0; i < 10000; ++i)
            QFile::link("/absent", QString("zel-%1.pkg").arg(i));
        QCOMPARE(ZelFreeTempPath(QDir("full"), "a.pkg"), QString("unkown.zeldownload"));
        QCOMPARE(ZelFinalNameFromTempName("d/a.zeldownload.pkg"), QString("d/a.zeldownload.pkg"));
        QCOMPARE(log.lines().mid(1).join('\n'),
                 QString("Failed to find unique name for  \"a.pkg\"\n"
                         "getFinalNameFromTempName: Unexpected name \"d/a.zeldownload.pkg\""));
    }

    void existingDownload() {
        app->manifest = {ZelManifestElement()};
        ZelManifestElement& element = app->manifest[0];
        element.SimpleName = "A";
        element.Name = "../a.pkg"; // never looked for outside
        element.FileSize = 5;
        const auto run = [&](const QStringList& in) {
            cleanup();
            zelWriteFile(downloads.filePath(in[0]), in[1].toUtf8());
            app->CheckForDownload(0);
            return element.downloaded ? element.file->fileName().remove(downloads.path()) : "none";
        };
        zelCheckTable(
            "a.pkg | 1234 => none \n a.pkg | 123456 => none \n a-1.pkg | 12345 => none \n "
            "a.pkg.zeldownload | 12345 => none",
            run);
        run({"a.pkg/x", ""}); // a folder of the size that the package should have
        element.FileSize = QFileInfo(downloads.filePath("a.pkg")).size();
        app->CheckForDownload(0);
        QVERIFY(!element.downloaded);
        element.FileSize = 5;
        const ZelLogCapture log;
        zelCheckTable("a.pkg | 12345 => /a.pkg", run);
        QCOMPARE(app->getDownloadPath(0), downloads.filePath("a-1.pkg.zeldownload"));
        app->CheckForDownload(1);
        QCOMPARE(app->getDownloadPath(-1), QString("unkown.zeldownload"));
        QCOMPARE(log.lines(),
                 QStringList({"Looking for download of \"" + downloads.filePath("a.pkg") + '"',
                              "Found existing download", "index out of range in CheckForDownload 1",
                              "index out of range in getDownloadPath -1"}));
    }

    // The next transfer starts inside the slot that hears of the last one's end. Something befalls
    // most of them, and in the end comes a reply that is none.
    void oneAfterAnother() {
        ZelVendor vendor;
        vendor.addPackage("big.pkg", packageSize);
        vendor.addPackage("empty.pkg", 0);
        for (const char* name : {"more.pkg", "lost.pkg", "coded.pkg", "left.pkg"})
            vendor.addPackage(name, 5000);
        const QByteArray weather =
            R"({"rules": [{"path": "/packages/coded.pkg", "headers": {"Content-Encoding": "other"}}]})";
        QVERIFY(vendor.start({"--weather", zelWriteFile(vendor.folder() + "/weather", weather)}));
        app->manifest.clear();
        for (const QString& name : QString("big missing empty more lost coded left").split(' ')) {
            app->manifest.emplace_back().Name = name + ".pkg";
            app->manifest.last().SimpleName = name;
            app->manifest.last().DownloadURL = vendor.packageUrl(name + ".pkg");
        }
        app->manifest[5].FileSize = 5001;
        app->manifest[0].Name = "größe.pkg";
        const ZelLogCapture log;
        app->downloadReadyRead(); // with no transfer
        app->manifest[1].downloaded = true;
        for (int index : {-1, 7, 1})
            QVERIFY(!app->DownloadProduct(index));
        app->manifest[1].downloaded = false;

        QPointer<QNetworkReply> reply;
        const auto next = [&](int index) {
            reply = app->DownloadProduct(index);
            if (!reply || app->DownloadProduct(2))
                return;
            if (index == 4)
                app->manifest[4].file.reset();
            connect(reply, &QNetworkReply::readyRead, reply, [this, index, running = reply.get()] {
                qDebug() << "bound" << index << running->readBufferSize();
                if (index == 3)
                    app->manifest[3].file->write("+");
                if (index == 6) {
                    app->manifest.clear(); // as a new sign-in does
                    running->abort();
                }
            });
        };
        QObject page;
        connect(app, qOverload<int>(&ZelApp::finishedDownload), &page, [&](int index) {
            const ZelManifestElement& element = app->manifest[index];
            qDebug().noquote() << "done" << QFileInfo(*element.file).fileName()
                               << element.file->isOpen() << element.downloaded;
            next(index + 1);
        });
        connect(app, &ZelApp::failedDownload, &page, [&](const QString& reason, int index) {
            qDebug().noquote() << "failed" << index << reason << !app->manifest.value(index).file;
            next(index + 1);
        });
        next(0);
        QTRY_COMPARE(log.lines().count("index out of range in Download  7"), 2);
        const QPointer<QNetworkReply> foreign =
            app->getNetworkManager()->get(QNetworkRequest(vendor.packageUrl("none")));
        app->finishedDownload(foreign);
        QStringList course = log.lines().replaceInStrings(vendor.address(), "");
        course.removeDuplicates();
        QCOMPARE(course.join("; ").replace("; downloading", "\ndownloading"),
                 QString(courseOfTheLog).trimmed());
        QTRY_VERIFY(!foreign && !reply);
    }

    void packages_data() { zelWeatherRows("Packages"); }
    void packages() {
        const QString weather = QTest::currentDataTag();
        ZelVendor vendor;
        const QByteArray package = vendor.addPackage("p.pkg", packageSize);
        QVERIFY(vendor.start(zelScenario(weather)));
        ZelTestWizard wizard;
        app->runInstallers = false;

        QString name = "p.pkg";
        QUrl url = vendor.packageUrl("p.pkg");
        bool twice = false;
        qint64 silentAfter = -1; // bytes, then Back is pressed
        std::function<void()> afterStart = [] {};
        const QHash<QString, std::function<void()>> ways{
            {"fair", [] {}},
            {"stall", [&] { silentAfter = 1'500'000; }},
            {"stall-before-body", [&] { silentAfter = 0; }},
            {"two products of one name", [&] { twice = true; }},
            {"connection refused", [&] { url.setPort(1); }},
            {"unknown host", [&] { url.setHost("nowhere.invalid"); }},
            {"address of no known kind", [&] { url.setScheme("gopher"); }},
            {"the name is too long", [&] { name.prepend(QString(300, 'p')); }},
            {"the unfinished file vanishes",
             [&] { afterStart = [&] { wizard.downloads.remove("p.pkg.zeldownload"); }; }},
            {"final name taken meanwhile",
             [&] { afterStart = [&] { zelWriteFile(downloads.filePath("p.pkg"), "another's"); }; }},
        };
        // The call that fails, from the so-many-th on, and the error.
        static const QHash<QString, std::tuple<const char*, int, int>> disks{
            {"disk that cannot be written to", {"open", 1, EROFS}},
            {"disk full in the middle", {"write", 60, ENOSPC}},
            {"disk full with the last bytes", {"write", 1, ENOSPC}},
            {"lost writes are told on closing", {"close", 1, EIO}},
            {"renaming fails", {"rename", 1, EIO}},
            {"renaming knows no refusal", {"rename", 1, EINVAL}},
            {"nor are there links", {"link", 1, ENOTSUP}}};
        const QByteArray place = downloads.path().toUtf8();
        const auto undo = qScopeGuard([] { zelFailDisk(nullptr, 0, 0, nullptr); });
        const auto [call, count, error] = disks.value(weather);
        zelFailDisk(call, count, error, place.constData());
        if (weather == "disk full with the last bytes")
            vendor.addPackage("p.pkg", 10000); // one write
        QVERIFY2(call || ways.contains(weather) || !zelScenario(weather).isEmpty(),
                 "nobody makes it");
        ways.value(weather, [] {})();

        const QByteArray product = zelProductXml(name, "Package", 1, packageSize, url.toString());
        wizard.offer(QByteArrayList(twice ? 2 : 1, product));
        constexpr int leftThePage = 1;
        const auto walk = [&](const QList<QMessageBox::StandardButton>& answers) {
            wizard.boxes.answers = {{"downloadFailed", answers},
                                    {"backDuringDownload", {QMessageBox::Ok}}};
            wizard.window.reset();
            const auto start = [&] {
                wizard.startQueue();
                connect(wizard.window.get(), &QWizard::currentIdChanged,
                        [] { QApplication::exit(leftThePage); });
                std::exchange(afterStart, [] {})();
                const auto* reply = app->getNetworkManager()->findChild<QNetworkReply*>();
                const auto isSilent = [&] {
                    return reply->hasRawHeader("Content-Length") &&
                           app->manifest[0].file->pos() == silentAfter;
                };
                if (silentAfter >= 0 && QTest::qWaitFor(isSilent) && reply->isRunning())
                    wizard.press(QWizard::CustomButton1);
            };
            return ZelWizardDriver::exitStatusOf(start, 60000);
        };
        const int status = walk({QMessageBox::Retry, QMessageBox::Ignore});
        QString seen = "none";
        for (const ZelSeenBox& box : std::as_const(wizard.boxes.boxes))
            seen = box.text + ": " + box.informativeText;
        seen.replace("Product download failed: ", "");
        seen.replace(". Press Abort to exit, Retry or Ignore to try the next product", "");
        seen.replace(downloads.path(), "FOLDER");
        if (wizard.boxes.names() == QStringList("backDuringDownload"))
            seen = "none until Back is pressed";
        QTEST(seen + " | " + files(package), "expected");
        QCOMPARE(status, wizard.boxes.names().contains("downloadRefused") ? 0 : leftThePage);
        if (wizard.boxes.names().contains("downloadFailed")) {
            const int aborted = walk({QMessageBox::Abort});
            QCOMPARE(aborted, wizard.boxes.boxes.isEmpty() ? leftThePage : -1);
        }
    }

    void cleanup() {
        downloads.removeRecursively();
        downloads.mkpath(".");
    }
};

ZEL_TEST_MAIN(tst_transfer)
#include "tst_transfer.moc"
