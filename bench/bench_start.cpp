// From the start of the process to the first painted page: the program, or a bare five-page wizard
// of the toolkit with the same pictures and no more.
//
//   bench_start program|bare NANOSECONDS IMAGES
//
// NANOSECONDS is the monotonic clock just before the process was started.

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "wizard/ZelMainWindow.h"

#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <ctime>

namespace {

double startTime = 0;

class FirstPaint : public QObject {
public:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            // The window is on the screen when the turn of the loop in which it is painted ends.
            QTimer::singleShot(0, [] {
                timespec now;
                clock_gettime(CLOCK_MONOTONIC, &now);
                ZelPrintFigures({{"wall", now.tv_sec * 1e3 + now.tv_nsec / 1e6 - startTime},
                                 {"cpu", ZelProcessorTime()}});
                QCoreApplication::exit(0);
            });
        }
        return false;
    }
};

void addBarePage(QWizard& wizard, const QString& images, const QString& name,
                 const QString& picture) {
    auto* page = new QWizardPage(&wizard);
    page->setSubTitle(" ");
    page->setPixmap(QWizard::WatermarkPixmap, QPixmap(images + '/' + name + "Watermark.png"));
    page->setPixmap(QWizard::BannerPixmap, QPixmap(images + '/' + name + "Banner.png"));
    auto* label = new QLabel(page);
    if (!picture.isEmpty())
        label->setPixmap(QPixmap(images + '/' + picture + ".png"));
    (new QVBoxLayout(page))->addWidget(label);
    wizard.addPage(page);
}

int runBare(int& argc, char** argv, FirstPaint& filter) {
    QApplication app(argc, argv);
    const QString images(argv[3]);
    QWizard wizard;
    wizard.setWizardStyle(QWizard::ModernStyle);
    wizard.setPixmap(QWizard::WatermarkPixmap, QPixmap(images + "/watermark.png"));
    wizard.setPixmap(QWizard::BannerPixmap, QPixmap(images + "/banner.png"));
    addBarePage(wizard, images, "welcome", "home-1");
    addBarePage(wizard, images, "account", {});
    addBarePage(wizard, images, "selection", {});
    addBarePage(wizard, images, "download", "whileUWait-1");
    addBarePage(wizard, images, "finished", "finish-1");
    wizard.installEventFilter(&filter);
    wizard.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4)
        return 2;
    startTime = atof(argv[2]) / 1e6;
    FirstPaint filter;
    if (qstrcmp(argv[1], "bare") == 0)
        return runBare(argc, argv, filter);

    ZelApp app(argc, argv);
    ZelInitializeLogging();
    if (app.Start() != 0)
        return 1;
    app.wizard->installEventFilter(&filter);
    return QApplication::exec();
}
