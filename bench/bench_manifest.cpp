// Reading a manifest file: with the program's handler, or with one that does nothing.
//
//   bench_manifest program|nothing FILE

#include "ZelBench.h"

#include "core/ZelManifestHandler.h"

#include <QXmlInputSource>
#include <QXmlSimpleReader>

int main(int argc, char** argv) {
    QFile file(argc == 3 ? argv[2] : "");
    if (!file.open(QIODevice::ReadOnly))
        return 2;
    QXmlInputSource source;
    source.setData(file.readAll());

    QElapsedTimer clock;
    clock.start();
    if (qstrcmp(argv[1], "nothing") == 0) {
        QXmlSimpleReader reader;
        QXmlDefaultHandler handler;
        reader.setContentHandler(&handler);
        reader.setErrorHandler(&handler);
        if (!reader.parse(&source, false))
            return 1;
        return ZelPrintFigures({{"wall", ZelElapsed(clock)}});
    }
    QList<ZelManifestElement> manifest;
    ZelManifestHandler handler(manifest);
    if (!ZelReadManifest(source, handler))
        return 1;
    return ZelPrintFigures({{"wall", ZelElapsed(clock)}, {"records", double(manifest.size())}});
}
