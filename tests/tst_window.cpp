#include "app/ZelBuildStamp.h"
#include "support/ZelTestSupport.h"

#include <QLabel>
#include <QWizardPage>

// The window around the pages, and the first and the last of them.
class tst_window : public QObject {
    Q_OBJECT

private slots:
    void releaseOnTheWelcomePictureTellsTheBuild();
    void eachPageHasItsButtons();
};

namespace {

using Buttons = QList<QWizard::WizardButton>;

// From left to right.
Buttons visibleButtons(const ZelMainWindow& window) {
    QMap<int, QWizard::WizardButton> byPosition;
    for (int which = QWizard::BackButton; which <= QWizard::CustomButton3; ++which) {
        const QAbstractButton* button = window.button(QWizard::WizardButton(which));
        if (button->isVisible())
            byPosition[button->x()] = QWizard::WizardButton(which);
    }
    return byPosition.values();
}

} // namespace

void tst_window::releaseOnTheWelcomePictureTellsTheBuild() {
    ZelTestWizard wizard;
    QVERIFY(wizard.walkTo(ZelMainWindow::Welcome));
    QWidget* page = wizard.window->currentPage();
    auto* picture = page->findChild<QLabel*>();
    QTest::mouseClick(page, Qt::LeftButton, {}, QPoint(0, 0));
    QTest::mousePress(picture, Qt::LeftButton);
    QCOMPARE(picture->toolTip() + page->toolTip(), "");
    QTest::mouseRelease(picture, Qt::LeftButton);
    QCOMPARE(picture->toolTip(), ZelBuildDateAndVersion());
}

void tst_window::eachPageHasItsButtons() {
    const Buttons usual{QWizard::BackButton, QWizard::NextButton};
    ZelTestWizard wizard;
    ZelServer server;
    wizard.offer({zelProductXml("guide.pdf", "Guide", 1, 4, server.url("guide.pdf"))});
    for (auto page : {ZelMainWindow::Welcome, ZelMainWindow::Account, ZelMainWindow::Selection}) {
        QVERIFY(wizard.walkTo(page));
        QCOMPARE(wizard.window->windowTitle(), "Lumivex Community Installer");
        QCOMPARE(visibleButtons(*wizard.window), usual);
        QTest::keyClick(wizard.window->currentPage(), Qt::Key_Escape);
        QVERIFY(wizard.window->isVisible());
    }

    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    QCOMPARE(visibleButtons(*wizard.window),
             Buttons({QWizard::CustomButton1, QWizard::NextButton}));
    QCOMPARE(wizard.window->buttonText(QWizard::CustomButton1),
             wizard.window->buttonText(QWizard::BackButton));
    QVERIFY(!wizard.window->button(QWizard::NextButton)->isEnabled());
    QTRY_COMPARE(server.requests.size(), 1);

    wizard.boxes.answers["backDuringDownload"] = {QMessageBox::Ok};
    wizard.press(QWizard::CustomButton1);
    QCOMPARE(wizard.page(), ZelMainWindow::Selection);
    QCOMPARE(visibleButtons(*wizard.window), usual);

    // The window has one size, but what a page has to say is never cut off.
    const QSize size = wizard.window->size();
    wizard.window->resize(1300, 900);
    QCOMPARE(wizard.window->size(), size);
    QVERIFY(wizard.walkTo(ZelMainWindow::Download));
    auto* status = wizard.find<QLabel>("downloadStatus");
    const QString usualStatus = status->text();
    status->setText(QString("A long label. ").repeated(50));
    QTRY_VERIFY(wizard.window->height() > size.height());
    QVERIFY(status->height() >= status->heightForWidth(status->width()));
    status->setText(usualStatus);
    QTRY_COMPARE(wizard.window->size(), size);
    QTRY_COMPARE(server.requests.size(), 2);
    server.answer(4, "%PDF");
    QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);
    QCOMPARE(visibleButtons(*wizard.window), Buttons{QWizard::FinishButton});
    QCOMPARE(wizard.browser.opened, {});
    wizard.press(QWizard::FinishButton);
    QCOMPARE(wizard.browser.opened, {ZelApp::instance()->successUrl});
    QVERIFY(!wizard.window->isVisible());
}

ZEL_TEST_MAIN(tst_window)
#include "tst_window.moc"
