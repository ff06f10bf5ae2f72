#include "support/ZelWeather.h"

#include <QTcpServer>

// The whole program as a process of its own, walking its road.
class tst_weather_road : public QObject {
    Q_OBJECT

    static constexpr char password[] = "paint & brush"; // the one that the walker types
    const QString tools = ZEL_SOURCE_DIR "/tools";
    QTemporaryDir packages; // those of the sample catalogue

    // A machine with a home directory, and the program walking there.
    struct Road {
        QTemporaryDir folder;
        QProcess program;

        QDir downloads() const { return QDir(folder.filePath("Downloads")); }
        qint64 sizeOf(const QString& name) const {
            return QFileInfo(downloads().filePath(name)).size();
        }
        void start(const QString& hostAndPort);
        bool arrives();
    };

    bool serve(ZelVendor& vendor, const QByteArray& weather, const QString& packageServer);
    void checkPackages(const Road& road) const;

private slots:
    void initTestCase() {
        zelCommand(tools + "/catalogue/make-packages",
                   {tools + "/catalogue/manifest.xml", packages.path()});
    }

    void killed_data();
    void killed();
    void throughNginx();
};

void tst_weather_road::Road::start(const QString& hostAndPort) {
    const QString tools = ZEL_SOURCE_DIR "/tools";
    downloads().mkpath(".");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    for (const char* variable : {"HOME", "XDG_RUNTIME_DIR", "TMPDIR"})
        environment.insert(variable, folder.path());
    environment.insert("PATH", tools + "/standins/bin:" + environment.value("PATH"));
    environment.insert("ZEL_STANDIN_LOG", folder.filePath("installed"));
    environment.insert("LUMITREE", tools + "/standins/products/Lumivex FarmServer-21.0");
    program.setProcessEnvironment(environment);
    program.setStandardOutputFile(folder.filePath("output"));
    program.setStandardErrorFile(folder.filePath("log"));
    program.start(ZEL_ROAD_PROGRAM,
                  {"--profiler", tools + "/standins/bin/system_profiler", "--shots",
                   folder.filePath("pictures"), "-debugserver", hostAndPort});
}

bool tst_weather_road::Road::arrives() {
    return QTest::qWaitFor([this] { return program.state() == QProcess::NotRunning; }, 60000) &&
           program.exitStatus() == QProcess::NormalExit && program.exitCode() == 0;
}

// A vendor server with the sample catalogue, and weather for the first request of each package.
bool tst_weather_road::serve(ZelVendor& vendor, const QByteArray& weather,
                             const QString& packageServer) {
    QFile manifest(tools + "/catalogue/manifest.xml");
    if (!manifest.open(QIODevice::ReadOnly))
        return false;
    vendor.setManifest(manifest.readAll().replace("@SERVER@", packageServer.toUtf8()));
    vendor.setAccounts(QByteArray("artist\t") + password + '\n');
    QDir(vendor.folder()).rmdir("packages");
    QFile::link(packages.path(), vendor.folder() + "/packages");
    const QByteArray rules = "{'rules': [{'path': '/packages/*', 'first': 1, " + weather + "}]}";
    return vendor.start({"--weather", zelWriteFile(vendor.folder() + "/weather",
                                                   QByteArray(rules).replace('\'', '"'))});
}

// Everything with a final name is a package, byte for byte.
void tst_weather_road::checkPackages(const Road& road) const {
    static const QRegularExpression number("-[0-9]+(?=\\.pkg$)");
    for (const QString& name : road.downloads().entryList({"*.pkg"})) {
        QFile received(road.downloads().filePath(name));
        QFile sent(packages.filePath(name));
        if (!sent.exists())
            sent.setFileName(packages.filePath(QString(name).remove(number)));
        QVERIFY2(sent.open(QFile::ReadOnly) && received.open(QFile::ReadOnly) &&
                     sent.readAll() == received.readAll(),
                 qPrintable(name));
    }
}

void tst_weather_road::killed_data() {
    QTest::addColumn<QString>("file"); // in the download folder
    QTest::addColumn<qint64>("size");  // that it has to reach
    const QString first = "Lumivex FarmServer 21.0.pkg";
    QTest::newRow("before the first byte is saved") << first + ".zeldownload" << qint64(0);
    QTest::newRow("in the middle") << first + ".zeldownload" << qint64(2'000'000);
    QTest::newRow("while the package is installed") << first << qint64(1);
}

void tst_weather_road::killed() {
    QFETCH(QString, file);
    QFETCH(qint64, size);
    ZelVendor vendor;
    QVERIFY(serve(vendor, "'bytes_per_second': 20000000", "@SERVER@"));
    Road road;
    road.start(vendor.hostAndPort());
    QTRY_VERIFY_WITH_TIMEOUT(road.downloads().exists(file) && road.sizeOf(file) >= size, 60000);
    road.program.kill();
    QVERIFY(road.program.waitForFinished());
    const QStringList before = road.downloads().entryList(QDir::Files);
    checkPackages(road);

    // The next run leaves what is cut off alone, and does not fetch again what is whole.
    road.start(vendor.hostAndPort());
    QVERIFY2(road.arrives(), "the second run did not arrive");
    checkPackages(road);
    for (const QString& name : before)
        QVERIFY(road.downloads().exists(name));
    QFile log(road.folder.filePath("log"));
    QVERIFY(log.open(QIODevice::ReadOnly) && log.size() > 1000);
    const QByteArray lines = log.readAll();
    for (const char* secret : {password, "paint%20%26%20brush", "paint &amp; brush"})
        QVERIFY2(!lines.contains(secret), secret);
}

void tst_weather_road::throughNginx() {
    const QTemporaryDir folder;
    const ZelCertificate certificate = zelSelfSigned(folder.path());
    const QString plain = QString::number(zelFreePort());
    const QString secure = QString::number(zelFreePort());
    const QString web = QString::number(zelFreePort());
    const QString forum = QString::number(zelFreePort());
    const QString six = QTcpServer().listen(QHostAddress::LocalHostIPv6) ? "[::1]" : "127.0.0.2";
    ZelVendor vendor;
    QVERIFY(serve(vendor, "'first': 0", "https://127.0.0.1:" + secure));
    // The sample for the vendor's machine, with ports and paths of this one; a door without TLS,
    // since that is how the installer talks to a server it is told to debug; and before the vendor
    // server one that writes down who is said to ask.
    QFile sample(ZEL_SOURCE_DIR "/docs/nginx.conf");
    QVERIFY(sample.open(QIODevice::ReadOnly));
    QString config = sample.readAll();
    const QList<QStringList> changes{
        {"listen 443", "listen 127.0.0.1:" + secure},
        {"[::]:443", six + ':' + secure},
        {"listen 80", "listen 127.0.0.1:" + web},
        {"[::]:80", six + ':' + web},
        {"https://$host", "https://$host:" + secure},
        {"/etc/ssl/certs/corvane.pem", certificate.certificate},
        {"/etc/ssl/private/corvane.pem", certificate.key},
        {"/var/log/nginx", folder.path()},
        {"127.0.0.1:8080", "127.0.0.1:" + forum},
        {"/srv/lumivex", vendor.folder()},
        {"http {",
         QString(
             "pid %1/pid; http { client_body_temp_path %1/b; proxy_temp_path %1/p; "
             "fastcgi_temp_path %1/f; uwsgi_temp_path %1/u; scgi_temp_path %1/s; "
             "server { listen 127.0.0.1:%2; location / { proxy_pass https://127.0.0.1:%3; } } "
             "log_format asked '$http_x_forwarded_for $http_x_forwarded_proto $request $status'; "
             "server { listen 127.0.0.1:%4; access_log %1/asked asked; "
             "location / { proxy_pass http://%5; } }")
             .arg(folder.path(), plain, secure, forum, vendor.hostAndPort())},
    };
    for (const QStringList& change : changes) {
        QVERIFY2(config.contains(change[0]), qPrintable(change[0]));
        config.replace(change[0], change[1]);
    }
    QProcess nginx;
    nginx.start("/usr/sbin/nginx",
                {"-e", folder.filePath("errors"), "-g", "daemon off; master_process off;", "-c",
                 zelWriteFile(folder.filePath("config"), config.toUtf8())});
    const auto end = qScopeGuard([&nginx] {
        nginx.terminate();
        nginx.waitForFinished();
    });
    QTRY_VERIFY(QFile::exists(folder.filePath("pid")));
    Road road;
    road.start("127.0.0.1:" + plain);
    QVERIFY(road.arrives());
    checkPackages(road);
    const auto logged = [&folder](const char* name) {
        QFile log(folder.filePath(name));
        return log.open(QIODevice::ReadOnly) ? log.readAll() : QByteArray();
    };
    QVERIFY(logged("access.log").count(" /packages/") > 2);
    QVERIFY(!logged("access.log").contains("HTTP/2"));

    // What the browser is sent to, and somebody who guesses passwords.
    zelCommand("curl", {"-ksSgL", "http://" + six + ':' + web + "/view/ZEL-Success"});
    zelCommand("curl", {"-ksS", "https://127.0.0.1:" + secure + "/forum/register.php"});
    for (const char* line : {"127.0.0.1 https POST /forum/currentproducts.php HTTP/1.0 200",
                             "https GET /view/ZEL-Success HTTP/1.0 404",
                             "127.0.0.1 https GET /forum/register.php HTTP/1.0 404"})
        QTRY_VERIFY2(logged("asked").contains(line), line);
    const QByteArray answers =
        zelCommand("curl", {"-ksSi", "--http1.1", "-d", "",
                            "https://127.0.0.1:" + secure + "/forum/currentproducts.php?[1-60]"});
    QVERIFY(answers.count("Validation: Error There are no products for this platform.") > 15);
    QVERIFY(answers.contains("Validation: Error Too many sign-ins"));
}

QTEST_GUILESS_MAIN(tst_weather_road)
#include "tst_weather_road.moc"
