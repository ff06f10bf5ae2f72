#include "app/ZelBuildStamp.h"
#include "support/ZelTestSupport.h"

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QWizardPage>

// The window around the pages, and the first and the last of them.
class tst_window : public QObject {
    Q_OBJECT

private slots:
    // Each file is told by its colour: the program's own pictures are alike, or change.
    void everyPage() {
        ZelTestWizard wizard;
        const QStringList files = QDir(ZEL_SOURCE_DIR "/lib/Resources/images").entryList({"*.png"});
        for (const QString& file : files)
            wizard.addPicture(file, QColor(int(files.indexOf(file)), 0, 0));
        const auto nameOf = [&](const QPixmap& picture) {
            return picture.isNull() ? QString() : files[qRed(picture.toImage().pixel(0, 0))];
        };
        ZelServer server;
        wizard.offer({zelProductXml("guide.pdf", "Guide", 1, 4, server.url("guide.pdf"))});
        const auto walk = [&](const QStringList& in) {
            const int target =
                QMetaEnum::fromType<ZelMainWindow::Page>().keyToValue(qPrintable(in[0]));
            if (target == ZelMainWindow::Finished)
                server.answer(4, "%PDF");
            else
                wizard.walkTo(ZelMainWindow::Page(target));
            if (!QTest::qWaitFor([&] {
                    return wizard.page() == target && server.requests.size() == (target > 2);
                }))
                return QString("not reached");
            const QWizardPage* page = wizard.window->currentPage();
            QTest::keyClick(wizard.window->currentPage(), Qt::Key_Escape);
            QString result = nameOf(page->pixmap(QWizard::WatermarkPixmap)) + ' ' +
                             nameOf(page->pixmap(QWizard::BannerPixmap));
            const auto* picture = page->findChild<QLabel*>();
            if (picture && !picture->pixmap().isNull())
                result += ' ' + nameOf(picture->pixmap()).section('-', 0, 0);
            return wizard.window->isVisible() && page->subTitle() == " "
                       ? result
                       : "closed, or without the room of its subtitle";
        };
        // Between the transfer and the end of the product there is nothing to go back from.
        wizard.walkTo(ZelMainWindow::Welcome);
        auto* const picture = wizard.window->currentPage()->findChild<QLabel*>();
        auto* const back = wizard.window->button(QWizard::CustomButton1);
        connect(wizard.find<QProgressBar>("overallProgress"), &QProgressBar::valueChanged, back,
                [back](int value) {
                    if (value == 1000)
                        back->click();
                });
        zelCheckTable(R"(Welcome => welcomeWatermark.png welcomeBanner.png home
            Account => accountWatermark.png accountBanner.png
            Selection => selectionWatermark.png selectionBanner.png
            Download => downloadWatermark.png downloadBanner.png whileUWait
            Finished => finishedWatermark.png finishedBanner.png finish)",
                      walk);
        QCOMPARE(wizard.boxes.names(), {"selectionIssues"});
        QCOMPARE(wizard.find<QProgressBar>("overallProgress")->value(), 1000);

        // Whoever could come back from there would begin anew.
        wizard.window->back();
        QVERIFY(wizard.window->currentPage()->isComplete());
        back->click();
        QCOMPARE(wizard.page(), ZelMainWindow::Selection);
        QVERIFY(wizard.walkTo(ZelMainWindow::Download));
        QVERIFY(!wizard.window->currentPage()->validatePage());
        QVERIFY(!qobject_cast<QPushButton*>(back)->autoDefault());
        QCOMPARE(back->text(), wizard.window->button(QWizard::BackButton)->text());
        QTRY_COMPARE(server.requests.size(), 2);
        server.answer(4, "%PDF");
        QTRY_COMPARE(wizard.page(), ZelMainWindow::Finished);

        QCOMPARE(nameOf(wizard.window->pixmap(QWizard::WatermarkPixmap)), "watermark.png");
        QCOMPARE(nameOf(wizard.window->pixmap(QWizard::BannerPixmap)), "banner.png");
        QCOMPARE(wizard.window->windowTitle(), "Lumivex Community Installer");
        QCOMPARE(wizard.window->wizardStyle(), QWizard::ModernStyle);
        QCOMPARE(wizard.browser.opened, {});
        ZelApp::instance()->successUrl = QUrl("https://vendor.example/thanks");
        wizard.press(QWizard::FinishButton);
        QCOMPARE(wizard.browser.opened, {ZelApp::instance()->successUrl});
        QVERIFY(!wizard.window->isVisible());

        // The build, for who knows where to look.
        QWidget* welcome = wizard.window->page(ZelMainWindow::Welcome);
        QTest::mouseClick(welcome, Qt::LeftButton, {}, QPoint(0, 0));
        QTest::mousePress(picture, Qt::LeftButton);
        QCOMPARE(picture->toolTip() + welcome->toolTip(), "");
        QTest::mouseRelease(picture, Qt::LeftButton);
        QCOMPARE(picture->toolTip(), ZelBuildDateAndVersion());
        QCOMPARE(welcome->toolTip(), "");
        QEvent paint(QEvent::Paint);
        QVERIFY(!welcome->eventFilter(picture, &paint));
    }

    // What a page has to say is never cut off.
    void growsForALongText() {
        ZelTestWizard wizard;
        ZelServer server;
        wizard.offer({zelProductXml("guide.pdf", "Guide", 1, 4, server.url("guide.pdf"))});
        QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
        const QSize size = wizard.window->size();
        wizard.window->resize(1300, 900);
        QCOMPARE(wizard.window->size(), size);
        QVERIFY(wizard.walkTo(ZelMainWindow::Download));
        auto* status = wizard.find<QLabel>("downloadStatus");
        status->setText(QString("A long label. ").repeated(50));
        QTRY_VERIFY(wizard.window->height() > size.height());
        QCOMPARE(status->textFormat(), Qt::PlainText);
        QVERIFY(status->height() >= status->heightForWidth(status->width()));
        status->setText("Short");
        QTRY_COMPARE(wizard.window->size(), size);
    }
};

ZEL_TEST_MAIN(tst_window)
#include "tst_window.moc"
