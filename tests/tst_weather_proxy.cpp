#include "core/ZelProxyText.h"
#include "drive/ZelTunnelProxy.h"
#include "support/ZelWeather.h"

#include <QNetworkAccessManager>
#include <QTimer>
#include <limits>

// What lies between the program and the vendor's server: a real proxy, or one that breaks tunnels.
class tst_weather_proxy : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    QTemporaryDir folder;

    // A package that does not fit into what the program's threads and sockets hold for a moment.
    static constexpr int packageSize = 736'000;

    // The package's outcome, over a connection of its own. When the first bytes are there, the
    // program's thread is held up until `closed` is released.
    QString fetch(const QUrl& url, QSemaphore* closed) {
        app->getNetworkManager()->clearConnectionCache();
        app->manifest.clear();
        app->manifest.emplace_back().Name = "p.pkg";
        app->manifest[0].DownloadURL = url;
        QString outcome = "hangs";
        QEventLoop loop;
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        const auto end = [&](const QString& reason) {
            outcome = reason;
            loop.quit();
        };
        connect(app, qOverload<int>(&ZelApp::finishedDownload), &loop, [end] { end("goes on"); });
        connect(app, &ZelApp::failedDownload, &loop, [end](auto reason) { end(reason); });
        QNetworkReply* reply = app->DownloadProduct(0);
        if (closed)
            connect(reply, &QNetworkReply::readyRead, &loop, [&, held = false]() mutable {
                if (!std::exchange(held, true))
                    closed->tryAcquire(1, 5000);
            });
        loop.exec();
        return outcome;
    }

private slots:
    void proxies_data() { zelWeatherRows("Proxies"); }
    void proxies();
};

void tst_weather_proxy::proxies() {
    const bool tls = zelWeather().contains("HTTPS");
    ZelVendor vendor;
    vendor.addPackage("p.pkg", packageSize);
    vendor.setManifest(zelManifestXml({zelProductXml("p.pkg", "P", 1, packageSize)}));
    const QString closing =
        QString(R"({"rules": [{"path": "/packages/*", "cut_at": %1}]})").arg(packageSize);
    QVERIFY(vendor.start(
        QStringList{"--weather", zelWriteFile(folder.filePath("closing"), closing.toUtf8())} +
        (tls ? zelSelfSigned(folder.path()).serverOptions() : QStringList())));

    // How the proxy breaks its tunnels: what it answers, or after how many bytes, and by a reset.
    static const QHash<QString, std::tuple<QByteArray, qint64, bool>> breaking{
        {"HTTPS, it closes when asked for a tunnel", {"", 0, false}},
        {"HTTPS, it resets when asked for a tunnel", {"", 0, true}},
        {"HTTPS, it breaks off its first line", {"HTTP/1.1 2", 0, false}},
        {"HTTPS, it asks for NTLM",
         {"HTTP/1.1 407 No\r\nProxy-Authenticate: NTLM\r\nContent-Length: 0\r\n\r\n", 0, false}},
        {"HTTPS, it closes in the middle", {{}, packageSize - 20'000, false}},
        {"HTTPS, it resets in the middle", {{}, packageSize - 20'000, true}},
        {"HTTPS, the server closes after the package",
         {{}, std::numeric_limits<qint64>::max(), false}}};
    std::unique_ptr<ZelTunnelProxy> tunnel;
    if (breaking.contains(zelWeather()))
        tunnel = std::apply([](auto... how) { return std::make_unique<ZelTunnelProxy>(how...); },
                            breaking[zelWeather()]);

    const quint16 port = tunnel ? tunnel->port : zelFreePort();
    const QString log = folder.filePath("log");
    zelWriteFile(log, "");
    const QString password = zelWeather().contains("password") ? "BasicAuth me secret\n" : "";
    const QString config =
        QString("Listen 127.0.0.1\nPort %1\nLogFile \"%2\"\nLogLevel Info\nMaxClients 20\n%3")
            .arg(port)
            .arg(log, password);
    QProcess tinyproxy;
    if (!tunnel)
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
    QTRY_VERIFY(tunnel || logged().contains("Accepting connections"));

    QString text = QString("127.0.0.1:%1").arg(port);
    if (zelWeather().contains("nobody listens"))
        text = QString("127.0.0.1:%1").arg(zelFreePort());
    else if (zelWeather().contains("no such host"))
        text = "nowhere.invalid:8080";
    QNetworkAccessManager* network = app->getNetworkManager();
    network->setProxy(ZelProxyFromText(text).value());
    app->scheme = tls ? "https" : "http";
    app->host = vendor.hostAndPort();

    ZelBoxDriver user; // accepts the certificate
    QString manifest;
    QObject context;
    connect(app, &ZelApp::validManifestReply, &context, [&] { manifest = "goes on"; });
    connect(app, &ZelApp::invalidManifestReply, &context, [&](auto reason) { manifest = reason; });
    app->RequestManifest(app->GetURL(ZelManifestLocation), "user", "pass", "osx");
    QTRY_VERIFY_WITH_TIMEOUT(!manifest.isEmpty(), 20000);
    QSemaphore* const closed = tunnel && manifest == "goes on" ? &tunnel->closed : nullptr;
    const QString package = fetch(vendor.packageUrl("p.pkg"), closed);
    const int requests =
        tunnel ? int(tunnel->requests) : int(logged().count("Request (file descriptor"));
    QTEST(manifest + " | " + package + " | " + QString::number(requests), "expected");
    for (int i = 1; tunnel && i < 20; ++i)
        QCOMPARE(fetch(vendor.packageUrl("p.pkg"), closed), package);
    if (tunnel)
        return;
    QCOMPARE(logged().contains("CONNECT 127.0.0.1"), tls && requests > 0);
    QCOMPARE(vendor.received.contains("currentproducts"), manifest == "goes on");
}

ZEL_TEST_MAIN(tst_weather_proxy)
#include "tst_weather_proxy.moc"
