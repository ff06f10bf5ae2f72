#include "core/ZelMachineAssay.h"
#include "core/ZelTexts.h"
#include "support/ZelTestSupport.h"

#include <QAccessible>
#include <QCheckBox>
#include <QLabel>
#include <QTableWidget>

class tst_selection : public QObject {
    Q_OBJECT

private slots:
    void showAllAddsTheHiddenProducts();
    void eachVisitAsksAnew();
    void boxesAndExits_data();
    void boxesAndExits();
    void manifestIsLoggedAfterTheIssues();
    void fullDiskKeepsThePage_data();
    void fullDiskKeepsThePage();
};

namespace {

QByteArray product(const QString& label, qint64 size = 4, bool eligible = true) {
    return zelProductXml(label + ".pkg", label, 7, size, "http://127.0.0.1:1/none", eligible);
}

const QByteArray farmServer = product("Lumivex FarmServer 21.0");
const QByteArray atelier = product("Lumivex Atelier 21.0 for Maya 2016.5");
const QByteArray guide = product("Pens & Brushes");
const QByteArray notEligible = product("Licence Manager", 4, false);

constexpr qint64 exabyte = qint64(1) << 60;

// What stands in the table's place, what a screen reader says of it, the number of rows, and what
// can be used.
QVariantList look(const ZelWizardDriver& wizard) {
    auto* table = wizard.find<QTableWidget>("products");
    const auto* label = table->viewport()->findChild<QLabel*>();
    return {label && label->isVisible() ? label->text() : "",
            QAccessible::queryAccessibleInterface(table)->text(QAccessible::Description),
            table->rowCount(),
            table->isEnabled(),
            wizard.find<QCheckBox>("showAll")->isEnabled(),
            wizard.window->button(QWizard::NextButton)->isEnabled()};
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
    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    QCOMPARE(wizard.said(), {});
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
    const QVariantList waiting{text, text, 0, false, false, false};
    int visit = 0;
    for (const char* late : {"", "Approved", "Error Account closed", ""}) {
        ++visit;
        QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
        QTRY_COMPARE(server.requests.size(), visit);
        QCOMPARE(ZelLogCapture::lines().count("Doing assay..."), visit);
        QCOMPARE(look(wizard), waiting);
        if (*late) {
            wizard.press(QWizard::BackButton);
            answer(late);
            QTRY_COMPARE(ZelLogCapture::lines().filter("Manifest request ").size(), visit);
        } else {
            answer("Approved");
            QTRY_VERIFY(wizard.window->currentPage()->isComplete());
            QCOMPARE(look(wizard), QVariantList({"", "", 3, true, true, true}));
            QVERIFY(!wizard.find<QCheckBox>("showAll")->isChecked());
            showAll(wizard);
            wizard.press(QWizard::BackButton);
        }
        QCOMPARE(wizard.window->currentId(), ZelMainWindow::Account);
    }
    QCOMPARE(wizard.boxes.names(), {});
}

void tst_selection::boxesAndExits_data() {
    QTest::addColumn<QByteArrayList>("products");
    QTest::addColumn<QString>("event");
    QTest::addColumn<QString>("box");
    QTest::addColumn<int>("status");
    const int none = ZelWizardDriver::noExit;
    const QByteArrayList both{farmServer, atelier};
    const QString details = "/Click on Show Details to see why";
    QTest::newRow("one issue") << QByteArrayList{farmServer, guide} << ""
                               << "There was an issue selecting products" + details << none;
    QTest::newRow("several issues") << QByteArrayList{guide} << ""
                                    << "There were issues selecting products" + details << none;
    const QString nothing = "There were no products to download" + details;
    QTest::newRow("one hidden") << QByteArrayList{product("Lumivex Atelier for Maya 2014")} << ""
                                << nothing << none;
    QTest::newRow("nothing on offer") << QByteArrayList{notEligible} << "" << nothing << 0;
    QTest::newRow("nothing checked") << both << "uncheck"
                                     << "There were no products to install/" << 0;
    QTest::newRow("invalid manifest")
        << both << "invalid"
        << "Could not get a product list from Corvane/Account closed" << 1;
    const QString problem = "Cannot complete the installation on this machine/Too old. Press OK to "
                            "conitue download only or Cancel to exit this application";
    QTest::newRow("problem, Ok") << both << "Ok" << problem << none;
    QTest::newRow("problem, Cancel") << both << "Cancel" << problem << -1;
}

void tst_selection::boxesAndExits() {
    QFETCH(QByteArrayList, products);
    QFETCH(QString, event);
    ZelTestWizard wizard;
    ZelApp* app = ZelApp::instance();
    wizard.offer(products);
    if (event == "Ok")
        wizard.boxes.answers["installProblem"] = {QMessageBox::Ok}; // else the default, Cancel
    const auto visit = [&] {
        wizard.walkTo(ZelMainWindow::Selection);
        if (event == "uncheck") {
            wizard.toggle(0);
            wizard.toggle(1);
            wizard.press(QWizard::NextButton);
        } else if (event == "invalid") {
            emit app->invalidManifestReply("Account closed");
        } else if (!event.isEmpty()) {
            ZelMachineAssay::Singleton()->attributes[ZelAttrInstallProblem] = "Too old.";
            emit app->validManifestReply();
        }
    };
    QTEST(ZelWizardDriver::exitStatusOf(visit, 0), "status");
    QFETCH(QString, box);
    QCOMPARE(wizard.said(), QStringList{box});
    QCOMPARE(wizard.page(), ZelMainWindow::Selection);
    QCOMPARE(app->downloadList, {});
}

void tst_selection::manifestIsLoggedAfterTheIssues() {
    ZelTestWizard wizard;
    wizard.offer({guide, notEligible});
    wizard.boxes.onShow = [](QMessageBox& box) {
        QCOMPARE(box.detailedText().count('\n'), 1);
        QVERIFY(!ZelLogCapture::contains("Manifest:"));
    };
    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    const QStringList lines = ZelLogCapture::lines();
    const QString record =
        "\"%1.pkg\" zel: %2 url: QUrl(\"http://127.0.0.1:1/none\") buildid: \"7\"";
    QCOMPARE(lines.mid(lines.indexOf("Manifest:") + 1, 2),
             QStringList(
                 {record.arg("Pens & Brushes", "true"), record.arg("Licence Manager", "false")}));
}

void tst_selection::fullDiskKeepsThePage_data() {
    QTest::addColumn<QList<qint64>>("sizes");
    QTest::addColumn<QString>("needed");
    QTest::newRow("twice the sum") << QList{exabyte, exabyte} << "4294967296.000GB";
    QTest::newRow("doubling overflows") << QList{4 * exabyte} << "8589934592.000GB";
    QTest::newRow("adding overflows") << QList{3 * exabyte, 3 * exabyte} << "8589934592.000GB";
}

void tst_selection::fullDiskKeepsThePage() {
    QFETCH(QList<qint64>, sizes);
    QFETCH(QString, needed);
    ZelTestWizard wizard;
    QByteArrayList products{farmServer, atelier};
    for (const qint64 size : sizes)
        products << product(QString("Enormous %1").arg(products.size()), size);
    wizard.offer(products);
    QVERIFY(!wizard.walkTo(ZelMainWindow::Download));
    const QString logged = ZelLogCapture::lines().filter("Bytes avail on").value(0);
    const QString text = "You do not have enough free disk space to download the selected products/"
                         "Needed %1 for selected downloads. There is %2 of available space on %3";
    QCOMPARE(wizard.said(), {text.arg(needed, ZelHumanBytes(logged.section(' ', -1).toLongLong()),
                                      wizard.downloads.absolutePath())});
    QCOMPARE(ZelApp::instance()->downloadList, {});

    for (int row = 2; row < products.size(); ++row)
        wizard.toggle(row);
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
}

ZEL_TEST_MAIN(tst_selection)
#include "tst_selection.moc"
