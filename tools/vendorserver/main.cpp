#include "vendorserver/ZelVendorServer.h"

#include <QCoreApplication>
#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <unistd.h>

int main(int argc, char** argv) {
    const pid_t parent = getppid();
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.contains("--die-with-parent")) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent) // it ended before that
            return 0;
    }
    ZelVendorServer server;
    QObject::connect(&server, &ZelVendorServer::said,
                     [](const QByteArray& line) { std::fputs(line.constData(), stderr); });
    const QString problem = server.start(arguments);
    if (!problem.isEmpty()) {
        std::fprintf(stderr, "zelvendor: %s\n", qPrintable(problem));
        return 1;
    }
    std::printf("listening on %s\n", qPrintable(server.address()));
    std::fflush(stdout);
    return QCoreApplication::exec();
}
