#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

// Counts how often it is told to go on in spite of errors.
class FakeReply : public QNetworkReply {
public:
    int ignored = 0;
    void abort() override {}
    void ignoreSslErrors() override { ++ignored; }
    qint64 readData(char*, qint64) override { return -1; }
};

class tst_tls : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    const QSslError leaf{QSslError::SelfSignedCertificate};
    const QSslError inChain{QSslError::SelfSignedCertificateInChain};

private slots:
    // From the errors (Leaf, Chain) and the answer to how often they are ignored, and what is
    // asked and logged.
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
            QString result = QString::number(reply.ignored);
            for (const ZelSeenBox& box : std::as_const(user.boxes)) {
                if (box.text == "There was issue with the SSL connection. Continue anyway?" &&
                    box.buttons == (QMessageBox::Ok | QMessageBox::Cancel) &&
                    box.defaultButton.contains("OK") && icon == QMessageBox::Critical)
                    result += " / " + box.informativeText + " / " + box.detailedText;
            }
            result += " / " + log.lines().filter("ssl error").join(' ');
            return result.replace(leaf.errorString(), "LEAF")
                .replace(inChain.errorString(), "CHAIN")
                .replace("There were multiple issues with the SSL connection", "MANY");
        };
        zelCheckTable(R"(Chain | Cancel => 1 /
            Leaf | Return => 1 / LEAF /  /
            Leaf | Cancel => 0 / LEAF /  /
            Chain Leaf | Ok => 1 / MANY / CHAIN---LEAF / ssl error: %s "CHAIN" ssl error: %s "LEAF"
            Leaf Leaf | Cancel => 0 / MANY / LEAF---LEAF / ssl error: %s "LEAF" ssl error: %s "LEAF"
             | Cancel => 0 / MANY /  /)",
                      run);
        app->gui = false; // which asks nobody
        zelCheckTable("Leaf Leaf | Cancel => 1 /", run);
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

    // A server with a certificate that nobody vouches for: an answer holds for one reply alone.
    void realServer() {
        const QTemporaryDir folder;
        zelMakeCertificate(folder.path(),
                           {"-subj", "/CN=server", "-addext", "subjectAltName=IP:127.0.0.1"});
        ZelVendorProcess vendor;
        vendor.addPackage("a.pkg", 5000);
        vendor.setManifest(zelManifestXml({zelProductXml("a.pkg", "A", 1, 5000)}));
        QVERIFY(vendor.start(
            {"--cert", folder.filePath("certificate.pem"), "--key", folder.filePath("key.pem")}));
        app->host = vendor.hostAndPort();

        ZelBoxDriver user;
        user.answers["sslErrors"] = {QMessageBox::Cancel, QMessageBox::Ok};
        QStringList outcomes;
        connect(app, &ZelApp::validManifestReply, &user, [&] { outcomes << "valid"; });
        connect(app, &ZelApp::invalidManifestReply, &user,
                [&](auto reason) { outcomes << reason; });
        connect(app, qOverload<int>(&ZelApp::finishedDownload), &user, [&] { outcomes << "done"; });
        const QStringList expected{"Unknown manifest Validation", "valid", "valid", "done"};
        for (int i = 0; i < 4; ++i) {
            if (i < 3)
                app->RequestManifest(app->GetURL(ZelManifestLocation), "user", "pass", "osx");
            else
                QVERIFY(app->DownloadProduct(0));
            QTRY_COMPARE(outcomes, expected.mid(0, i + 1));
            QCOMPARE(user.boxes.size(), i + 1);
            QCOMPARE(user.boxes[i].informativeText, leaf.errorString());
        }
    }
};

ZEL_TEST_MAIN(tst_tls)
#include "tst_tls.moc"
