#include "app/ZelBuildConfig.h"
#include "app/ZelLogging.h"
#include "core/ZelTexts.h"
#include "support/ZelTestSupport.h"

#include <QCryptographicHash>
#include <QLoggingCategory>
#include <csignal>
#include <cstdarg>
#include <dlfcn.h>
#include <syslog.h>

// These stand in front of the C library's own and show with what they are called.
extern "C" void openlog(const char* identity, int options, int facility) {
    std::fprintf(stderr, "<%s %d %d>\n", identity, options, facility);
    static const auto real = reinterpret_cast<decltype(&openlog)>(dlsym(RTLD_NEXT, "openlog"));
    real(identity, options, facility);
}
#if _FORTIFY_SOURCE // what it is called then
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
#else
extern "C" void syslog(int priority, const char* format, ...) {
#endif
    std::fprintf(stderr, "<%d>", priority);
    va_list arguments;
    va_start(arguments, format);
    vsyslog(priority, format, arguments);
    va_end(arguments);
}

// The life of a program's log, in a process of its own.
static void writeMessages(int argc, char** argv) {
    {
        ZelApp app(argc, argv);
        ZelInitializeLogging();
        qDebug() << "100%s of %n" << QString("Größe");
        qInfo("nothing of this is written");
        const QLoggingCategory toolkit("qt.something");
        qCDebug(toolkit, "nor this");
        qCWarning(toolkit, "from the toolkit");
        app.logThreshold = QtWarningMsg;
        qDebug("below the threshold");
        qWarning("at the threshold");
        app.logThreshold = QtFatalMsg;
        qCritical("never below");
    }
    qDebug("without the application object");
    ZelPrintLogMessage(QtInfoMsg, "nor this");
    ZelPrintLogMessage(QtFatalMsg, "the end");
    qDebug("still alive");
}

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

// What the program begins with: options, resources, its log, and the texts that never change.
class tst_start : public QObject {
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
            -debugserver box:80 -pass -debugserver => |-debugserver|||http://localhost
            -debugserver box:80 => ||||http://box:80
            -debugserver box:65536 => ||||http://
            -debugserver box:0x50 => ||||http://
            -debugserver [::1]:8080 => ||||http://[::1]:8080)",
                      [&look](const QStringList& in) { return started(in[0], look); });
    }

    // From the screen's pixels for each of the program's to what stands ready.
    void resources() {
        const QTemporaryDir root;
        zelWriteFile(root.filePath("lib/Resources/stylesheets/zel.qss"),
                     "QLabel {\n  color:\r\n red; }\n\nQFrame { margin: 1px }");
        const QDir images(root.filePath("lib/Resources/images"));
        QVERIFY(images.mkpath("."));
        QImage(3, 3, QImage::Format_RGB32).save(images.filePath("zel.png"));
        QImage(6, 6, QImage::Format_RGB32).save(images.filePath("zel@2x.png"));
        const auto look = [&root](ZelApp& app) {
            QStringList result{app.successUrl.toString(), app.applicationVersion().left(4),
                               app.applicationPath.mid(app.installRoot.size())};
            app.installRoot = root.path();
            app.loadStylesheet("absent");
            const QPixmap picture = app.LoadPixmapResource("zel.png");
            for (const double number :
                 {double(app.getNetworkManager() == app.getNetworkManager()),
                  double(app.getDownloadBuffer() == app.getDownloadBuffer()),
                  double(app.LoadPixmapResource("absent").width()), double(picture.width()),
                  picture.devicePixelRatio(), double(app.Start()),
                  double(app.windowIcon().availableSizes().size()),
                  double(app.wizard->isVisible())})
                result << QString::number(number);
            delete app.wizard;
            result << app.styleSheet() << QDir::searchPaths("images").last()
                   << qgetenv("QT_NO_GLIB");
            return result.join(' ').remove(root.path());
        };
        const auto run = [&look](const QStringList& in) {
            const ZelEnvironment scale("QT_SCALE_FACTOR", in[0].toUtf8());
            return started("", look);
        };
        zelCheckTable(R"(
            1 => http://VENDOR/view/ZEL-Success 1.0. /Tests/tests.app/Contents/MacOS/tst_start 1 1 0 3 1 0 1 1 QLabel {  color: red; }QFrame { margin: 1px } /lib/Resources/images 1
            2 => http://VENDOR/view/ZEL-Success 1.0. /Tests/tests.app/Contents/MacOS/tst_start 1 1 0 6 2 0 2 1 QLabel {  color: red; }QFrame { margin: 1px } /lib/Resources/images 1)",
                      run);
    }

    void humanBytes() {
        QLocale::setDefault(QLocale("de_DE")); // which would write "1,500"
        const auto run = [](const QStringList& in) { return ZelHumanBytes(in[0].toLongLong()); };
        zelCheckTable(R"(-1 => -1b
            1023 => 1023b
            1024 => 1.000KB
            1048575 => 1023.999KB
            1048576 => 1.00MB
            1073741823 => 1024.00MB
            1073741824 => 1.000GB
            1610612736 => 1.500GB)",
                      run);
    }

    // All sentences by one digest: they are what users quote and support searches for.
    void errors() {
        QStringList texts;
        for (int code = -1; code < 500; ++code)
            texts << ZelFileError(QFile::FileError(code))
                  << ZelNetworkError(QNetworkReply::NetworkError(code));
        const QByteArray all = texts.join('\n').toUtf8();
        QCOMPARE(QCryptographicHash::hash(all, QCryptographicHash::Sha1).toHex(),
                 QByteArray("ac80657fb4b9397290c7a3fa684ac81582c4c981"));
    }

    void records() {
        const ZelEnvironment silence("QT_LOGGING_RULES", "*=false");
        QProcess child;
        child.start("/proc/self/exe", {"--write-messages", "-debug"});
        QVERIFY(child.waitForStarted());
        const QString identity = QString("ZELInstaller[%1]: ").arg(child.processId());
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitCode(), SIGABRT);
        const QString output = child.readAllStandardError().replace(identity.toUtf8(), "");
        QCOMPARE(output.mid(output.indexOf('<')), QString(R"(<ZELInstaller 33 8>
<3>zel Debug: 100%s of %n "Größe"
<3>zel Warning: from the toolkit
<3>zel Warning: at the threshold
<2>zel Critical: never below
<3>zel Debug: without the application object
<1>zel Fatal: the end
)"));
    }
};

int main(int argc, char** argv) {
    if (argc > 1 && argv[1] == QByteArray("--write-messages")) {
        writeMessages(argc, argv);
        return 0;
    }
    tst_start test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_start.moc"
