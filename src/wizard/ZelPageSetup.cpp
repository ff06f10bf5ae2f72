#include "wizard/ZelPageSetup.h"

#include "app/ZelApp.h"
#include "wizard/ZelDenseBanner.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>
#include <QWizardPage>
#include <utility>

namespace {

constexpr int otherPagesDelay = 500; // ms, by when the first page has been painted

class PictureLoader : public QObject {
public:
    PictureLoader(QWizardPage* page, const std::function<void()>& action)
        : QObject(page), load(action) {
        page->installEventFilter(this);
        QTimer::singleShot(otherPagesDelay, this, [this] { loadOnce(); });
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        // Comes before the wizard lays the page out.
        if (event->type() == QEvent::ShowToParent)
            loadOnce();
        return QObject::eventFilter(watched, event);
    }

private:
    void loadOnce() {
        if (const auto action = std::exchange(load, nullptr)) {
            action();
            deleteLater();
        }
    }

    std::function<void()> load;
};

} // namespace

void ZelSetUpPage(QWizardPage* page, const char* watermark, const char* banner) {
    // Not empty, so that the wizard keeps the room of the subtitle.
    page->setSubTitle(QCoreApplication::translate("ZelSetUpPage", " "));
    ZelLoadPictures(page, [page, watermark, banner] {
        const ZelApp* app = ZelApp::instance();
        page->setPixmap(QWizard::WatermarkPixmap, app->LoadPixmapResource(watermark));
        page->setPixmap(QWizard::BannerPixmap, app->LoadPixmapResource(banner));
        if (app->devicePixelRatio() <= 1)
            return;
        const QByteArray dense = QByteArray(banner).replace(".png", "Dense.png");
        QPixmap pixmap = app->LoadPixmapResource(dense.constData());
        pixmap.setDevicePixelRatio(2);
        page->setProperty(ZelDenseBanner::pageProperty, pixmap);
    });
}

void ZelLoadPictures(QWizardPage* page, const std::function<void()>& load) {
    if (page->parent())
        new PictureLoader(page, load);
    else
        load();
}
