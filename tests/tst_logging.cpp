#include "app/ZelLogging.h"
#include "support/ZelTestSupport.h"

#include <QLoggingCategory>
#include <csignal>
#include <cstdarg>
#include <syslog.h>

// Stands in front of the C library's own and shows the priority of each record.
extern "C" void syslog(int priority, const char* format, ...) {
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
    ZelPrintLogMessage(QtFatalMsg, "the end");
    qDebug("still alive");
}

class tst_logging : public QObject {
    Q_OBJECT

private slots:
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
        QCOMPARE(output.mid(output.indexOf('<')), QString(R"(<3>zel Debug: 100%s of %n "Größe"
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
