#include "core/ZelMachineAssay.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QAccessible>
#include <QCheckBox>
#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <sys/statvfs.h>

static unsigned long freeRoom = 1 << 30; // bytes

// Stands in front of the C library's own: every disk has that room.
extern "C" int statvfs(const char* path, struct statvfs* volume) noexcept {
    *volume = {};
    volume->f_blocks = freeRoom * 2;
    volume->f_bavail = QByteArray(path).endsWith("/Downloads") ? freeRoom : freeRoom * 2;
    volume->f_frsize = 1;
    return 0;
}

class tst_selection : public QObject {
    Q_OBJECT

private slots:
    void showAllAddsTheHiddenProducts();
    void eachVisitAsksAnew();
    void problemsAreToldFirst();
    void room();
};

namespace {

QByteArray product(const QString& label, qint64 size = 4, bool eligible = true) {
    return zelProductXml(label + ".pkg", label, 7, size, "http://127.0.0.1:1/none", eligible);
}

const QByteArray farmServer = product("Lumivex FarmServer 21.0");
const QByteArray atelier = product("Lumivex Atelier 21.0 for Maya 2016.5");
const QByteArray guide = product("Pens & Brushes");
const QByteArray notEligible = product("Licence Manager", 4, false);

// What stands in the table's place, what a screen reader says of it, the number of rows, what can
// be used, and the two cursors.
QVariantList look(const ZelWizardDriver& wizard) {
    auto* table = wizard.find<QTableWidget>("products");
    const auto* label = table->viewport()->findChild<QLabel*>();
    return {label && label->isVisible() ? label->text() : "",
            QAccessible::queryAccessibleInterface(table)->text(QAccessible::Description),
            table->rowCount(),
            table->isEnabled(),
            wizard.find<QCheckBox>("showAll")->isEnabled(),
            wizard.window->button(QWizard::NextButton)->isEnabled(),
            wizard.window->currentPage()->cursor().shape() == Qt::BusyCursor,
            !QApplication::overrideCursor()};
}

QStringList showAll(const ZelWizardDriver& wizard) {
    wizard.press("showAll");
    return wizard.rows();
}

} // namespace

void tst_selection::showAllAddsTheHiddenProducts() {
    ZelTestWizard wizard;
    const QString hidden = "Lumivex Atelier 21.0 for Maya 2014";
    wizard.offer({guide, product(hidden), notEligible, atelier, farmServer});
    zelWriteFile(wizard.downloads.filePath("Lumivex FarmServer 21.0.pkg"), "xar!");
    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    QCOMPARE(wizard.said(), {});
    for (int index = 0; index < 5; ++index)
        QCOMPARE(ZelApp::instance()->manifest[index].downloaded, index == 4);
    const auto* table = wizard.find<QTableWidget>("products");
    QVERIFY(!table->horizontalHeader()->isVisible() && !table->verticalHeader()->isVisible());
    QStringList rows{"*Lumivex FarmServer 21.0", "*Lumivex Atelier 21.0 for Maya 2016.5",
                     "*Pens & Brushes"};
    QCOMPARE(wizard.rows(), rows);

    wizard.toggle(0);
    rows[0].remove(0, 1);
    QCOMPARE(showAll(wizard), rows + QStringList{hidden});
    wizard.toggle(3);
    QCOMPARE(showAll(wizard), rows);
    QCOMPARE(showAll(wizard), rows + QStringList{hidden});
    wizard.toggle(3);
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    QCOMPARE(ZelApp::instance()->downloadList, QList({3, 0, 1}));
}

void tst_selection::eachVisitAsksAnew() {
    ZelTestWizard wizard;
    ZelServer server;
    ZelApp* app = ZelApp::instance();
    app->manifestFile.clear();
    app->scheme = "http";
    app->host = server.hostAndPort();
    const QByteArray manifest = zelManifestXml({farmServer, atelier, guide});
    const auto answer = [&](const QByteArray& validation) {
        server.answer(manifest.size(), manifest, "Validation: " + validation + "\r\n");
    };
    const QString text = "Asking Corvane for the product list...";
    const QVariantList waiting{text, text, 0, false, false, false, true, true};
    int visit = 0;
    for (const char* late : {"", "Approved", "Error Account closed", ""}) {
        ++visit;
        QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
        QTRY_COMPARE(server.requests.size(), visit);
        for (const char* entry : {"user\r\n", "pass\r\n", "osx\r\n"})
            QCOMPARE(server.received.count(entry), visit);
        QVERIFY(server.received.indexOf("user\r\n") < server.received.indexOf("pass\r\n"));
        QCOMPARE(ZelLogCapture::lines().count("Doing assay..."), visit);
        QCOMPARE(look(wizard), waiting);
        if (*late) {
            wizard.press(QWizard::BackButton);
            answer(late);
            QTRY_COMPARE(ZelLogCapture::lines().filter("Manifest request ").size(), visit);
        } else {
            answer("Approved");
            QTRY_VERIFY(wizard.window->currentPage()->isComplete());
            QCOMPARE(look(wizard), QVariantList({"", "", 3, true, true, true, false, true}));
            QVERIFY(!wizard.find<QCheckBox>("showAll")->isChecked());
            showAll(wizard);
            wizard.press(QWizard::BackButton);
        }
        QCOMPARE(wizard.window->currentId(), ZelMainWindow::Account);
    }
    QCOMPARE(wizard.boxes.names(), {});
}

// Also where nothing can be installed, products can be downloaded. A full disk keeps the page.
void tst_selection::problemsAreToldFirst() {
    ZelTestWizard wizard;
    wizard.offer({product("Lumivex Atelier for Maya 2014")});
    QCOMPARE(ZelWizardDriver::exitStatusOf([&] { wizard.walkTo(ZelMainWindow::Selection); }, 0),
             ZelWizardDriver::noExit); // it can be had from among the hidden ones
    QCOMPARE(wizard.boxes.boxes[0].text, "There were no products to download");
    QCOMPARE(wizard.boxes.boxes[0].detailedText.count('\n'), 1);
    QCOMPARE(showAll(wizard), {"Lumivex Atelier for Maya 2014"});
    wizard.offer({farmServer, guide});
    wizard.press(QWizard::BackButton);
    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    wizard.toggle(0);

    ZelApp::instance()->downloadList = {7};
    ZelMachineAssay::Singleton()->attributes[ZelAttrInstallProblem] = "Too old.";
    wizard.boxes.answers["installProblem"] = {QMessageBox::Ok};
    emit ZelApp::instance()->validManifestReply();
    QCOMPARE(wizard.boxes.names(), QStringList({"selectionIssues", "selectionIssues",
                                                "installProblem", "selectionIssues"}));
    QCOMPARE(ZelApp::instance()->downloadList, {});
    QCOMPARE(wizard.rows(), QStringList({"*Lumivex FarmServer 21.0", "*Pens & Brushes"}));
    QVERIFY(wizard.window->currentPage()->isComplete());
}

// From the sizes of the products and the bytes that are free to the bytes that are said to be
// needed.
void tst_selection::room() {
    const auto run = [](const QStringList& in) {
        ZelTestWizard wizard;
        QByteArrayList products;
        for (const QString& size : in[0].split(' '))
            products << product("Pens " + size, size.toLongLong());
        wizard.offer(products);
        freeRoom = in[1].toULong();
        if (wizard.walkTo(ZelMainWindow::Download))
            return QString("enough");
        const QString text = wizard.boxes.boxes.last().informativeText;
        wizard.toggle(0);
        if (!wizard.walkTo(ZelMainWindow::Download))
            return QString("still not enough");
        return text.section(' ', 1, 1) + ' ' + text.section(' ', 7, 7) +
               (text.endsWith(" on " + wizard.downloads.absolutePath()) ? "" : text);
    };
    zelCheckTable(R"(4 100 500 | 1208 => enough
        4 100 500 | 1207 => 1.180KB 1.179KB
        1152921504606846976 1 | 1000000 => 2147483648.000GB 976.563KB
        4611686018427387904 1 | 1000000 => 8589934592.000GB 976.563KB
        3458764513820540928 1 | 1000000 => 6442450944.000GB 976.563KB)",
                  run);
}

ZEL_TEST_MAIN(tst_selection)
#include "tst_selection.moc"
