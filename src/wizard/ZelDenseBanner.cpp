#include "wizard/ZelDenseBanner.h"

#include <QWizard>

ZelDenseBanner::ZelDenseBanner(QWizard* wizard) : QLabel(wizard) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    connect(wizard, &QWizard::currentIdChanged, this, [this, wizard] { showBanner(wizard); });
}

void ZelDenseBanner::showBanner(const QWizard* wizard) {
    if (const QWizardPage* page = wizard->currentPage())
        setPixmap(page->property(pageProperty).value<QPixmap>());
    adjustSize();
    raise();
}
