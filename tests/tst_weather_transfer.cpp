#include "support/ZelFailingDisk.h"
#include "support/ZelWeather.h"
#include "wizard/ZelMainWindow.h"

#include <QNetworkAccessManager>
#include <cerrno>

// Packages that come through bad weather, as the download page takes them.
class tst_weather_transfer : public QObject {
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

private slots:
    void packages_data() { zelWeatherRows("Packages"); }
    void packages();
};

void tst_weather_transfer::packages() {
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

ZEL_TEST_MAIN(tst_weather_transfer)
#include "tst_weather_transfer.moc"
