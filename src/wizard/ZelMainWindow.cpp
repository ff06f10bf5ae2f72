#include "wizard/ZelMainWindow.h"

#include "app/ZelApp.h"
#include "wizard/ZelAccessibility.h"
#include "wizard/ZelAccount.h"
#include "wizard/ZelDenseBanner.h"
#include "wizard/ZelDownload.h"
#include "wizard/ZelFinished.h"
#include "wizard/ZelSelection.h"
#include "wizard/ZelWelcome.h"

#include <QKeyEvent>

ZelMainWindow::ZelMainWindow() {
    ZelInstallAccessibility();
    const ZelApp* app = ZelApp::instance();
    setWindowTitle(tr("Lumivex Community Installer"));
    setWizardStyle(QWizard::ModernStyle);
    setPixmap(QWizard::WatermarkPixmap, app->LoadPixmapResource("watermark.png"));
    setPixmap(QWizard::BannerPixmap, app->LoadPixmapResource("banner.png"));

    if (app->devicePixelRatio() > 1)
        new ZelDenseBanner(this);

    addPage(new ZelWelcome(this));
    addPage(new ZelAccount(this));
    addPage(new ZelSelection(this));
    addPage(new ZelDownload(this));
    addPage(new ZelFinished(this));

    // No Cancel: the user leaves through the window's close control or a page's own boxes.
    setButtonLayout(
        {QWizard::Stretch, QWizard::BackButton, QWizard::NextButton, QWizard::FinishButton});
}

// A dialog would be closed by Escape, and a download cut off by a key.
void ZelMainWindow::keyPressEvent(QKeyEvent* event) {
    if (!event->matches(QKeySequence::Cancel))
        QWizard::keyPressEvent(event);
}
