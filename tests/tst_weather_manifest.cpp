#include "support/ZelWeather.h"

#include "core/ZelMachineAssay.h"
#include "wizard/ZelSelection.h"

#include <QNetworkAccessManager>
#include <QTimer>
#include <sys/resource.h>

// The list of products in bad weather, as the selection page takes it: what its boxes say, and how
// the program goes on.
class tst_weather_manifest : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();

    void serve(ZelVendor& vendor);

    // Enters the page and waits until it can be left or the program ends; what a user saw.
    QString visit() const;

private slots:
    void initTestCase() { ZelMachineAssay::Singleton()->profilerPath = "/nonexistent"; }

    void manifest_data() { zelWeatherRows("Product list"); }
    void manifest();
    void localFiles_data() { zelWeatherRows("Local product lists"); }
    void localFiles();
    void everyWeatherIsOnThePage();
};

// The most memory that this process has ever held, in kilobytes.
static qint64 peakMemory() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

QString tst_weather_manifest::visit() const {
    const ZelLogCapture log; // a refused list is logged whole
    ZelBoxDriver user;
    ZelSelection page(nullptr);
    connect(&page, &QWizardPage::completeChanged, &page, [&page] {
        if (page.isComplete()) // a program that has ended goes no further than this
            QTimer::singleShot(0, &page, zelStop);
    });
    bool waits = false;
    const int status = zelRun([&] {
        page.initializePage();
        if (zelWeather() != "manifest-stall")
            return;
        auto* reply = app->getNetworkManager()->findChild<QNetworkReply*>();
        waits = QTest::qWaitFor([reply] { return reply->bytesAvailable() == 2000; }) &&
                reply->isRunning() && user.boxes.isEmpty();
        reply->disconnect();
        reply->abort();
        zelStop();
    });
    if (waits)
        return "none | it waits until the program is closed";
    QString seen = "none";
    for (const ZelSeenBox& box : std::as_const(user.boxes)) {
        if (status != zelStopped) // else it is about this machine, which has no Maya
            seen = box.text + ": " + box.informativeText;
    }
    seen.replace("Could not get a product list from Corvane: ", "");
    return seen + " | " +
           (status == zelStopped ? QString("products offered: %1").arg(app->manifest.size())
                                 : QString("ends with status %1").arg(status));
}

void tst_weather_manifest::serve(ZelVendor& vendor) {
    QByteArrayList products;
    for (int i = 0; i < 20; ++i)
        products << zelProductXml(QString("Lumivex FarmServer %1.pkg").arg(i), "S", i, 1);
    vendor.setManifest(zelManifestXml(products));
    vendor.setAccounts("user\tpass\nshut\tpass\tThis account was closed.\n");
    QVERIFY(vendor.start(zelScenario(zelWeather())));
    app->user = "user";
    app->password = "pass";
    app->scheme = "http";
    app->host = vendor.hostAndPort();
}

void tst_weather_manifest::manifest() {
    ZelVendor vendor;
    serve(vendor);
    if (zelWeather() == "account closed")
        app->user = "shut";
    else if (zelWeather() == "wrong password")
        app->password = "no";
    else if (zelWeather() == "connection refused")
        app->host = QString("127.0.0.1:%1").arg(zelFreePort());
    else if (zelWeather() == "unknown host")
        app->host = "nowhere.invalid";
    else if (zelWeather() != "fair")
        QVERIFY2(!zelScenario(zelWeather()).isEmpty(), "a weather that nobody makes");
    const qint64 before = peakMemory();
    QTEST(visit(), "expected");
    if (zelWeather() != "manifest-huge")
        QVERIFY(peakMemory() - before < 500'000);
    QVERIFY(!vendor.received.contains("stolen")); // by an entity from outside
}

// The file that is added to the server's list, or takes its place.
void tst_weather_manifest::localFiles() {
    ZelVendor vendor;
    serve(vendor);
    const QTemporaryDir folder;
    const QByteArray sound = zelManifestXml({zelProductXml("local.pkg", "Local", 1, 1)});
    const QHash<QString, QString> files{
        {"sound", zelWriteFile(folder.filePath("sound"), sound)},
        {"missing", folder.filePath("missing")},
        {"a folder", folder.path()},
        {"empty", zelWriteFile(folder.filePath("empty"), "")},
        {"broken off", zelWriteFile(folder.filePath("broken"), sound.chopped(12))},
        {"something else", zelWriteFile(folder.filePath("else"), QByteArray(10'000, '\0'))},
    };
    const QString kind = zelWeather().section(", ", 1);
    QVERIFY(files.contains(kind));
    QString& file =
        zelWeather().startsWith("added, ") ? app->appendManifestFile : app->manifestFile;
    file = files[kind];
    const auto clear = qScopeGuard([&file] { file.clear(); });
    QTEST(visit(), "expected");
}

void tst_weather_manifest::everyWeatherIsOnThePage() {
    QFile page(ZEL_SOURCE_DIR "/docs/weather.md");
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QByteArray text = page.readAll();
    for (const QString& file : QDir(ZEL_SOURCE_DIR "/tools/weather").entryList({"*.json"}))
        QVERIFY2(text.contains("| `" + file.toUtf8().chopped(5) + "` |"), qPrintable(file));
}

ZEL_TEST_MAIN(tst_weather_manifest)
#include "tst_weather_manifest.moc"
