#include "wizard/ZelDenseBanner.h"

#include "app/ZelApp.h"

#include <QWizard>

ZelDenseBanner::ZelDenseBanner(QWizard* wizard) : QLabel(wizard) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    connect(wizard, &QWizard::currentIdChanged, this, [this, wizard] { showBanner(wizard); });
}

void ZelDenseBanner::showBanner(const QWizard* wizard) {
    if (const QWizardPage* page = wizard->currentPage()) {
        const QByteArray name = page->property(pageProperty).toByteArray();
        QPixmap banner = ZelApp::instance()->LoadPixmapResource(name.constData());
        banner.setDevicePixelRatio(2);
        setPixmap(banner);
    }
    adjustSize();
    raise();
}
