// The whole assay with the products in FOLDER, or the runs of their renderers alone.
//
//   bench_assay program|renderers FOLDER PROFILER

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"

#include <QProcess>

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    const QDir folder(argv[2]);
    qputenv("LUMITREE", QFile::encodeName(folder.filePath("any")));
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    if (app.Start() != 0)
        return 1;
    ZelSettle();
    ZelMachineAssay::Singleton()->profilerPath = argv[3];

    QElapsedTimer clock;
    clock.start();
    int products = 0;
    if (qstrcmp(argv[1], "program") == 0) {
        app.DoAssay();
        products = int(app.assay->products.size());
    } else {
        const QStringList entries = folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
        for (const QString& entry : entries) {
            QProcess renderer;
            renderer.start(folder.filePath(entry) + "/bin/lxrender", {"-version"});
            products += renderer.waitForFinished();
        }
    }
    return ZelPrintFigures({{"wall", ZelElapsed(clock)}, {"products", double(products)}});
}
