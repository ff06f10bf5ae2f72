#include "core/ZelTexts.h"
#include "support/ZelTable.h"
#include "support/ZelWeather.h"

#include <QNetworkAccessManager>
#include <QSslCertificate>
#include <map>
#include <unistd.h>
#include <utility>

// Remembers which errors it is to go on in spite of; in the beginning one that was accepted before.
class FakeReply : public QNetworkReply {
public:
    QList<QSslError> accepted{QSslError(QSslError::SelfSignedCertificate)};
    void abort() override {}
    qint64 readData(char*, qint64) override { return -1; }

protected:
    void ignoreSslErrorsImplementation(const QList<QSslError>& errors) override {
        accepted = errors;
    }
};

class tst_tls : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    const QSslError leaf{QSslError::SelfSignedCertificate};
    const QSslError inChain{QSslError::SelfSignedCertificateInChain};
    QTemporaryDir folder;
    QString outcome; // of the latest request
    QString path(const QString& name) const { return folder.filePath(name); }

    // A certificate for an address, that vouches for itself or that the authority vouches for.
    ZelCertificate certified(const QString& address, bool byAuthority, bool expired) const {
        const ZelCertificate made{path("leaf.pem"), path("leaf.key")};
        zelCommand("openssl",
                   QStringList{"req", byAuthority ? "-new" : "-x509", "-newkey", "rsa:2048",
                               "-nodes", "-subj", "/CN=server", "-addext",
                               "subjectAltName=IP:" + address, "-keyout", made.key, "-out",
                               byAuthority ? path("request") : made.certificate});
        if (byAuthority)
            zelWriteFile(made.certificate,
                         zelCommand("openssl", {"x509", "-req", "-in", path("request"), "-CA",
                                                path("certificate.pem"), "-CAkey", path("key.pem"),
                                                "-days", expired ? "-1" : "2", "-set_serial", "2",
                                                "-copy_extensions", "copy"}) +
                             zelCommand("cat", {path("certificate.pem")}));
        return made;
    }
    QSslConfiguration shown(bool byAuthority) const {
        return certified("127.0.0.1", byAuthority, false).configuration();
    }

    // Waits for the outcome of the request that `start` begins.
    QString ended(
        const std::function<void()>& start, const std::function<void()>& meanwhile = [] {}) {
        outcome.clear();
        start();
        const auto isKnown = [&] {
            meanwhile();
            return !outcome.isEmpty();
        };
        return QTest::qWaitFor(isKnown, 20000) ? outcome : "no end";
    }

private slots:
    void initTestCase() {
        zelSelfSigned(folder.path(), {"-subj", "/CN=Authority"});
        const auto note = [this](const QString& how) { outcome = how; };
        connect(app, &ZelApp::validManifestReply, this, [note] { note("goes on"); });
        connect(app, &ZelApp::invalidManifestReply, this, note);
        connect(app, qOverload<int>(&ZelApp::finishedDownload), this, [note] { note("goes on"); });
        connect(app, &ZelApp::failedDownload, this, note);
    }

    // From the errors (Leaf, Chain) and the answer to whether all or none of them are accepted,
    // and what is asked and logged.
    void policy() {
        const auto run = [this](const QStringList& in) {
            QList<QSslError> errors;
            for (const QString& word : in[0].split(' ', Qt::SkipEmptyParts))
                errors << (word == "Leaf" ? leaf : inChain);
            ZelBoxDriver user;
            QMessageBox::Icon icon = QMessageBox::NoIcon;
            user.onShow = [&icon](QMessageBox& box) { icon = box.icon(); };
            if (in[1] != "Return")
                user.answers["sslErrors"] = {in[1] == "Ok" ? QMessageBox::Ok : QMessageBox::Cancel};
            const ZelLogCapture log;
            FakeReply reply;
            std::FILE* const written = std::tmpfile();
            const int usual = dup(STDERR_FILENO);
            dup2(fileno(written), STDERR_FILENO);
            app->sslErrors(&reply, errors);
            dup2(usual, STDERR_FILENO);
            ::close(usual);
            QFile printed;
            std::rewind(written);
            printed.open(written, QIODevice::ReadOnly, QFile::AutoCloseHandle);
            QString result = "some";
            if (reply.accepted == errors)
                result = "all";
            else if (!reply.accepted.contains(leaf) && !reply.accepted.contains(inChain))
                result = "none";
            for (const ZelSeenBox& box : std::as_const(user.boxes)) {
                const QString texts = QString("\"%1\" \"%2\" \"%3\"")
                                          .arg(box.text, box.informativeText, box.detailedText);
                if (box.text == "There was issue with the SSL connection. Continue anyway?" &&
                    box.buttons == (QMessageBox::Ok | QMessageBox::Cancel) &&
                    box.defaultButton.contains("OK") && icon == QMessageBox::Critical &&
                    log.contains(texts))
                    result += " / " + box.informativeText + " / " + box.detailedText;
            }
            result += " / " + log.lines().filter("ssl error").join(' ') +
                      printed.readAll().replace('\n', ';');
            return result.replace(leaf.errorString(), "LEAF")
                .replace(inChain.errorString(), "CHAIN")
                .replace("There were multiple issues with the SSL connection", "MANY");
        };
        zelCheckTable(R"(Chain | Cancel => all /
            Leaf | Return => all / LEAF /  /
            Leaf | Cancel => none / LEAF /  /
            Chain Leaf | Ok => all / MANY / CHAIN---LEAF / ssl error: %s "CHAIN" ssl error: %s "LEAF"
            Leaf Leaf | Cancel => none / MANY / LEAF---LEAF / ssl error: %s "LEAF" ssl error: %s "LEAF"
             | Cancel => none / MANY /  /)",
                      run);
        app->gui = false; // which asks nobody
        zelCheckTable("Leaf Chain | Cancel => all / ssl error: LEAF;ssl error: CHAIN;ignored;",
                      run);
        app->gui = true;
    }

    void withoutReply() {
        ZelBoxDriver user;
        app->manifestSslErrors({leaf});
        app->downloadSslErrors({leaf});
        QVERIFY(user.boxes.isEmpty());
        auto* reply = new FakeReply; // ends while the user thinks
        user.onShow = [reply](QMessageBox&) { delete reply; };
        app->sslErrors(reply, {leaf});
        QCOMPARE(user.boxes.size(), 1);
    }

    // A request to A, then one more. From who vouches for A (B does for itself), what A does with
    // the first request, the user's answers, and the server that the second goes to, to three
    // things of each request: the servers that the user was asked about, its outcome, and how many
    // requests A and B received.
    void realServers() {
        const QSslConfiguration self = shown(false);
        const QSslConfiguration chain = shown(true);
        const auto run = [&](const QStringList& in) {
            std::map<QString, ZelServer> servers;
            servers["A"].setSslConfiguration(in[0] == "root" ? chain : self);
            servers["B"].setSslConfiguration(self);
            QString deed = in[1];
            const auto serve = [&] {
                for (auto& [name, server] : servers) {
                    if (!std::exchange(server.asked, false))
                        continue;
                    const QString what = std::exchange(deed, "answers");
                    if (what == "hangs up")
                        server.close();
                    else if (what == "sends on to B")
                        server.answer(0, {}, "Location: " + servers["B"].url().toUtf8() + "\r\n",
                                      "307 On");
                    else
                        server.send("HTTP/1.1 200 OK\r\nValidation: Approved\r\n"
                                    "Content-Length: 4\r\n\r\n<M/>");
                }
            };
            ZelBoxDriver user;
            for (const QString& answer : in[2].split(' '))
                user.answers["sslErrors"]
                    << (answer == "Ok" ? QMessageBox::Ok : QMessageBox::Cancel);
            QStringList result;
            for (const QString& asked : {QString("A"), in[3]}) {
                const ZelLogCapture log;
                user.boxes.clear();
                const QUrl url(servers[asked].url());
                ended([&] { app->RequestManifest(url, "user", "pass", "osx"); }, serve);
                QString about;
                for (const QString& line : log.lines().filter("TLS errors of"))
                    about += line.contains(servers["A"].hostAndPort()) ? 'A' : 'B';
                if (about.size() != user.boxes.size())
                    about += " and silence";
                result << about + ' ' + outcome;
                for (auto& [name, server] : servers)
                    result.last() +=
                        ' ' + QString::number(std::exchange(server.requests, {}).size());
            }
            return result.join(" / ")
                .replace("Unknown manifest Validation", "refused")
                .replace("goes on", "valid");
        };
        zelCheckTable(R"(root | sends on to B | Cancel | B => B refused 1 0 / B refused 0 0
            root | sends on to B | Ok Cancel | B => B valid 1 1 / B refused 0 0
            itself | sends on to B | Ok Cancel | B => AB refused 1 0 / B refused 0 0
            itself | sends on to B | Ok Cancel | A => AB refused 1 0 / A refused 0 0
            itself | sends on to B | Ok Ok Cancel | A => AB valid 1 1 / A refused 0 0
            itself | hangs up | Ok Cancel | A => AA refused 1 0 / A refused 0 0
            itself | hangs up | Ok Ok Cancel | A => AA valid 2 0 / A refused 0 0
            itself | answers | Cancel Ok | A => A refused 0 0 / A valid 1 0)",
                      run);
    }

    // What the user is asked, and what either answer leads to.
    void certificates_data() { zelWeatherRows("Certificates"); }
    void certificates() {
        const QString weather = zelWeather();
        const bool other = weather.contains("other host");
        ZelVendor vendor;
        vendor.addPackage("p.pkg", 5000);
        QVERIFY(vendor.start(certified(other ? "10.1.2.3" : "127.0.0.1",
                                       weather.contains("authority"), weather.contains("expired"))
                                 .serverOptions() +
                             zelScenario(weather)));
        app->scheme = "https";
        app->host = vendor.hostAndPort();
        const QSslConfiguration usual = QSslConfiguration::defaultConfiguration();
        QSslConfiguration trusting = usual;
        const auto back = qScopeGuard([&] { QSslConfiguration::setDefaultConfiguration(usual); });
        if (weather.startsWith("trusted"))
            trusting.addCaCertificates(path("certificate.pem"));
        QSslConfiguration::setDefaultConfiguration(trusting);

        QStringList cells{"none"};
        for (const auto answer : {QMessageBox::Ok, QMessageBox::Cancel}) {
            ZelBoxDriver user;
            user.answers["sslErrors"] = {answer};
            app->getNetworkManager()->clearConnectionCache();
            const QUrl url = app->GetURL(ZelManifestLocation);
            cells << ended([&] { app->RequestManifest(url, "user", "pass", "osx"); });
            app->manifest = {ZelManifestElement()};
            app->manifest[0].Name = "p.pkg";
            app->manifest[0].DownloadURL = vendor.packageUrl("p.pkg");
            const QString package = ended([this] { app->DownloadProduct(0); });
            if (package != cells.last())
                cells.last() += "; " + package;
            if (user.boxes.isEmpty())
                continue;
            QCOMPARE(user.boxes.size(), 2); // an answer holds for one reply
            QCOMPARE(user.boxes[0].informativeText, user.boxes[1].informativeText);
            cells[0] = user.boxes[0].informativeText;
            if (!user.boxes[0].detailedText.isEmpty())
                cells[0] += ": " + user.boxes[0].detailedText;
        }
        QTEST(cells.join(" | "), "expected");
    }
};

ZEL_TEST_MAIN(tst_tls)
#include "tst_tls.moc"
