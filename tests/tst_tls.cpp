#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <map>
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

    // What a server shows with a new certificate, given for 127.0.0.1.
    QSslConfiguration certified(const QString& name, const QStringList& authority = {}) const {
        QDir(folder.path()).mkdir(name);
        zelMakeCertificate(folder.filePath(name), QStringList{"-subj", "/CN=" + name, "-addext",
                                                              "subjectAltName=IP:127.0.0.1"} +
                                                      authority);
        return zelServerConfiguration(folder.filePath(name + "/certificate.pem"),
                                      folder.filePath(name + "/key.pem"));
    }

private slots:
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
            app->sslErrors(&reply, errors);
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
            result += " / " + log.lines().filter("ssl error").join(' ');
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
        zelCheckTable("Leaf Leaf | Cancel => all /", run);
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
        const QSslConfiguration self = certified("self");
        const QSslConfiguration root = certified("root");
        QSslConfiguration chain = certified("leaf", {"-CA", folder.filePath("root/certificate.pem"),
                                                     "-CAkey", folder.filePath("root/key.pem")});
        chain.setLocalCertificateChain(chain.localCertificateChain() +
                                       root.localCertificateChain());
        QString outcome;
        connect(app, &ZelApp::validManifestReply, this, [&outcome] { outcome = "valid"; });
        connect(app, &ZelApp::invalidManifestReply, this,
                [&outcome](const QString& reason) { outcome = reason; });

        const auto run = [&](const QStringList& in) {
            std::map<QString, ZelServer> servers;
            servers["A"].setSslConfiguration(in[0] == "root" ? chain : self);
            servers["B"].setSslConfiguration(self);
            QString deed = in[1];
            const auto ended = [&] {
                for (auto& [name, server] : servers) {
                    if (!std::exchange(server.asked, false))
                        continue;
                    const QString what = std::exchange(deed, "answers");
                    if (what == "hangs up")
                        server.close();
                    else if (what == "sends on to B")
                        server.send("HTTP/1.1 307 On\r\nContent-Length: 0\r\nLocation: https://" +
                                    servers["B"].hostAndPort().toUtf8() + "\r\n\r\n");
                    else
                        server.send("HTTP/1.1 200 OK\r\nValidation: Approved\r\n"
                                    "Content-Length: 4\r\n\r\n<M/>");
                }
                return !outcome.isEmpty();
            };
            ZelBoxDriver user;
            for (const QString& answer : in[2].split(' '))
                user.answers["sslErrors"]
                    << (answer == "Ok" ? QMessageBox::Ok : QMessageBox::Cancel);
            QStringList result;
            for (const QString& asked : {QString("A"), in[3]}) {
                const ZelLogCapture log;
                outcome.clear();
                user.boxes.clear();
                app->RequestManifest(QUrl("https://" + servers[asked].hostAndPort()), "user",
                                     "pass", "osx");
                if (!QTest::qWaitFor(ended, 20000))
                    outcome = "no end";
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
            return result.join(" / ").replace("Unknown manifest Validation", "refused");
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
};

ZEL_TEST_MAIN(tst_tls)
#include "tst_tls.moc"
