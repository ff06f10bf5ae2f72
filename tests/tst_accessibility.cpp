#include "StateWalker.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelMainWindow.h"

#include <QAccessible>
#include <QDesktopServices>
#include <QProgressBar>
#include <QPushButton>
#include <QTextEdit>
#include <algorithm>

// What assistive technology and the keyboard find on every page and in every box.
class tst_accessibility : public QObject {
    Q_OBJECT

private slots:
    void everyStateCanBeReadAndReached();
    void theRoadIsWalkedByKeyboard();

public slots:
    void openPage(const QUrl& url) { opened = url; }

private:
    QUrl opened;
};

namespace {

// One look at a window: every object that assistive technology is shown must be sensible.
class Look {
public:
    Look(const QString& inState, const QWidget& window) : state(inState) {
        visit(QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&window)));
        checkFocusOrder(window);
    }

    QStringList problems;

private:
    void visit(QAccessibleInterface* object) {
        if (!object || object->state().invisible)
            return;
        const QString name = object->text(QAccessible::Name);
        const QString id = object->object() ? object->object()->objectName() : "a part";
        const QString what = QString("%1 \"%2\"").arg(id, name);
        reached << object->object();
        switch (object->role()) {
        case QAccessible::Client: // passed over: must not have anything to say
        case QAccessible::Border:
        case QAccessible::ScrollBar:
        case QAccessible::Grouping:
            expect(name.isEmpty() || id == "products", what + " is passed over and has a name");
            break;
        case QAccessible::ProgressBar: {
            const auto* bar = qobject_cast<QProgressBar*>(object->object());
            QAccessibleValueInterface* value = object->valueInterface();
            expect(value && value->currentValue().toInt() == bar->value() &&
                       value->maximumValue().toInt() == bar->maximum(),
                   what + " does not tell its value");
            [[fallthrough]];
        }
        case QAccessible::AlertMessage:
        case QAccessible::CheckBox:
        case QAccessible::Dialog:
        case QAccessible::EditableText:
        case QAccessible::PushButton:
        case QAccessible::StaticText:
            expect(!name.trimmed().isEmpty() && !name.contains(".png"), what + " has no name");
            break;
        default:
            expect(false, QString("%1 has the role %2").arg(what).arg(object->role()));
        }
        for (int i = 0; i < object->childCount(); ++i)
            visit(object->child(i));
    }

    // Tab goes through a window as it is read: line by line, each from left to right.
    void checkFocusOrder(const QWidget& window) {
        QList<const QWidget*> chain;
        const QWidget* widget = &window;
        while ((widget = widget->nextInFocusChain()) != &window) {
            if (widget->isVisible() && widget->isEnabled() && widget->focusPolicy() & Qt::TabFocus)
                chain << widget;
        }
        for (const QWidget* stop : std::as_const(chain))
            expect(reached.contains(stop), stop->objectName() + " takes the focus unseen");
        // What can be scrolled counts as being where it can be seen.
        const auto place = [&](const QWidget* stop) {
            const QWidget* parent = stop->parentWidget();
            const bool scrolls = parent->objectName() == "qt_scrollarea_viewport";
            const QPoint outer = (scrolls ? parent : stop)->mapTo(&window, QPoint());
            return std::tuple(outer.y(), scrolls ? stop->y() : 0, outer.x());
        };
        const auto isRead = [&](const QWidget* first, const QWidget* second) {
            return place(first) < place(second);
        };
        const auto start = std::min_element(chain.begin(), chain.end(), isRead);
        std::rotate(chain.begin(), start, chain.end());
        expect(std::is_sorted(chain.begin(), chain.end(), isRead), "the focus jumps about");
    }

    void expect(bool holds, const QString& problem) {
        if (!holds)
            problems << state + ": " + problem;
    }

    QString state;
    QList<const QObject*> reached;
};

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

void tst_accessibility::everyStateCanBeReadAndReached() {
    QStringList problems;
    int states = 0;
    StateWalker walker;
    walker.onState = [&](const QString& state, QWidget& window) {
        ++states;
        problems += Look(state, window).problems;
    };
    walker.walk();
    problems += walker.problems;
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    QVERIFY(states > 30);
}

void tst_accessibility::theRoadIsWalkedByKeyboard() {
    ZelVendorProcess vendor;
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
    QDesktopServices::setUrlHandler("http", this, "openPage");
    const auto unset = qScopeGuard([] { QDesktopServices::unsetUrlHandler("http"); });

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
    QTRY_COMPARE(window->currentId(), 4);
    QCOMPARE(app->downloadList, QList<int>{29});
    QVERIFY(tabTo("Finish"));
    press(Qt::Key_Return);
    QTRY_VERIFY(!window->isVisible());
    QCOMPARE(opened, app->successUrl);
}

ZEL_TEST_MAIN(tst_accessibility)
#include "tst_accessibility.moc"
