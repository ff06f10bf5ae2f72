#include "app/ZelBuildConfig.h"
#include "support/ZelTestSupport.h"

#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QPushButton>

namespace {

// The wizard on the sign-in page, with nothing entered.
class SignIn : public ZelTestWizard {
public:
    SignIn() {
        offer({zelProductXml("guide.pdf", "Guide", 1, 4, "http://127.0.0.1:1/none")});
        addPicture("closedSection.png", Qt::red);
        addPicture("openSection.png", Qt::green);
        walkTo(ZelMainWindow::Account);
    }

    void type(const char* field, const QString& text) const {
        find<QLineEdit>(field)->selectAll();
        QTest::keyClick(find<QLineEdit>(field), Qt::Key_Backspace);
        QTest::keyClicks(find<QLineEdit>(field), text);
    }
};

} // namespace

class tst_account : public QObject {
    Q_OBJECT

private slots:
    void startsOnTheSignUpButton() {
        ZelTestWizard wizard;
        QVERIFY(wizard.walkTo(ZelMainWindow::Welcome));
        QVERIFY(QTest::qWaitForWindowActive(wizard.window.get()));
        QVERIFY(wizard.walkTo(ZelMainWindow::Account));
        auto* signUp = wizard.find<QPushButton>("needToRegister");
        QTRY_COMPARE(QApplication::focusWidget(), signUp);
        QTest::mousePress(signUp, Qt::LeftButton);
        QCOMPARE(wizard.browser.opened, {});
        QTest::mouseRelease(signUp, Qt::LeftButton);
        QCOMPARE(wizard.browser.opened, {QUrl(QString("https://") + ZelBuildConfig::vendorHost +
                                              "/forum/register.php?action=signup")});
        wizard.press(QWizard::BackButton);
        QVERIFY(wizard.walkTo(ZelMainWindow::Account));
        QCoreApplication::processEvents();
        QVERIFY(QApplication::focusWidget() != signUp);
    }

    // With Next, and with Return: the sign-up button, which has the focus at first, does not take
    // the key for a click.
    void bothFieldsLeadOn() {
        for (const char* widget : {"userName", "password", "needToRegister"}) {
            for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
                SignIn page;
                page.type("proxy", "proxy.example:3128");
                const std::tuple<const char*, const char*, bool> steps[] = {
                    {"userName", "ann", false},
                    {"password", " ", true},
                    {"userName", "", false},
                    {"userName", " ", true}};
                for (const auto& [field, text, enabled] : steps) {
                    page.type(field, text);
                    QCOMPARE(page.window->button(QWizard::NextButton)->isEnabled(), enabled);
                    QCOMPARE(page.page(), ZelMainWindow::Account);
                    if (!enabled)
                        QTest::keyClick(page.find<QWidget>(widget), key);
                }
                QTest::keyClick(page.find<QWidget>(widget), key);
                QCOMPARE(page.page(), ZelMainWindow::Selection);
                QCOMPARE(page.browser.opened, {});
            }
        }
    }

    // From what is entered as proxy ("_" is a blank) to the one in force after an earlier one.
    void entriesReachTheApplication() {
        const auto run = [](const QStringList& in) {
            const QStringList entries{" Ann & Bob ", "p&ss: word",
                                      QString(in[0]).replace('_', ' ')};
            ZelApp* app = ZelApp::instance();
            app->user = app->password = "from the command line";
            SignIn page;
            page.type("proxy", "earlier.example:1080");
            page.walkTo(ZelMainWindow::Selection);
            page.press(QWizard::BackButton);
            page.type("userName", entries[0]);
            page.type("password", entries[1]);
            page.type("proxy", entries[2]);
            const bool same = page.walkTo(ZelMainWindow::Selection) &&
                              QStringList{app->user, app->password, app->proxy} == entries;
            const QNetworkProxy proxy = app->getNetworkManager()->proxy();
            return QString("%1 %2").arg(proxy.hostName()).arg(proxy.port()) +
                   (proxy.type() == QNetworkProxy::HttpProxy ? "" : " of another kind") +
                   (same ? "" : ", other entries, or stays") +
                   (ZelLogCapture::contains(app->password) ? ", and the log has the password" : "");
        };
        zelCheckTable(R"(proxy.example:3128 => proxy.example 3128
            proxy.example:http => proxy.example 0
            proxy.example: => proxy.example 0
            proxy.example:0x50 => proxy.example 0
            proxy.example:65616 => proxy.example 80
            http://proxy.example:3128 => earlier.example 1080
            proxy.example_ => earlier.example 1080
            => earlier.example 1080)",
                      run);
    }

    void advancedTogglesTheProxyField() {
        SignIn page;
        auto* button = page.find<QPushButton>("accountAdvancedButton");
        for (const bool shown : {false, true, false}) {
            QCOMPARE(button->icon().pixmap(16).toImage().pixelColor(8, 8),
                     QColor(shown ? Qt::green : Qt::red));
            QTest::mousePress(button, Qt::LeftButton);
            QCOMPARE(page.find<QLineEdit>("proxy")->isVisible(), shown);
            QTest::mouseRelease(button, Qt::LeftButton);
        }
    }

    void followsADesktopThatTurnsDark() {
        const auto restore = qScopeGuard([light = QApplication::palette()] {
            qApp->setStyleSheet(QString());
            QApplication::setPalette(light);
        });
        qApp->setStyleSheet("QLineEdit { background-color: palette(base); }");
        const SignIn page;
        QApplication::setPalette(QPalette(Qt::black, Qt::black));
        auto* field = page.find<QLineEdit>("userName");
        QTRY_COMPARE(field->palette().color(QPalette::PlaceholderText).rgb(), qRgb(255, 255, 255));
        const QPoint besideText(field->width() * 3 / 4, field->height() / 2);
        QCOMPARE(field->grab().toImage().pixelColor(besideText), QColor(Qt::black));
    }
};

ZEL_TEST_MAIN(tst_account)
#include "tst_account.moc"
