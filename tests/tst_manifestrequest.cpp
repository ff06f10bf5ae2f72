#include "support/ZelTestSupport.h"

#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QTimer>

static const QByteArray oneProduct =
    "<M><ProductInfo><Name>server</Name></ProductInfo><ZELSuccessURL>x</ZELSuccessURL></M>";

class tst_manifestrequest : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    ZelServer server;
    QTemporaryDir folder;
    QStringList outcomes; // the two signals, as they came, with the names of the products then

    void note(QString outcome) {
        for (const ZelManifestElement& element : std::as_const(app->manifest))
            outcome += ", " + element.Name;
        outcomes << outcome;
    }

    // Asks for the manifest; tells how that ended.
    QString ask(const QString& user = "user", const QString& password = "pass") {
        outcomes.clear();
        app->manifest = {ZelManifestElement()}; // of an earlier request; never survives
        app->RequestManifest(QUrl(server.url("path")), user, password, "osx");
        const QString when = outcomes.isEmpty() ? "" : "at once ";
        if (!QTest::qWaitFor([this] { return !outcomes.isEmpty(); }))
            return "no answer";
        return when + outcomes.join("; ");
    }

    // The path of a manifest that offers one product of this name; empty for none.
    QString manifestOf(const QString& name) {
        const QByteArray xml = QByteArray(oneProduct).replace("server", name.toUtf8());
        const bool whole = name != "broken";
        return name == "-" ? "" : zelWriteFile(folder.filePath(name), xml.chopped(whole ? 0 : 4));
    }

private slots:
    void initTestCase() {
        connect(app, &ZelApp::validManifestReply, this, [this] { note("valid"); });
        connect(app, &ZelApp::invalidManifestReply, this, [this](auto r) { note(r); });
    }

    void init() {
        app->manifestFile.clear();
        app->appendManifestFile.clear();
        server.setAnswer("200 OK\r\nValidation: Approved", oneProduct);
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
            QByteArray body = in[1].toUtf8().replace("GOOD", oneProduct).replace("\\n", "\n");
            server.setAnswer(in[0].toUtf8().replace("; ", "\r\nValidation: "),
                             body.replace("\\0", QByteArray(1, '\0')));
            const ZelLogCapture log;
            QString result = ask() + " / ";
            result += log.lines().filter(QRegularExpression("^(Man|Fat|Crik|Bad|\")")).join(" / ");
            return result.replace("\n", "\\n")
                .replace("Unknown manifest Validation / Crikey! unknown manifest Validation",
                         "Crikey");
        };
        app->appendManifestFile = manifestOf("more");
        zelCheckTable(
            R"(200 OK; Approved | GOOD => valid, server, more / Manifest request approved / ""
            500 Oops; ApprovedError | GOOD => valid, server, more / Manifest request approved / ""
            200 OK; Approved | <ü>\n\0! => bad manifest reply, more / Manifest request approved / Fatal error on line 2 , column 3 : "unexpected end of file"  / Bad Wolf:\n<ü>\n ! / ""
            200 OK; approved | rest\0more => Crikey "approved" / "rest"
            200 OK | GOOD\0 => Crikey "" / "<M><ProductInfo><Name>server</Name></ProductInfo><ZELSuccessURL>x</ZELSuccessURL></M>"
            200 OK; Error | => Manifest request denied / Manifest request denied / ""
            200 OK; error | => Crikey "error" / ""
            404 Gone; Error   größe, disabled   | => größe, disabled / Manifest request denied / ""
            200 OK; Error: no access | => : no access / Manifest request denied / "")",
            run);
        QCOMPARE(app->successUrl, QUrl("x"));
        QTRY_VERIFY(!app->findChild<QNetworkReply*>() && !app->findChild<QHttpMultiPart*>());
    }

    // From the options -manifest and -appendmanifest and the variables behind them to the outcome,
    // the requests, and what is logged.
    void localFiles() {
        const auto run = [this](const QStringList& in) {
            app->manifestFile = manifestOf(in[0]);
            const ZelEnvironment instead("ZEL_MANIFEST_FILE", manifestOf(in[1]).toUtf8());
            app->appendManifestFile = manifestOf(in[2]);
            const ZelEnvironment append("ZEL_APPEND_MANIFEST_FILE", manifestOf(in[3]).toUtf8());
            server.requests.clear();
            const ZelLogCapture log;
            const QString outcome = ask();
            return (QStringList(outcome + ' ' + QString::number(server.requests.size())) +
                    log.lines().filter(
                        QRegularExpression("^[^FR].*(manifest [fd\"]|alt manifest$)")))
                .join(" / ")
                .remove(folder.path());
        };
        zelCheckTable(
            R"(- | - | - | ö-2 => valid, server, ö-2 1 / Appending alternate manifest "/ö-2" / appended alt manifest
            - | - | option | env => valid, server, option 1 / Appending alternate manifest "/option" / appended alt manifest
            - | - | broken | - => valid, server, broken 1 / Appending alternate manifest "/broken" / failed to parse alt manifest
            - | ö | a | - => at once valid, ö 0 / Loading manifest from disk ONLY / Loading alternate manifest "/ö" / added alt manifest
            option | env | - | - => at once valid, option 0 / Loading manifest from disk ONLY / Loading alternate manifest "/option" / added alt manifest)",
            run);
        app->manifestFile = "/absent";
        QCOMPARE(ask(), QString("at once valid"));
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
        app->finishedReply(nullptr);

        other.always.clear(); // what it is asked now ends when the next request replaces it
        app->RequestManifest(QUrl(other.url()), "user", "pass", "osx");
        QCOMPARE(log.lines(), QStringList({"Oy! null reply", "Requesting manifest from  QUrl(\"" +
                                                                 other.url() + "\")"}));
        QTRY_VERIFY(other.requests.size() == 2);
        QCOMPARE(ask(), QString("valid, server"));
        QCOMPARE(finished.size(), 3);
        QCOMPARE(outcomes.size(), 1);
    }

    // From the weather to the box that the selection page shows, and how the program goes on.
    void weather_data() { zelWeatherRows("Product list"); }
    void weather() {
        const QString weather = QTest::currentDataTag();
        const QByteArrayList products(20, zelProductXml("Lumivex FarmServer.pkg", "S", 1, 1));
        ZelVendor vendor;
        vendor.setManifest(zelManifestXml(products));
        vendor.setAccounts("user\tpass\nshut\tpass\tThis account was closed.\n");
        QVERIFY(vendor.start(zelScenario(weather)));
        app->scheme = "http";
        app->host = vendor.hostAndPort();
        if (weather == "connection refused")
            app->host = "127.0.0.1:1";
        else if (weather == "unknown host")
            app->host = "nowhere.invalid";

        ZelTestWizard wizard; // with its log: a refused list is logged whole
        app->manifestFile.clear();
        QVERIFY(wizard.walkTo(ZelMainWindow::Account));
        wizard.signIn(weather == "account closed" ? "shut" : "user",
                      weather == "wrong password" ? "no" : "pass");
        constexpr int complete = 20;
        constexpr int waits = 21;
        const auto* page = wizard.window->page(ZelMainWindow::Selection);
        connect(page, &QWizardPage::completeChanged, page, [page] {
            if (page->isComplete()) // a program that has ended goes no further than this
                QTimer::singleShot(0, page, [] { QApplication::exit(complete); });
        });
        const auto isStalled = [this] {
            const auto* reply = app->getNetworkManager()->findChild<QNetworkReply*>();
            return reply && reply->isRunning() && reply->bytesAvailable() == 2000;
        };
        const auto enter = [&] {
            wizard.walkTo(ZelMainWindow::Selection);
            if (weather == "manifest-stall" && QTest::qWaitFor(isStalled))
                QApplication::exit(waits);
        };
        const int status = ZelWizardDriver::exitStatusOf(enter, 60000);
        QString seen = "none";
        if (status != complete && !wizard.boxes.boxes.isEmpty()) // else it is about the offer
            seen = wizard.said().last();
        seen.replace("Could not get a product list from Corvane/", "").replace('/', ": ");
        const QHash<int, QString> ends{
            {waits, "it waits until the program is closed"},
            {complete, QString("products offered: %1").arg(app->manifest.size())}};
        seen += " | " + ends.value(status, QString("ends with status %1").arg(status));
        QTEST(seen, "expected");
        QVERIFY(!vendor.received.contains("stolen")); // by an entity from outside
    }
};

ZEL_TEST_MAIN(tst_manifestrequest)
#include "tst_manifestrequest.moc"
