#include "app/ZelBuildConfig.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

// Lets `look` at an application object that was started with the words of a line.
static QString started(const QString& line, const std::function<QString(ZelApp&)>& look) {
    QByteArrayList words = ("program " + line).trimmed().toUtf8().split(' ');
    QList<char*> pointers;
    for (QByteArray& word : words)
        pointers << word.data();
    int count = int(words.size());
    ZelApp app(count, (pointers << nullptr).data());
    return look(app).replace(ZelBuildConfig::vendorHost, "VENDOR");
}

class tst_commandline : public QObject {
    Q_OBJECT

private slots:
    void options() {
        const auto look = [](ZelApp& app) {
            QString server = app.GetURL(ZelManifestLocation).toString();
            return QStringList{app.user, app.password, app.manifestFile, app.appendManifestFile,
                               server.remove("/forum/currentproducts.php")}
                       .join('|') +
                   (app.logThreshold == 0 && app.isGui() ? "" : "odd");
        };
        zelCheckTable(R"(=> ||||https://VENDOR
            -debug -User x users -password -xmanifest -MANIFEST bob => ||||https://VENDOR
            -user bob -pass s -manifest m -appendmanifest a => bob|s|m|a|https://VENDOR
            -user -debug -pass => -debug||||https://VENDOR
            -manifest -debugserver x => ||-debugserver||http://x
            -user -pass secret => -pass|secret|||https://VENDOR
            -manifest a.xml -manifest b.xml => ||b.xml||https://VENDOR
            -debugserver -user bob => bob||||http://localhost
            -debugserver 10.0.0.5 -user bob => bob||||http://10.0.0.5
            -debugserver box:80 -pass -debugserver => |-debugserver|||http://localhost
            -debugserver box:80 => ||||http://box:80
            -debugserver box:65536 => ||||http://
            -debugserver box:0x50 => ||||http://
            -debugserver [::1]:8080 => ||||http://[::1]:8080)",
                      [&look](const QStringList& in) { return started(in[0], look); });
    }

    void resources() {
        const QTemporaryDir root;
        zelWriteFile(root.filePath("lib/Resources/images/p.xpm"),
                     "/* XPM */\nstatic char* p[] = {\"1 1 1 1\", \"x c red\", \"x\"};\n");
        zelWriteFile(root.filePath("lib/Resources/stylesheets/s.qss"),
                     "QLabel {\n  color:\r\n red; }\n\nQFrame { margin: 1px }");
        const QString seen = started("", [&root](ZelApp& app) {
            const QString program = app.applicationPath.mid(app.installRoot.size());
            app.installRoot = root.path();
            QStringList result{app.successUrl.toString(), program,
                               app.applicationVersion().left(4)};
            for (int i = app.metaObject()->methodOffset(); i < app.metaObject()->methodCount(); ++i)
                result << app.metaObject()->method(i).name();
            result << QString::number(app.getNetworkManager() == app.getNetworkManager())
                   << QString::number(app.getDownloadBuffer() == app.getDownloadBuffer());
            for (const char* name : {"p.xpm", "absent", static_cast<const char*>(nullptr)})
                result << QString::number(app.LoadPixmapResource(name).width())
                       << QString::number(app.LoadIconResource(name).availableSizes().size());
            for (const char* name : {"s.qss", "absent", static_cast<const char*>(nullptr)})
                app.loadStylesheet(name);
            return (result << app.styleSheet()).join(' ');
        });
        QCOMPARE(seen, QString("http://VENDOR/view/ZEL-Success "
                               "/Tests/tests.app/Contents/MacOS/tst_commandline 1.0. "
                               "validManifestReply invalidManifestReply failedDownload "
                               "finishedDownload finishedReply downloadReadyRead downloadSslErrors "
                               "manifestSslErrors 1 1 1 1 0 0 0 0 "
                               "QLabel {  color: red; }QFrame { margin: 1px }"));
    }
};

QTEST_APPLESS_MAIN(tst_commandline)
#include "tst_commandline.moc"
