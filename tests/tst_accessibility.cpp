#include "AccessibilityCheck.h"
#include "StateWalker.h"
#include "support/ZelTestSupport.h"

#include <QAccessible>
#include <QPushButton>
#include <QTextEdit>

// What assistive technology and the keyboard find on every page and in every box.
class tst_accessibility : public QObject {
    Q_OBJECT

private slots:
    void everyStateCanBeReadAndReached_data();
    void everyStateCanBeReadAndReached();
    void theRoadIsWalkedByKeyboard();
};

namespace {

// Presses a key where the focus is.
void press(int key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(QApplication::focusWidget(), Qt::Key(key), modifiers);
}

// Goes on with Tab to the control of that accessible name. False when Tab does not lead there.
bool tabTo(const QString& name) {
    for (int i = 0; i < 50; ++i) {
        QWidget* focus = QApplication::focusWidget();
        if (QAccessible::queryAccessibleInterface(focus)->text(QAccessible::Name) == name)
            return focus->visibleRegion().boundingRect().height() == focus->height();
        press(Qt::Key_Tab);
    }
    return false;
}

} // namespace

void tst_accessibility::everyStateCanBeReadAndReached_data() {
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void tst_accessibility::everyStateCanBeReadAndReached() {
    QFETCH(QPalette, palette);
    QApplication::setPalette(palette);
    const auto restore = qScopeGuard([] { QApplication::setPalette(QPalette()); });
    QStringList problems;
    int states = 0;
    StateWalker walker;
    walker.onState = [&](const QString& state, QWidget& window) {
        ++states;
        problems += accessibilityProblems(state, window);
    };
    walker.walk();
    problems += walker.problems;
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    QVERIFY(states > 30);
}

void tst_accessibility::theRoadIsWalkedByKeyboard() {
    ZelVendor vendor;
    QByteArrayList products;
    for (int i = 0; i < 30; ++i) {
        const QString name = QString("materials-%1.pkg").arg(i);
        products << zelProductXml(name, QString("Materials %1").arg(i), 1, 1000);
        vendor.addPackage(name, 1000);
    }
    vendor.setManifest(zelManifestXml(products));
    QVERIFY(vendor.start());
    ZelApp* app = ZelApp::instance();
    app->manifestFile.clear();
    app->host = vendor.hostAndPort();
    app->scheme = "http";
    app->runInstallers = false;
    const ZelBrowser browser;

    ZelBoxDriver boxes; // ends the box when something goes wrong
    QStringList said;
    boxes.onShow = [&](QMessageBox& box) {
        QTRY_VERIFY(box.defaultButton()->hasFocus());
        said << box.objectName();
        const bool details = tabTo(box.tr("Show Details..."));
        press(details ? Qt::Key_Space : Qt::Key_Escape);
        said << (box.findChild<QTextEdit*>()->isVisible() ? "details" : "none");
        QVERIFY(tabTo("OK"));
        press(Qt::Key_Return);
    };

    QCOMPARE(app->Start(), 0);
    std::unique_ptr<ZelMainWindow> window(app->wizard);
    QVERIFY(QTest::qWaitForWindowActive(window.get()));
    press(Qt::Key_Return);
    QVERIFY(tabTo("Lumivex Forum User ID"));
    QTest::keyClicks(QApplication::focusWidget(), "user");
    press(Qt::Key_Tab);
    QTest::keyClicks(QApplication::focusWidget(), "pass");
    QVERIFY(tabTo("Advanced"));
    press(Qt::Key_Space);
    press(Qt::Key_Tab);
    QCOMPARE(QApplication::focusWidget()->objectName(), "proxy");
    QVERIFY(tabTo("Next >"));
    press(Qt::Key_Space);
    QTRY_VERIFY(window->currentPage()->isComplete());
    QCOMPARE(said, QStringList({"selectionIssues", "details"}));
    // Off-screen there is no window manager that gives the focus back.
    window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window.get()));

    for (int i = 0; i < 30; ++i) {
        QVERIFY2(tabTo(QString("Materials %1").arg(i)), qPrintable(QString::number(i)));
        if (i != 29)
            press(Qt::Key_Space);
    }
    QVERIFY(tabTo("Next >"));
    press(Qt::Key_Return);
    QTRY_COMPARE(window->currentId(), int(ZelMainWindow::Finished));
    QCOMPARE(app->downloadList, QList<int>{29});
    QVERIFY(tabTo("Finish"));
    press(Qt::Key_Return);
    QTRY_VERIFY(!window->isVisible());
    QCOMPARE(browser.opened, {app->successUrl});
}

ZEL_TEST_MAIN(tst_accessibility)
#include "tst_accessibility.moc"
