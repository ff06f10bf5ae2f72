#include "core/ZelMachineAssay.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelSelection.h"

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

namespace {

QByteArray product(const QString& label, qint64 size = 4, bool eligible = true) {
    return zelProductXml(label + ".pkg", label, 7, size, "http://127.0.0.1:1/none", eligible);
}

const QByteArray farmServer = product("Lumivex FarmServer 21.0");
const QByteArray atelier = product("Lumivex Atelier 21.0 for Maya 2016.5");
const QByteArray guide = product("Pens & Brushes");

// The rows, what stands in their place, what a screen reader says of them, and what else holds.
QString look(const ZelWizardDriver& wizard) {
    auto* table = wizard.find<QTableWidget>("products");
    const auto* label = table->viewport()->findChild<QLabel*>();
    const auto* showAll = wizard.find<QCheckBox>("showAll");
    const auto* spoken = QAccessible::queryAccessibleInterface(table);
    QStringList result = wizard.rows();
    result << (label->isVisible() ? label->text() : "") << spoken->text(QAccessible::Name)
           << spoken->text(QAccessible::Description);
    const auto add = [&](bool holds, const QString& fact) { result << (holds ? fact : QString()); };
    add(wizard.window->currentPage()->cursor().shape() == Qt::BusyCursor, "busy");
    add(QApplication::overrideCursor(), "wait cursor");
    add(table->isEnabled(), "table");
    add(table->horizontalHeader()->isVisible() || table->verticalHeader()->isVisible(), "headers");
    add(showAll->isEnabled(), "show all");
    add(showAll->isEnabled() && showAll->isChecked(), "all shown");
    add(wizard.window->button(QWizard::NextButton)->isEnabled(), "next");
    result.removeAll("");
    return result.join(", ");
}

QString lookAfter(const ZelWizardDriver& wizard, int toggled) {
    toggled < 0 ? wizard.press("showAll") : wizard.toggle(toggled);
    return look(wizard);
}

} // namespace

class tst_selection : public QObject {
    Q_OBJECT

private slots:
    void showAllAddsTheHiddenProducts() {
        ZelTestWizard wizard;
        const QString hidden = "Lumivex Atelier 21.0 for Maya 2014";
        wizard.offer({guide, product(hidden), product("Tools", 4, false), atelier, farmServer});
        zelWriteFile(wizard.downloads.filePath("Lumivex FarmServer 21.0.pkg"), "xar!");
        QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
        QCOMPARE(wizard.said(), {});
        for (int index = 0; index < 5; ++index)
            QCOMPARE(ZelApp::instance()->manifest[index].downloaded, index == 4);
        QVERIFY(!qobject_cast<ZelSelection*>(wizard.window->currentPage())->isProductEnabled(3));
        QVERIFY(ZelLogCapture::contains("Failed getting checkbox from table"));
        const QString rest = ", Products, table, show all, ";
        const QString rows =
            "Lumivex FarmServer 21.0, *Lumivex Atelier 21.0 for Maya 2016.5, *Pens & Brushes";
        QCOMPARE(look(wizard), '*' + rows + rest + "next");
        QCOMPARE(lookAfter(wizard, 0), rows + rest + "next");
        QCOMPARE(lookAfter(wizard, -1), rows + ", " + hidden + rest + "all shown, next");
        QCOMPARE(lookAfter(wizard, 3), rows + ", *" + hidden + rest + "all shown, next");
        QCOMPARE(lookAfter(wizard, -1), rows + rest + "next");
        lookAfter(wizard, -1);
        lookAfter(wizard, 3);
        QVERIFY(wizard.walkTo(ZelMainWindow::Download));
        QCOMPARE(ZelApp::instance()->downloadList, QList({3, 0, 1}));
    }

    void eachVisitAsksAnew() {
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
        const QString products =
            "*Lumivex FarmServer 21.0, *Lumivex Atelier 21.0 for Maya 2016.5, *Pens & Brushes";
        int visit = 0;
        for (const char* late : {"", "Approved", "Error Account closed", ""}) {
            ++visit;
            QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
            QTRY_COMPARE(server.requests.size(), visit);
            for (const char* entry : {"user\r\n", "pass\r\n", "osx\r\n"})
                QCOMPARE(server.received.count(entry), visit);
            QVERIFY(server.received.indexOf("user\r\n") < server.received.indexOf("pass\r\n"));
            QCOMPARE(ZelLogCapture::lines().count("Doing assay..."), visit);
            QCOMPARE(look(wizard), text + ", Products, " + text + ", busy");
            if (*late) {
                wizard.press(QWizard::BackButton);
                answer(late);
                QTRY_COMPARE(ZelLogCapture::lines().filter("Manifest request ").size(), visit);
            } else {
                answer("Approved");
                QTRY_COMPARE(look(wizard), products + ", Products, table, show all, next");
                wizard.press("showAll");
                wizard.press(QWizard::BackButton);
            }
            QCOMPARE(wizard.window->currentId(), ZelMainWindow::Account);
        }
        QCOMPARE(wizard.boxes.names(), {});
    }

    // Also where nothing can be installed, products can be downloaded. A full disk keeps the page.
    void problemsAreToldFirst() {
        ZelTestWizard wizard;
        wizard.offer({product("Lumivex Atelier for Maya 2014")});
        QCOMPARE(ZelWizardDriver::exitStatusOf([&] { wizard.walkTo(ZelMainWindow::Selection); }, 0),
                 ZelWizardDriver::noExit); // it can be had from among the hidden ones
        QCOMPARE(wizard.boxes.boxes[0].text, "There were no products to download");
        QCOMPARE(lookAfter(wizard, -1),
                 "Lumivex Atelier for Maya 2014, Products, table, show all, all shown, next");
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
        QCOMPARE(look(wizard),
                 "*Lumivex FarmServer 21.0, *Pens & Brushes, Products, table, show all, next");
    }

    // From the sizes of the products and the bytes that are free to the bytes that are said to be
    // needed.
    void room() {
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
};

ZEL_TEST_MAIN(tst_selection)
#include "tst_selection.moc"
