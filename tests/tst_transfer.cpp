#include "core/ZelTexts.h"
#include "drive/ZelFailingDisk.h"
#include "support/ZelWeather.h"
#include "wizard/ZelMainWindow.h"

#include <QNetworkAccessManager>
#include <cerrno>

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

    // Works through the download list; the user answers with `answers` when a transfer fails.
    // `afterStart` runs while the first transfer is on its way, and may press Back.
    static int walk(ZelBoxDriver& user, const QList<QMessageBox::StandardButton>& answers,
                    const std::function<void(QObject* page)>& afterStart) {
        user.boxes.clear();
        user.answers = {{"downloadFailed", answers}, {"backDuringDownload", {QMessageBox::Ok}}};
        ZelMainWindow window;
        window.setStartId(ZelMainWindow::Download);
        connect(&window, &QWizard::currentIdChanged, &window, [](int page) {
            if (page > ZelMainWindow::Download)
                zelStop();
        });
        return zelRun([&] {
            window.restart();
            afterStart(window.page(ZelMainWindow::Download));
        });
    }

    // Waits until the server has fallen silent after so many bytes, then presses Back.
    static void goBackAfter(qint64 bytes, QObject* page) {
        ZelApp* app = ZelApp::instance();
        const auto* reply = app->getNetworkManager()->findChild<QNetworkReply*>();
        const auto isSilent = [=] {
            return reply->hasRawHeader("Content-Length") && app->manifest[0].file->pos() == bytes;
        };
        if (QTest::qWaitFor(isSilent) && reply->isRunning()) {
            QMetaObject::invokeMethod(page, "back", Q_ARG(bool, false));
            zelStop();
        }
    }

    // Four products, of which the server lacks the second.
    void offerFour(ZelVendor& vendor) {
        downloads.removeRecursively();
        QVERIFY(downloads.mkpath("."));
        vendor.addPackage("big.pkg", packageSize);
        vendor.addPackage("empty.pkg", 0);
        vendor.addPackage("small.pkg", 5000);
        QVERIFY(vendor.start());
        app->manifest.clear();
        for (const char* name : {"big.pkg", "missing.pkg", "empty.pkg", "small.pkg"}) {
            app->manifest.emplace_back().Name = name;
            app->manifest.last().DownloadURL = vendor.packageUrl(name);
        }
    }

private slots:
    // The next transfer starts inside the slot that hears of the last one's end.
    void oneAfterAnother() {
        ZelVendor vendor;
        offerFour(vendor);
        QObject page;
        QStringList outcomes;
        connect(app, qOverload<int>(&ZelApp::finishedDownload), &page, [&](int index) {
            outcomes << QString::number(index);
            app->DownloadProduct(index + 1);
        });
        connect(app, &ZelApp::failedDownload, &page, [&](const QString& reason, int index) {
            outcomes << QString::number(index) + ' ' + reason;
            app->DownloadProduct(index + 1);
        });
        const ZelLogCapture log;
        app->downloadReadyRead(); // with no transfer
        app->manifest[1].downloaded = true;
        for (int index : {-1, 4, 1})
            QVERIFY(!app->DownloadProduct(index));
        app->manifest[1].downloaded = false;
        const QPointer<QNetworkReply> reply = app->DownloadProduct(0);
        QVERIFY(reply && !app->DownloadProduct(2));
        const QSharedPointer<QFile> file = QList(app->manifest)[0].file; // copies share it
        QTRY_COMPARE(outcomes.size(), 4);
        const QString missing = ZelNetworkError(QNetworkReply::ContentNotFoundError);
        QCOMPARE(outcomes, QStringList({"0", "1 " + missing, "2", "3"}));
        const auto from = [this](int index) {
            return QString("downloading  \"%1\" from QUrl(\"%2\")")
                .arg(app->manifest[index].Name, app->manifest[index].DownloadURL.toString());
        };
        QCOMPARE(
            log.lines().filter(QRegularExpression("^[^L]")),
            QStringList({"\"error in download reply\"", "index out of range in Download  -1",
                         "index out of range in Download  4",
                         "Asked to download  \"missing.pkg\"  again", from(0),
                         "Already downloading something 2", "finished download 0", from(1),
                         "finished download 1", '"' + missing + '"', from(2), "finished download 2",
                         from(3), "finished download 3", "index out of range in Download  4"}));
        QCOMPARE(file->fileName(), downloads.filePath("big.pkg"));
        QVERIFY(file == app->manifest[0].file && !file->isOpen() && !app->manifest[1].file);
        QVERIFY(!app->manifest[0].downloaded);
        QTRY_VERIFY(!reply);
    }

    void unexpectedEnds() {
        ZelVendor vendor;
        offerFour(vendor);
        const QSignalSpy failed(app, &ZelApp::failedDownload);
        app->finishedDownload(
            app->getNetworkManager()->get(QNetworkRequest(vendor.packageUrl(""))));
        QVERIFY(app->DownloadProduct(3));
        app->manifest[3].file.reset();
        QTRY_COMPARE(failed.size(), 2);
        QNetworkReply* reply = app->DownloadProduct(0);
        qint64 bound = 0;
        connect(reply, &QNetworkReply::readyRead, reply, [&, reply] {
            bound = reply->readBufferSize();
            app->manifest.clear(); // as a new sign-in does
            reply->abort();
        });
        QTRY_COMPARE(failed.size(), 3);
        QCOMPARE(failed[0], QVariantList({"wrong reply", -1}));
        QCOMPARE(failed[1], QVariantList({ZelFileError(QFile::OpenError), 3}));
        QCOMPARE(failed[2], QVariantList({"index out of range in Download", 0}));
        QCOMPARE(bound, 512 * 1024);
    }

    void packages_data() { zelWeatherRows("Packages"); }
    void packages();
};

void tst_transfer::packages() {
    const QString weather = zelWeather();
    downloads.removeRecursively();
    QVERIFY(downloads.mkpath("."));
    ZelVendor vendor;
    const QByteArray package = vendor.addPackage("p.pkg", packageSize);
    QVERIFY(vendor.start(zelScenario(weather)));

    app->runInstallers = false;
    app->downloadList = {0};
    app->manifest.clear();
    app->manifest.emplace_back().Name = "p.pkg";
    app->manifest[0].SimpleName = "Package";
    app->manifest[0].FileSize = packageSize;
    app->manifest[0].DownloadURL = vendor.packageUrl("p.pkg");

    const QByteArray folderName = downloads.path().toUtf8();
    const char* const folder = folderName.constData();
    const auto undo = qScopeGuard([] { zelFailDisk(nullptr, 0, 0, nullptr); });
    std::function<void(QObject*)> afterStart = [](QObject*) {};
    const QHash<QString, std::function<void()>> others{
        {"fair", [] {}},
        {"two products of one name",
         [&] {
             app->manifest << app->manifest[0];
             app->downloadList << 1;
         }},
        {"connection refused", [&] { app->manifest[0].DownloadURL.setPort(zelFreePort()); }},
        {"unknown host", [&] { app->manifest[0].DownloadURL.setHost("nowhere.invalid"); }},
        {"address of no known kind", [&] { app->manifest[0].DownloadURL.setScheme("gopher"); }},
        {"disk that cannot be written to", [&] { zelFailDisk("open", 1, EROFS, folder); }},
        {"the name is too long", [&] { app->manifest[0].Name = QString(300, 'p') + ".pkg"; }},
        {"disk full in the middle", [&] { zelFailDisk("write", 60, ENOSPC, folder); }},
        {"disk full with the last bytes",
         [&] {
             vendor.addPackage("p.pkg", 10000); // one write
             zelFailDisk("write", 1, ENOSPC, folder);
         }},
        {"lost writes are told on closing", [&] { zelFailDisk("close", 1, EIO, folder); }},
        {"renaming fails", [&] { zelFailDisk("rename", 1, EIO, folder); }},
        {"renaming knows no refusal", [&] { zelFailDisk("rename", 1, EINVAL, folder); }},
        {"nor are there links", [&] { zelFailDisk("link", 1, ENOTSUP, folder); }},
        {"the unfinished file vanishes",
         [&] { afterStart = [this](QObject*) { downloads.remove("p.pkg.zeldownload"); }; }},
        {"final name taken meanwhile",
         [&] {
             afterStart = [this](QObject*) {
                 zelWriteFile(downloads.filePath("p.pkg"), "another's");
             };
         }},
    };
    if (zelScenario(weather).isEmpty())
        QVERIFY2(others.contains(weather), "a weather that nobody makes");
    others.value(weather, [] {})();
    if (weather.startsWith("stall")) {
        const qint64 bytes = weather == "stall" ? 1'500'000 : 0;
        afterStart = [bytes](QObject* page) { goBackAfter(bytes, page); };
    }

    ZelBoxDriver user;
    const int status = walk(user, {QMessageBox::Retry, QMessageBox::Ignore}, afterStart);
    const QString left = files(package);
    QString seen = "none";
    for (const ZelSeenBox& box : std::as_const(user.boxes))
        seen = box.text + ": " + box.informativeText;
    seen.replace("Product download failed: ", "");
    seen.replace(". Press Abort to exit, Retry or Ignore to try the next product", "");
    seen.replace(downloads.path(), "FOLDER");
    if (user.names() == QStringList("backDuringDownload"))
        seen = "none until Back is pressed";
    QTEST(seen + " | " + left, "expected");

    const bool refused = user.names().contains("downloadRefused");
    QCOMPARE(status, refused ? 0 : zelStopped);
    if (user.names().contains("downloadFailed")) {
        const int aborted = walk(user, {QMessageBox::Abort}, [](QObject*) {});
        QCOMPARE(aborted, user.boxes.isEmpty() ? zelStopped : -1);
    }
}

ZEL_TEST_MAIN(tst_transfer)
#include "tst_transfer.moc"
