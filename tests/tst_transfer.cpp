#include "core/ZelTexts.h"
#include "support/ZelTestSupport.h"

enum Product { Big, Empty, Missing, Cut, Small };

class tst_transfer : public QObject {
    Q_OBJECT

    ZelApp* app = ZelApp::instance();
    ZelVendor vendor;
    ZelServer cutting;
    QHash<QString, QByteArray> packages;
    QStringList outcomes; // the two signals, as they came
    QDir downloads = *app->GetDownloadDir();

    QString path(const QString& name) const { return downloads.filePath(name); }
    QString files() const { return downloads.entryList(QDir::Files).join(' '); }
    bool holds(const QString& name, const QByteArray& contents) const {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) && file.readAll() == contents;
    }

private slots:
    void initTestCase() {
        packages["big.pkg"] = vendor.addPackage("big.pkg", 5 * 1024 * 1024 + 1);
        packages["small.pkg"] = vendor.addPackage("small.pkg", 10000);
        vendor.addPackage("empty.pkg", 0);
        QVERIFY(vendor.start());
        cutting.setAnswer("200 OK", "first bytes", 1000);
        connect(app, qOverload<int>(&ZelApp::finishedDownload), this,
                [this](int index) { outcomes << QString::number(index); });
        connect(app, &ZelApp::failedDownload, this, [this](const QString& reason, int index) {
            outcomes << QString::number(index) + ' ' + reason;
        });
    }

    void init() {
        outcomes.clear();
        downloads.removeRecursively();
        QVERIFY(downloads.mkpath("."));
        app->manifest.clear();
        for (const char* name : {"big.pkg", "empty.pkg", "missing.pkg", "cut.pkg", "small.pkg"}) {
            app->manifest.emplace_back().Name = name;
            app->manifest.last().DownloadURL = vendor.packageUrl(name);
        }
        app->manifest[Cut].DownloadURL = QUrl(cutting.url());
    }

    // The next transfer starts inside the slot that hears of the last one's end.
    void oneAfterAnother() {
        QObject page;
        const auto next = [this](int index) { app->DownloadProduct(index + 1); };
        connect(app, qOverload<int>(&ZelApp::finishedDownload), &page, next);
        connect(app, &ZelApp::failedDownload, &page, [next](const QString&, int i) { next(i); });
        QVERIFY(app->DownloadProduct(Big));
        const QSharedPointer<QFile> shared = QList(app->manifest)[Big].file;
        QTRY_COMPARE(outcomes.size(), 5);
        QCOMPARE(outcomes,
                 QStringList({"0", "1", "2 " + ZelNetworkError(QNetworkReply::ContentNotFoundError),
                              "3 " + ZelNetworkError(QNetworkReply::RemoteHostClosedError), "4"}));
        QCOMPARE(files(), QString("big.pkg cut.pkg.zeldownload empty.pkg missing.pkg.zeldownload "
                                  "small.pkg"));
        QVERIFY(holds("big.pkg", packages["big.pkg"]) && holds("small.pkg", packages["small.pkg"]));
        QVERIFY(holds("empty.pkg", "") && holds("cut.pkg.zeldownload", "first bytes"));
        QCOMPARE(app->manifest[Big].file, shared);
        QCOMPARE(shared->fileName(), path("big.pkg"));
        QVERIFY(!app->manifest[Big].downloaded && !shared->isOpen());
        QVERIFY(!app->manifest[Missing].file && !app->manifest[Cut].file);
    }

    void refused() {
        const ZelLogCapture log;
        app->downloadReadyRead(); // with no transfer
        app->manifest[Small].downloaded = true;
        for (int index : {-1, 5, int(Small)})
            QVERIFY(!app->DownloadProduct(index));
        QVERIFY(downloads.removeRecursively() && !app->DownloadProduct(Big));
        QVERIFY(downloads.mkpath(".") && app->DownloadProduct(Big) && !app->DownloadProduct(Cut));
        QStringList lines = log.lines();
        lines.removeAll("downloading  \"big.pkg\" from QUrl(\"" +
                        vendor.packageUrl("big.pkg").toString() + "\")");
        QCOMPARE(lines,
                 QStringList({"\"error in download reply\"", "index out of range in Download  -1",
                              "index out of range in Download  5",
                              "Asked to download  \"small.pkg\"  again",
                              "Couldn't open temp file for write \"" + path("big.pkg.zeldownload") +
                                  "\" errcode 5",
                              "Already downloading something 3"}));
        QTRY_COMPARE(outcomes, QStringList("0"));
        QVERIFY(holds("big.pkg", packages["big.pkg"]));
    }

    void abortedAndTakenUpAgain() {
        const QPointer<QNetworkReply> reply = app->DownloadProduct(Big);
        qint64 bound = 0;
        connect(reply, &QNetworkReply::readyRead, reply, [&] {
            bound = reply->readBufferSize();
            reply->abort();
        });
        QTRY_COMPARE(outcomes, QStringList("0 the operation was canceled via calls to abort() or "
                                           "close() before it was finished."));
        QTRY_VERIFY(!reply);
        QCOMPARE(bound, 512 * 1024);
        QVERIFY(app->DownloadProduct(Big));
        QTRY_COMPARE(outcomes.value(1), QString("0"));
        QCOMPARE(files(), QString("big-1.pkg big.pkg.zeldownload"));
        QVERIFY(holds("big-1.pkg", packages["big.pkg"]));
    }

    // Without a length of its own, a package has to be as long as the manifest says.
    void unknownLength() {
        ZelServer endless;
        endless.always = "HTTP/1.1 200 OK\r\n\r\nfirst bytes";
        app->manifest[Cut].DownloadURL = QUrl(endless.url());
        app->manifest[Cut].FileSize = 12;
        QVERIFY(app->DownloadProduct(Cut));
        QTRY_COMPARE(outcomes,
                     QStringList("3 " + ZelNetworkError(QNetworkReply::RemoteHostClosedError)));
        app->manifest[Cut].FileSize = 11;
        QVERIFY(app->DownloadProduct(Cut));
        QTRY_COMPARE(outcomes.value(1), QString("3"));
        QCOMPARE(files(), QString("cut-1.pkg cut.pkg.zeldownload"));
    }

    void unexpectedEnds() {
        QVERIFY(app->DownloadProduct(Small));
        zelWriteFile(path("small.pkg"), "someone else's");
        QTRY_COMPARE(outcomes,
                     QStringList("4 Couldn't finalize download when renaming " +
                                 path("small.pkg.zeldownload") + " to " + path("small.pkg")));
        QVERIFY(holds("small.pkg", "someone else's") && !app->manifest[Small].file);
        QVERIFY(holds("small.pkg.zeldownload", packages["small.pkg"]));

        outcomes.clear();
        app->finishedDownload(app->getNetworkManager()->get(QNetworkRequest(QUrl(cutting.url()))));
        QVERIFY(app->DownloadProduct(Small));
        app->manifest.clear(); // as a new sign-in does
        QTRY_COMPARE(outcomes, QStringList({"-1 wrong reply", "4 index out of range in Download"}));
    }
};

ZEL_TEST_MAIN(tst_transfer)
#include "tst_transfer.moc"
