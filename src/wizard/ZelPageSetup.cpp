#include "wizard/ZelPageSetup.h"

#include "app/ZelApp.h"

#include <QCoreApplication>
#include <QWizardPage>

void ZelSetUpPage(QWizardPage* page, const char* watermark, const char* banner) {
    // Not empty, so that the wizard keeps the room of the subtitle.
    page->setSubTitle(QCoreApplication::translate("ZelSetUpPage", " "));
    const ZelApp* app = ZelApp::instance();
    page->setPixmap(QWizard::WatermarkPixmap, app->LoadPixmapResource(watermark));
    page->setPixmap(QWizard::BannerPixmap, app->LoadPixmapResource(banner));
}
