// Up to the first painted page, where the process ends: the program, or a bare five-page wizard of
// the toolkit with the same pictures and no more.
//
//   bench_start program|bare IMAGES

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "wizard/ZelMainWindow.h"

#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>
#include <cstdlib>

namespace {

class FirstPaint : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override {
        // The window is on the screen when the turn of the loop in which it is painted ends.
        if (event->type() == QEvent::Paint)
            QTimer::singleShot(0, [] { std::_Exit(0); });
        return false;
    }
};

int runBare(int& argc, char** argv, FirstPaint& filter) {
    const QApplication app(argc, argv);
    const QString images = QString(argv[2]) + '/';
    QWizard wizard;
    wizard.setWizardStyle(QWizard::ModernStyle);
    wizard.setPixmap(QWizard::WatermarkPixmap, QPixmap(images + "watermark.png"));
    wizard.setPixmap(QWizard::BannerPixmap, QPixmap(images + "banner.png"));
    for (const auto& [name, picture] : {std::pair("welcome", "home-1"),
                                        {"account", ""},
                                        {"selection", ""},
                                        {"download", "whileUWait-1"},
                                        {"finished", "finish-1"}}) {
        auto* page = new QWizardPage(&wizard);
        page->setSubTitle(" ");
        page->setPixmap(QWizard::WatermarkPixmap, QPixmap(images + name + "Watermark.png"));
        page->setPixmap(QWizard::BannerPixmap, QPixmap(images + name + "Banner.png"));
        auto* label = new QLabel(page);
        if (*picture)
            label->setPixmap(QPixmap(images + picture + ".png"));
        (new QVBoxLayout(page))->addWidget(label);
        wizard.addPage(page);
    }
    wizard.installEventFilter(&filter);
    wizard.show();
    return QApplication::exec();
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
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
