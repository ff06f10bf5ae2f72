// The selection rules over so many products, with none of five Mayas served, which is the longest
// way; or the selection page's table, or a bare table widget of the same rows: filled and painted,
// then again with one row in ten more, as "Show All" does it.
//
//   bench_selection rules|program|bare PRODUCTS

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"
#include "wizard/ZelMainWindow.h"
#include "wizard/ZelSelection.h"

#include <QCheckBox>
#include <QTableWidget>

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    if (argc != 3 || app.Start() != 0)
        return 2;
    const QByteArray mode(argv[1]);
    const int shown = atoi(argv[2]);
    app.wizard->hide();
    app.assay = ZelMachineAssay::Singleton();
    for (int i = 0; i < 5; ++i)
        app.assay->products.append(
            {{"ProductName", "Maya"}, {"Version", QString::number(3000 + i)}});
    for (int i = 0; i < shown + shown / 10; ++i) {
        ZelManifestElement& product = app.manifest.emplace_back();
        product.Name =
            QString(i < shown ? "Lumivex Scenes 21.%1" : "Lumivex Atelier 21.%1 for Maya 2014")
                .arg(i);
        product.DownloadURL = QUrl("https://www.corvane.example/packages/" + QString::number(i));
        product.EligibleCommunityDownload = true;
    }

    ZelSelection page(nullptr);
    QStringList issues;
    QElapsedTimer clock;
    clock.start();
    page.chooseDownloads(issues);
    if (mode == "rules")
        return ZelPrintFigures({{"wall", ZelElapsed(clock)}});

    page.resize(800, 600);
    page.show();
    ZelSettle();
    auto* table = page.findChild<QTableWidget*>();
    const auto fill = [&](bool showAll) {
        clock.start();
        if (mode == "program") {
            QMetaObject::invokeMethod(&page, "buildList", Q_ARG(bool, showAll));
        } else {
            table->clearContents();
            table->setRowCount(showAll ? int(app.manifest.size()) : shown);
            for (int row = 0; row < table->rowCount(); ++row)
                table->setCellWidget(row, 0, new QCheckBox(app.manifest[row].label()));
            table->resizeColumnsToContents();
        }
        ZelSettle();
        return ZelElapsed(clock);
    };
    const double first = fill(false);
    return ZelPrintFigures({{"wall", first}, {"toggled", fill(true)}});
}
