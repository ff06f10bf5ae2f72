// The whole road against a server, by itself: from the start of the program to the end of its event
// loop. Beside it, the longest gap between two turns of the event loop and between two
// while-you-wait pictures on the download page.
//
//   bench_road walk|idle PROFILER -debugserver HOST:PORT
//
// "idle" does nothing for two seconds, for comparison.

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"
#include "drive/ZelWizardDriver.h"

#include <QLabel>
#include <QTimer>

namespace {

// The longest time between two ticks.
class LongestGap {
public:
    void tick() {
        if (clock.isValid())
            longest = std::max(longest, ZelElapsed(clock));
        clock.start();
    }
    double longest = 0;

private:
    QElapsedTimer clock;
};

class Walker : public QObject {
public:
    Walker() {
        driver.window.reset(ZelApp::instance()->wizard);
        picture = driver.find<QLabel>("whileUWait");
        pulse.setTimerType(Qt::PreciseTimer);
        connect(&pulse, &QTimer::timeout, this, [this] {
            turns.tick();
            // A label that shows another picture than at the last turn has been given a new one.
            if (const qint64 key = picture->pixmap().cacheKey(); key != lastPicture) {
                lastPicture = key;
                pictures.tick();
            }
        });
    }

    void walk() {
        const ZelMainWindow* window = driver.window.get();
        connect(window->page(ZelMainWindow::Selection), &QWizardPage::completeChanged, this,
                [this, window] {
                    if (window->currentPage()->isComplete())
                        QTimer::singleShot(0, this, [this] { driver.press(QWizard::NextButton); });
                });
        connect(window, &QWizard::currentIdChanged, this, [this](int id) {
            if (id == ZelMainWindow::Download)
                watch();
            if (id == ZelMainWindow::Finished)
                QTimer::singleShot(0, this, [this] {
                    pulse.stop();
                    driver.press(QWizard::FinishButton);
                });
        });
        driver.walkTo(ZelMainWindow::Selection);
    }

    void watch() {
        if (qEnvironmentVariableIsSet("ZEL_BENCH_GAPS"))
            pulse.start(1);
    }

    ZelWizardDriver driver;
    LongestGap turns;
    LongestGap pictures;

private:
    QLabel* picture;
    QTimer pulse;
    qint64 lastPicture = 0;
};

} // namespace

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    QElapsedTimer clock;
    clock.start();
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    ZelMachineAssay::Singleton()->profilerPath = argv[2];
    if (app.Start() != 0)
        return 1;
    Walker walker;
    if (qstrcmp(argv[1], "walk") == 0) {
        QTimer::singleShot(0, &walker, &Walker::walk);
    } else {
        walker.watch();
        QTimer::singleShot(2000, &app, &QApplication::quit);
    }
    const int status = QApplication::exec();
    const bool done =
        qstrcmp(argv[1], "idle") == 0 || walker.driver.page() == ZelMainWindow::Finished;
    if (status != 0 || !done)
        return 1;
    return ZelPrintFigures({{"wall", ZelElapsed(clock)},
                            {"cpu", ZelProcessorTime()},
                            {"gap", walker.turns.longest},
                            {"picture", walker.pictures.longest}});
}
