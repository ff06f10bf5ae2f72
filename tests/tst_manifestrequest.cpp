#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QNetworkAccessManager>

static const QByteArray oneProduct =
    "<M><ProductInfo><Name>server</Name></ProductInfo><ZELSuccessURL>x</ZELSuccessURL></M>";

class tst_manifestrequest : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    ZelServer server;
    const QUrl location{server.url("path")};
    QTemporaryDir folder;
    QStringList outcomes; // the two signals, as they came

    // Asks for the manifest; tells how that ended, and the names of the products then.
    QString ask(const QString& user = "user", const QString& password = "pass") {
        outcomes.clear();
        app->manifest = {ZelManifestElement()}; // of an earlier request; never survives
        app->RequestManifest(location, user, password, "osx");
        QString result = outcomes.isEmpty() ? "" : "at once ";
        if (!QTest::qWaitFor([this] { return !outcomes.isEmpty(); }))
            return "no answer";
        result += outcomes.join(", ");
        for (const ZelManifestElement& element : std::as_const(app->manifest))
            result += ", " + element.Name;
        return result;
    }

    // The path of a manifest that offers one product of this name.
    QString manifestOf(const QByteArray& name) {
        return zelWriteFile(folder.filePath(name), QByteArray(oneProduct).replace("server", name));
    }

private slots:
    void initTestCase() {
        connect(app, &ZelApp::validManifestReply, this, [this] { outcomes << "valid"; });
        connect(app, &ZelApp::invalidManifestReply, this, [this](auto r) { outcomes << r; });
    }

    void init() {
        app->manifestFile.clear();
        app->appendManifestFile.clear();
        server.setAnswer("200 OK\r\nValidation: Approved", oneProduct);
        server.received.clear();
    }

    void form() {
        ask("a&b&amp;ü", "p&q \"ü\"");
        ask("", "");
        const QRegularExpression boundary("boundary=\"([^\"]+)\"");
        QStringList forms;
        for (const QString& request : QString(server.received).split("POST /path HTTP/1.1\r\n"))
            forms << request.section("\r\n\r\n", 1)
                         .replace("--" + boundary.match(request).captured(1), "--");
        const QString form =
            QString("--\r\n@platform\"\r\n\r\nosx\r\n--\r\n@community\"\r\n\r\n1\r\n--\r\n"
                    "@username\"\r\n\r\n%1\r\n--\r\n@userpass\"\r\n\r\n%2\r\n----\r\n")
                .replace("@", "Content-Disposition: form-data; name=\"");
        QCOMPARE(forms.mid(1),
                 QStringList({form.arg("a&amp;b&amp;amp;ü", "p&q \"ü\""), form.arg("", "")}));
    }

    // From the answer to the outcome, and what is logged about it.
    void judgement() {
        const auto run = [this](const QStringList& in) {
            server.setAnswer(in[0].toUtf8().replace("; ", "\r\nValidation: "),
                             in[1].toUtf8().replace("GOOD", oneProduct));
            const ZelLogCapture log;
            QString result = ask();
            result += " / " + log.lines().value(1);
            return result.replace(
                "Unknown manifest Validation / Crikey! unknown manifest Validation", "Crikey");
        };
        zelCheckTable(R"(200 OK; Approved | GOOD => valid, server / Manifest request approved
            500 Oops; ApprovedError | GOOD => valid, server / Manifest request approved
            200 OK; Approved | GOOD! => bad manifest reply, server / Manifest request approved
            200 OK; approved | GOOD => Crikey "approved"
            200 OK | GOOD => Crikey ""
            200 OK; Error | => Manifest request denied / Manifest request denied
            404 Gone; Error   Account disabled   | => Account disabled / Manifest request denied
            200 OK; Error: no access | => : no access / Manifest request denied)",
                      run);
        QCOMPARE(app->successUrl, QUrl("x"));
        server.stop();
        QCOMPARE(run({"", ""}), QString("Crikey \"\""));
        QVERIFY(server.listen(QHostAddress::LocalHost, quint16(location.port())));
    }

    // The record of a bad body comes before the signal, that of an unread one after it.
    void recordsOfTheBody() {
        const ZelLogCapture log;
        QObject guard;
        QStringList before;
        QPointer<QNetworkReply> last;
        connect(app, &ZelApp::invalidManifestReply, &guard, [&] { before = log.lines(); });
        connect(app->getNetworkManager(), &QNetworkAccessManager::finished, &guard,
                [&](QNetworkReply* reply) { last = reply; });
        server.setAnswer("200 OK\r\nValidation: Approved", QByteArray("<M x=\"ü\">\n\0!", 13));
        ask();
        QCOMPARE(before.last(), QString("Bad Wolf:\n<M x=\"ü\">\n !"));
        server.setAnswer("200 OK", QByteArray("rest\0more", 9));
        ask();
        QCOMPARE(log.lines().mid(before.size()), QStringList("\"rest\""));
        QTRY_VERIFY(!last); // every reply is freed
    }

    void localFiles() {
        const ZelLogCapture log;
        const ZelEnvironment append("ZEL_APPEND_MANIFEST_FILE", manifestOf("env-2").toUtf8());
        QCOMPARE(ask(), QString("valid, server, env-2"));
        app->appendManifestFile = manifestOf("option-2");
        server.setAnswer("200 OK\r\nValidation: Approved", oneProduct + '!');
        QCOMPARE(ask(), QString("bad manifest reply, server, option-2"));
        server.setAnswer("200 OK\r\nValidation: Approved", oneProduct);
        zelWriteFile(app->appendManifestFile, oneProduct.chopped(4));
        QCOMPARE(ask(), QString("valid, server, server"));
        QVERIFY(log.contains("appended alt manifest"));
        QVERIFY(log.contains("failed to parse alt manifest"));

        server.received.clear();
        const ZelEnvironment instead("ZEL_MANIFEST_FILE", manifestOf("env").toUtf8());
        QCOMPARE(ask(), QString("at once valid, env"));
        app->manifestFile = manifestOf("option");
        QCOMPARE(ask(), QString("at once valid, option"));
        QCOMPARE(log.lines().last(), QString("added alt manifest"));
        app->manifestFile = "/absent";
        QCOMPARE(ask(), QString("at once valid"));
        QCOMPARE(log.lines().last(), QString("failed to parse alt manifest"));
        QVERIFY(log.contains("Loading manifest from disk ONLY"));
        QVERIFY(log.contains("Loading alternate manifest \"/absent\""));
        QVERIFY(!server.waitForNewConnection(0) && server.received.isEmpty());
    }

    void otherReplies() {
        const ZelLogCapture log;
        ZelServer other;
        other.setAnswer("200 OK\r\nValidation: Error other", "");
        QNetworkAccessManager* manager = app->getNetworkManager();
        const QSignalSpy finished(manager, &QNetworkAccessManager::finished);
        const QPointer<QNetworkReply> foreign = manager->get(QNetworkRequest(QUrl(other.url())));
        QTRY_COMPARE(finished.size(), 1);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(foreign && log.lines().isEmpty());
        delete foreign;
        ZelServer silent; // what it is asked ends when the next request replaces it
        app->RequestManifest(QUrl(silent.url()), "user", "pass", "osx");
        QTRY_VERIFY(silent.asked);
        QCOMPARE(ask(), QString("valid, server"));
        QCOMPARE(finished.size(), 3);
        QCOMPARE(outcomes, QStringList("valid"));
    }
};

ZEL_TEST_MAIN(tst_manifestrequest)
#include "tst_manifestrequest.moc"
