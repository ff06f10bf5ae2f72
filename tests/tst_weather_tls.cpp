#include "core/ZelTexts.h"
#include "support/ZelWeather.h"

#include <QNetworkAccessManager>
#include <QSslCertificate>
#include <QSslConfiguration>

// Servers whose certificates have faults: what the user is asked, and what either answer leads to.
class tst_weather_tls : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    QTemporaryDir folder;
    QString path(const QString& name) const { return folder.filePath(name); }

    // An authority of the test's own, and a server certificate that it signs.
    void makeAuthority() const;
    ZelCertificate issue(const QString& address, bool expired) const;
    ZelCertificate certificateFor(const QString& weather) const;

    // Asks for the product list, then for a package if it came; how each ended.
    QString ask();

private slots:
    void initTestCase() { makeAuthority(); }
    void certificates_data() { zelWeatherRows("Certificates"); }
    void certificates();
    void serverDiesWhileTheBoxIsOpen();
};

void tst_weather_tls::makeAuthority() const {
    zelSelfSigned(folder.path(), {"-subj", "/CN=Authority"});
    QFile::rename(path("certificate.pem"), path("authority.pem"));
    QFile::rename(path("key.pem"), path("authority.key"));
    zelWriteFile(path("index"), "");
    zelWriteFile(path("config"),
                 QString("[ca]\ndefault_ca = it\n[it]\ndatabase = %1/index\nnew_certs_dir = %1\n"
                         "certificate = %1/authority.pem\nprivate_key = %1/authority.key\n"
                         "default_md = sha256\nrand_serial = yes\nunique_subject = no\n"
                         "copy_extensions = copy\npolicy = any\n[any]\ncommonName = supplied\n")
                     .arg(folder.path())
                     .toUtf8());
}

ZelCertificate tst_weather_tls::issue(const QString& address, bool expired) const {
    const ZelCertificate made{path("leaf.pem"), path("leaf.key")};
    zelCommand("openssl",
               {"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=server", "-addext",
                "subjectAltName=IP:" + address, "-keyout", made.key, "-out", path("request")});
    QStringList dates{"-days", "2"};
    if (expired)
        dates = {"-startdate", "20200101000000Z", "-enddate", "20200201000000Z"};
    const QByteArray leaf =
        zelCommand("openssl", QStringList{"ca", "-batch", "-notext", "-config", path("config"),
                                          "-in", path("request")} +
                                  dates);
    QFile root(path("authority.pem"));
    if (!root.open(QIODevice::ReadOnly))
        qFatal("no authority");
    zelWriteFile(made.certificate, leaf + root.readAll());
    return made;
}

ZelCertificate tst_weather_tls::certificateFor(const QString& weather) const {
    if (weather.startsWith("self-signed") || weather == "redirect-to-http")
        return zelSelfSigned(folder.path(), weather == "self-signed, other host"
                                                ? QStringList{"-subj", "/CN=server"}
                                                : QStringList());
    return issue(weather.contains("other host") ? "10.1.2.3" : "127.0.0.1",
                 weather.contains("expired"));
}

QString tst_weather_tls::ask() {
    QObject context;
    QString outcome;
    const auto note = [&outcome](const QString& text) {
        outcome = text;
        zelStop();
    };
    connect(app, &ZelApp::validManifestReply, &context, [note] { note("goes on"); });
    connect(app, &ZelApp::invalidManifestReply, &context, note);
    connect(app, qOverload<int>(&ZelApp::finishedDownload), &context, [note] { note("goes on"); });
    connect(app, &ZelApp::failedDownload, &context, note);
    app->getNetworkManager()->clearConnectionCache();
    zelRun(
        [this] { app->RequestManifest(app->GetURL(ZelManifestLocation), "user", "pass", "osx"); });
    const QString manifestOutcome = outcome;
    app->manifest.clear();
    app->manifest.emplace_back().Name = "p.pkg";
    app->manifest[0].DownloadURL =
        app->GetURL(ZelManifestLocation).resolved(QUrl("/packages/p.pkg"));
    zelRun([this] { app->DownloadProduct(0); });
    return manifestOutcome == outcome ? outcome : manifestOutcome + "; " + outcome;
}

void tst_weather_tls::certificates() {
    const ZelCertificate certificate = certificateFor(zelWeather());
    ZelVendor vendor;
    vendor.addPackage("p.pkg", 5000);
    QVERIFY(vendor.start(certificate.serverOptions() + zelScenario(zelWeather())));
    app->scheme = "https";
    app->host = vendor.hostAndPort();

    QSslConfiguration trusting = QSslConfiguration::defaultConfiguration();
    const QSslConfiguration usual = trusting;
    const auto back = qScopeGuard([&] { QSslConfiguration::setDefaultConfiguration(usual); });
    if (zelWeather().startsWith("trusted"))
        trusting.addCaCertificates(path("authority.pem"));
    QSslConfiguration::setDefaultConfiguration(trusting);

    QStringList cells;
    QString question = "none";
    for (const auto answer : {QMessageBox::Ok, QMessageBox::Cancel}) {
        ZelBoxDriver user;
        user.answers["sslErrors"] = {answer};
        cells << ask();
        if (user.boxes.isEmpty())
            continue;
        QCOMPARE(user.boxes.size(), 2); // an answer holds for one reply
        QCOMPARE(user.boxes[0].text, "There was issue with the SSL connection. Continue anyway?");
        QCOMPARE(user.boxes[0].informativeText, user.boxes[1].informativeText);
        question = user.boxes[0].informativeText;
        if (!user.boxes[0].detailedText.isEmpty())
            question += ": " + user.boxes[0].detailedText;
    }
    QTEST((QStringList(question) + cells).join(" | "), "expected");
    for (const QString& name : app->GetDownloadDir()->entryList({"*.pkg"}))
        QCOMPARE(QFileInfo(app->GetDownloadDir()->filePath(name)).size(), 5000);
}

void tst_weather_tls::serverDiesWhileTheBoxIsOpen() {
    const ZelCertificate certificate = zelSelfSigned(folder.path());
    ZelVendor vendor;
    QVERIFY(vendor.start(certificate.serverOptions()));
    app->scheme = "https";
    app->host = vendor.hostAndPort();
    ZelBoxDriver user;
    user.answers["sslErrors"] = {QMessageBox::Ok};
    user.onShow = [&vendor](QMessageBox&) { vendor.stop(); };
    const QString outcome = ask();
    QCOMPARE(user.boxes.size(), 1);
    QCOMPARE(outcome, "Unknown manifest Validation; " +
                          ZelNetworkError(QNetworkReply::ConnectionRefusedError));
}

ZEL_TEST_MAIN(tst_weather_tls)
#include "tst_weather_tls.moc"
