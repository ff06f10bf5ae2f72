#include "wizard/ZelWelcome.h"

#include "app/ZelApp.h"
#include "app/ZelBuildStamp.h"
#include "wizard/ZelPageSetup.h"

#include <QDebug>
#include <QEvent>
#include <QLabel>
#include <QVBoxLayout>

ZelWelcome::ZelWelcome(QWidget* parent) : QWizardPage(parent), picture(new QLabel(this)) {
    ZelSetUpPage(this, "welcomeWatermark.png", "welcomeBanner.png");

    picture->setPixmap(ZelApp::instance()->LoadPixmapResource("home-1.png"));
    picture->setAccessibleName(tr("Lumivex Community Installer")); // the words in it
    picture->installEventFilter(this);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(picture);
}

void ZelWelcome::initializePage() {
    qDebug() << "Welcome!";
}

bool ZelWelcome::eventFilter(QObject* watched, QEvent* event) {
    if (watched == picture && event->type() == QEvent::MouseButtonRelease)
        picture->setToolTip(ZelBuildDateAndVersion());
    return QWizardPage::eventFilter(watched, event);
}
