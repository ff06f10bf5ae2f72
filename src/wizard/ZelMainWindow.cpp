#include "wizard/ZelMainWindow.h"

#include "app/ZelApp.h"
#include "wizard/ZelAccessibility.h"
#include "wizard/ZelAccount.h"
#include "wizard/ZelDownload.h"
#include "wizard/ZelFinished.h"
#include "wizard/ZelSelection.h"
#include "wizard/ZelWelcome.h"

#include <QAbstractButton>
#include <QGridLayout>
#include <QKeyEvent>

ZelMainWindow::ZelMainWindow() {
    ZelInstallAccessibility();
    const ZelApp* app = ZelApp::instance();
    setWindowTitle(tr("Lumivex Community Installer"));
    setWizardStyle(QWizard::ModernStyle);
    setPixmap(QWizard::WatermarkPixmap, app->LoadPixmapResource("watermark.png"));
    setPixmap(QWizard::BannerPixmap, app->LoadPixmapResource("banner.png"));

    addPage(new ZelWelcome(this));
    addPage(new ZelAccount(this));
    addPage(new ZelSelection(this));
    addPage(new ZelDownload(this));
    addPage(new ZelFinished(this));

    // No Cancel: the user leaves through the window's close control or a page's own boxes.
    setButtonLayout(
        {QWizard::Stretch, QWizard::BackButton, QWizard::NextButton, QWizard::FinishButton});

    // What holds the pages and the buttons is told when one of them wants another size.
    contents = button(QWizard::NextButton)->parentWidget();
    contents->installEventFilter(this);
}

bool ZelMainWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == contents && event->type() == QEvent::LayoutRequest)
        fit();
    return QWizard::eventFilter(watched, event);
}

void ZelMainWindow::showEvent(QShowEvent* event) {
    QWizard::showEvent(event);
    fit();
    blendHeader();
}

void ZelMainWindow::fit() {
    setFixedSize(sizeHint().expandedTo({pixmap(QWizard::BannerPixmap).width(), 0}));
}

// The toolkit rules two lines below the banner, in two of the header's colours.
void ZelMainWindow::blendHeader() {
    const QImage banner = pixmap(QWizard::BannerPixmap).toImage();
    const auto* grid = qobject_cast<QGridLayout*>(contents->layout());
    const QLayoutItem* item = grid ? grid->itemAtPosition(0, 0) : nullptr;
    if (banner.isNull() || !item || !item->widget())
        return;
    QPalette palette = item->widget()->palette();
    for (QPalette::ColorRole role : {QPalette::Base, QPalette::Mid})
        palette.setColor(role, banner.pixelColor(banner.rect().bottomLeft()));
    item->widget()->setPalette(palette);
}

// A dialog would be closed by Escape, and a download cut off by a key.
void ZelMainWindow::keyPressEvent(QKeyEvent* event) {
    if (!event->matches(QKeySequence::Cancel))
        QWizard::keyPressEvent(event);
}
