// The selection rules, and the table of what they chose.
//
//   bench_selection rules RECORDS
//       the rules, with none of five Mayas served, which is the longest way
//   bench_selection program|bare ROWS
//       the selection page's table, or a bare table widget of the same rows: filled and painted,
//       then again with one row in ten more, as "Show All" does it

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelSelectionRules.h"
#include "wizard/ZelMainWindow.h"
#include "wizard/ZelSelection.h"

#include <QCheckBox>
#include <QHeaderView>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

ZelManifestElement product(const QString& label, int build) {
    ZelManifestElement element;
    element.SimpleName = label;
    element.Name = label + ".pkg";
    element.BuildID = QString::number(build);
    element.DownloadURL = QUrl("https://www.corvane.example/packages/" + QString::number(build));
    element.EligibleCommunityDownload = true;
    return element;
}

int rules(ZelApp& app, int records) {
    for (int i = 0; i < records; ++i) {
        const QString label = i % 3 == 0   ? "Lumivex FarmServer %1.0"
                              : i % 3 == 1 ? "Lumivex Atelier %1.0 for Maya 2014.5"
                                           : "Lumivex Scenes %1.0";
        app.manifest << product(label.arg(10 + i % 90), i);
    }
    ZelMachineAssay assay;
    for (int i = 0; i < 5; ++i)
        assay.products.append({{"ProductName", "Maya"}, {"Version", QString::number(3000 + i)}});

    ZelOffer offer;
    QStringList issues;
    QElapsedTimer clock;
    clock.start();
    ZelChooseDownloads(app.manifest, assay, offer, issues);
    return ZelPrintFigures({{"wall", ZelElapsed(clock)}, {"chosen", double(offer.chosen.size())}});
}

void fillBareTable(QTableWidget* table, const QList<ZelManifestElement>& manifest, int rows) {
    table->clearContents();
    table->setRowCount(rows);
    for (int row = 0; row < rows; ++row)
        table->setCellWidget(row, 0, new QCheckBox(manifest[row].label()));
    table->resizeColumnsToContents();
}

int table(ZelApp& app, bool bare, int rows) {
    if (app.Start() != 0)
        return 1;
    app.wizard->hide();
    app.assay = ZelMachineAssay::Singleton();
    for (int i = 0; i < rows; ++i)
        app.manifest << product(QString("Lumivex Scenes %1").arg(i), i);
    for (int i = 0; i < rows / 10; ++i)
        app.manifest << product(QString("Lumivex Atelier %1 for Maya 2014").arg(i), i);

    ZelSelection page(nullptr);
    auto* products = page.findChild<QTableWidget*>();
    QStringList issues;
    page.chooseDownloads(issues);
    page.resize(800, 600);
    page.show();
    ZelSettle();

    const auto fill = [&](bool showAll) {
        QElapsedTimer clock;
        clock.start();
        if (bare)
            fillBareTable(products, app.manifest, showAll ? int(app.manifest.size()) : rows);
        else
            QMetaObject::invokeMethod(&page, "buildList", Q_ARG(bool, showAll));
        ZelSettle();
        return ZelElapsed(clock);
    };
    const double first = fill(false);
    const double toggled = fill(true);
    return ZelPrintFigures(
        {{"wall", first}, {"toggled", toggled}, {"rows", double(products->rowCount())}});
}

} // namespace

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    const QByteArray mode(argc > 2 ? argv[1] : "");
    if (mode == "rules")
        return rules(app, atoi(argv[2]));
    if (mode == "program" || mode == "bare")
        return table(app, mode == "bare", atoi(argv[2]));
    return 2;
}
