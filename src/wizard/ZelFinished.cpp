#include "wizard/ZelFinished.h"

#include "app/ZelApp.h"
#include "core/ZelChildEnvironment.h"
#include "wizard/ZelPageSetup.h"

#include <QDebug>
#include <QDesktopServices>
#include <QLabel>
#include <QVBoxLayout>
#include <QWizard>

ZelFinished::ZelFinished(QWidget* parent) : QWizardPage(parent) {
    ZelSetUpPage(this, "finishedWatermark.png", "finishedBanner.png");

    auto* picture = new QLabel(this);
    picture->setPixmap(ZelApp::instance()->LoadPixmapResource("finish-1.png"));
    picture->setAccessibleName(tr("Done")); // the word in it
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(picture);
}

void ZelFinished::initializePage() {
    wizard()->setButtonLayout({QWizard::Stretch, QWizard::FinishButton});
    qDebug() << "Finished!";
}

bool ZelFinished::validatePage() {
    const ZelChildEnvironment ofTheUser;
    QDesktopServices::openUrl(ZelApp::instance()->successUrl);
    return true;
}
