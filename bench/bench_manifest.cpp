// Reading a manifest file: with the program's handler, with one that does nothing, or with one that
// just keeps the texts of each product, as every reader of a manifest has to.
//
//   bench_manifest program|nothing|keeping FILE

#include "ZelBench.h"

#include "core/ZelManifestHandler.h"

#include <QUrl>
#include <QVarLengthArray>
#include <QXmlInputSource>
#include <QXmlSimpleReader>

namespace {

class KeepingHandler : public QXmlDefaultHandler {
public:
    bool startElement(const QString&, const QString& name, const QString&,
                      const QXmlAttributes&) override {
        if (name == "ProductInfo")
            products.emplaceBack();
        awaited = name.size() > 1;
        return true;
    }

    bool characters(const QString& text) override {
        if (awaited && !products.isEmpty()) {
            if (text.startsWith("https:"))
                products.last().address = QUrl(text);
            else
                products.last().texts << text;
        }
        awaited = false;
        return true;
    }

private:
    struct Product {
        QVarLengthArray<QString, 5> texts;
        QUrl address;
    };

    QList<Product> products;
    bool awaited = false;
};

} // namespace

int main(int argc, char** argv) {
    QFile file(argc == 3 ? argv[2] : "");
    if (!file.open(QIODevice::ReadOnly))
        return 2;
    const QByteArray document = file.readAll();

    QElapsedTimer clock;
    clock.start();
    const QByteArray mode(argv[1]);
    if (mode != "program") {
        QXmlSimpleReader reader;
        QXmlDefaultHandler nothing;
        KeepingHandler keeping;
        QXmlDefaultHandler& handler = mode == "keeping" ? keeping : nothing;
        reader.setContentHandler(&handler);
        reader.setErrorHandler(&handler);
        QXmlInputSource source;
        source.setData(document);
        if (!reader.parse(&source, false))
            return 1;
        return ZelPrintFigures({{"wall", ZelElapsed(clock)}});
    }
    QList<ZelManifestElement> manifest;
    ZelManifestHandler handler(manifest);
    if (!handler.read(document))
        return 1;
    return ZelPrintFigures({{"wall", ZelElapsed(clock)}, {"records", double(manifest.size())}});
}
