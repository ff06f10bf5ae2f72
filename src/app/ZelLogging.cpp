#include "app/ZelLogging.h"

#include "app/ZelApp.h"

#include <QLoggingCategory>
#include <cstdlib>
#include <syslog.h>

namespace {

bool loggingActive = false;

void handleMessage(QtMsgType type, const QMessageLogContext&, const QString& message) {
    ZelPrintLogMessage(type, message.toLocal8Bit().constData());
}

} // namespace

void ZelInitializeLogging() {
    openlog("ZELInstaller", LOG_PID | LOG_PERROR, LOG_USER);
    loggingActive = true;
    // Configuration files and the environment can switch messages off; support needs the whole log
    // everywhere. What they switch on stays on.
    static const auto configured = QLoggingCategory::installFilter(nullptr);
    QLoggingCategory::installFilter([](QLoggingCategory* category) {
        configured(category);
        category->setEnabled(QtWarningMsg, true);
        category->setEnabled(QtCriticalMsg, true);
        if (qstrcmp(category->categoryName(), "default") == 0)
            category->setEnabled(QtDebugMsg, true);
    });
    qInstallMessageHandler(handleMessage);
}

void ZelFinalizeLogging() {
    loggingActive = false;
}

void ZelPrintLogMessage(QtMsgType type, const char* message) {
    if (loggingActive && type < QtCriticalMsg && type < ZelApp::instance()->logThreshold)
        return;

    switch (type) {
    case QtDebugMsg:
        // At the error priority, so that the system log keeps it.
        syslog(LOG_ERR, "zel Debug: %s\n", message);
        break;
    case QtWarningMsg:
        syslog(LOG_ERR, "zel Warning: %s\n", message);
        break;
    case QtCriticalMsg:
        syslog(LOG_CRIT, "zel Critical: %s\n", message);
        break;
    case QtFatalMsg:
        syslog(LOG_ALERT, "zel Fatal: %s\n", message);
        std::abort();
    default:
        break;
    }
}
