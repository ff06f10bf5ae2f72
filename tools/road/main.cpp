// The installer as its own main() runs it, with the stand-in system profiler. With --shots it walks
// the whole road by itself and leaves a picture of every page and box in that folder; the exit
// status then tells whether everything on the road happened.

#include "RoadWalker.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"

#include <QTimer>

namespace {

QString valueOf(const QString& option) {
    const QStringList arguments = QCoreApplication::arguments();
    const qsizetype at = arguments.indexOf(option);
    return at < 0 ? QString() : arguments.value(at + 1);
}

} // namespace

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    ZelMachineAssay::Singleton()->profilerPath = valueOf("--profiler");
    if (app.Start() != 0)
        return 1;

    const QString shots = valueOf("--shots");
    if (shots.isEmpty())
        return QApplication::exec();

    RoadWalker walker(shots);
    QTimer::singleShot(0, &walker, &RoadWalker::walk);
    const int status = QApplication::exec();
    return walker.report(status) ? 0 : 1;
}
