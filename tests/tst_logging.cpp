#include "app/ZelLogging.h"
#include "core/ZelTexts.h"
#include "support/ZelTable.h"
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

class tst_logging : public QObject {
    Q_OBJECT

private slots:
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
        QCOMPARE(texts.mid(0, 2),
                 QStringList({"Unknown file error: -1", "Unknown network error -1"}));
        const QByteArray all = texts.join('\n').toUtf8();
        QCOMPARE(QCryptographicHash::hash(all, QCryptographicHash::Sha1).toHex(),
                 QByteArray("ac80657fb4b9397290c7a3fa684ac81582c4c981"));
    }

    void records() {
        const ZelEnvironment silence("QT_LOGGING_RULES", "*=false");
        QProcess child;
        child.start(QCoreApplication::applicationFilePath(), {"--write-messages", "-debug"});
        QVERIFY(child.waitForStarted());
        const QString identity = QString("ZELInstaller[%1]: ").arg(child.processId());
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
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
    if (argc == 1)
        return zelRunTest<tst_logging>(argc, argv);
    writeMessages(argc, argv);
}
#include "tst_logging.moc"
