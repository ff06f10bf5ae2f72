#include "core/ZelTexts.h"
#include "support/ZelWeather.h"

#include "core/ZelProxyText.h"

#include <QNetworkAccessManager>

// What lies between the program and the vendor's server: a real proxy.
class tst_weather_proxy : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    QTemporaryDir folder;

private slots:
    void proxies_data() { zelWeatherRows("Proxies"); }
    void proxies();
};

void tst_weather_proxy::proxies() {
    const bool tls = zelWeather().contains("HTTPS");
    ZelVendorProcess vendor;
    vendor.addPackage("p.pkg", 5000);
    vendor.setManifest(zelManifestXml({zelProductXml("p.pkg", "P", 1, 5000)}));
    QVERIFY(vendor.start(tls ? zelSelfSigned(folder.path()).serverOptions() : QStringList()));

    const quint16 port = zelFreePort();
    const QString log = folder.filePath("log");
    zelWriteFile(log, "");
    const QString password = zelWeather().contains("password") ? "BasicAuth me secret\n" : "";
    const QString config =
        QString("Listen 127.0.0.1\nPort %1\nLogFile \"%2\"\nLogLevel Info\nMaxClients 20\n%3")
            .arg(port)
            .arg(log, password);
    QProcess tinyproxy;
    tinyproxy.start("tinyproxy",
                    {"-d", "-c", zelWriteFile(folder.filePath("config"), config.toUtf8())});
    const auto end = qScopeGuard([&tinyproxy] {
        tinyproxy.terminate();
        tinyproxy.waitForFinished();
    });
    const auto logged = [&log] {
        QFile file(log);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QTRY_VERIFY(logged().contains("Accepting connections"));

    QString text = QString("127.0.0.1:%1").arg(port);
    if (zelWeather().contains("nobody listens"))
        text = QString("127.0.0.1:%1").arg(zelFreePort());
    else if (zelWeather().contains("no such host"))
        text = "nowhere.invalid:8080";
    QNetworkAccessManager* network = app->getNetworkManager();
    network->setProxy(ZelProxyFromText(text).value());
    network->clearConnectionCache();
    app->scheme = tls ? "https" : "http";
    app->host = vendor.hostAndPort();

    ZelBoxDriver user; // accepts the certificate
    QString manifest;
    QString package;
    QObject context;
    connect(app, &ZelApp::validManifestReply, &context, [&] { manifest = "goes on"; });
    connect(app, &ZelApp::invalidManifestReply, &context, [&](auto reason) { manifest = reason; });
    connect(app, qOverload<int>(&ZelApp::finishedDownload), &context, [&] { package = "goes on"; });
    connect(app, &ZelApp::failedDownload, &context, [&](auto reason) { package = reason; });
    app->RequestManifest(app->GetURL(ZelManifestLocation), "user", "pass", "osx");
    QTRY_VERIFY_WITH_TIMEOUT(!manifest.isEmpty(), 20000);
    app->manifest.clear();
    app->manifest.emplace_back().Name = "p.pkg";
    app->manifest[0].DownloadURL = vendor.packageUrl("p.pkg");
    QVERIFY(app->DownloadProduct(0));
    QTRY_VERIFY_WITH_TIMEOUT(!package.isEmpty(), 20000);
    const int requests = int(logged().count("Request (file descriptor"));
    QTEST(manifest + " | " + package + " | " + QString::number(requests), "expected");
    QCOMPARE(logged().contains("CONNECT 127.0.0.1"), tls && requests > 0);
    QCOMPARE(vendor.requestLog().contains("currentproducts"), manifest == "goes on");
}

ZEL_TEST_MAIN(tst_weather_proxy)
#include "tst_weather_proxy.moc"
