// The whole assay of a machine whose products lie in FOLDER.
//
//   bench_assay FOLDER PROFILER

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    if (app.Start() != 0)
        return 1;
    ZelSettle();
    ZelMachineAssay::Singleton()->possibleLocations = {argv[1]};
    ZelMachineAssay::Singleton()->profilerPath = argv[2];
    QElapsedTimer clock;
    clock.start();
    app.DoAssay();
    return ZelPrintFigures({{"wall", ZelElapsed(clock)}});
}
