#include "RoadWalker.h"

#include "app/ZelApp.h"

#include <QDir>
#include <QLabel>
#include <QProgressBar>
#include <QTest>
#include <algorithm>
#include <cstdio>

namespace {

constexpr int patience = 60000; // ms, for one step
constexpr char userId[] = "artist";
constexpr char password[] = "paint & brush";

void print(const QString& line) {
    std::printf("%s\n", qUtf8Printable(line));
    std::fflush(stdout);
}

} // namespace

RoadWalker::RoadWalker(const QString& shotFolder) : folder(shotFolder) {
    QDir().mkpath(folder);
    driver.window.reset(ZelApp::instance()->wizard);
    driver.boxes.onShow = [this](QMessageBox& box) {
        shoot(box, "box-" + box.objectName());
        if (box.objectName() == "downloadFailed") {
            retried = !retried;
            driver.boxes.answers[box.objectName()] = {retried ? QMessageBox::Retry
                                                              : QMessageBox::Ignore};
        }
    };
    connect(ZelApp::instance(), &ZelApp::validManifestReply, this, [this] { received = true; });
    connect(ZelApp::instance(), qOverload<int>(&ZelApp::finishedDownload), this, [this](int index) {
        downloads << index;
        retried = false;
    });
}

void RoadWalker::shoot(QWidget& widget, const QString& name) {
    const QString file =
        QString("%1/%2-%3.png").arg(folder).arg(++shots, 2, 10, QLatin1Char('0')).arg(name);
    check(widget.grab().save(file), "no picture written to " + file);
}

bool RoadWalker::check(bool happened, const QString& problem) {
    if (!happened)
        problems << problem;
    return happened;
}

bool RoadWalker::waitFor(const QString& what, const std::function<bool()>& condition) {
    return check(QTest::qWaitFor(condition, patience), "waited in vain for " + what);
}

void RoadWalker::walk() {
    if (!walkPages())
        QApplication::exit(1);
}

bool RoadWalker::walkPages() {
    if (!waitFor("the welcome page", [this] { return driver.window->isVisible(); }))
        return false;
    shoot(*driver.window, "welcome");
    if (!signIn() || !chooseProducts() || !downloadAndInstall())
        return false;
    shoot(*driver.window, "finished");
    driver.press(QWizard::FinishButton);
    return true;
}

bool RoadWalker::signIn() {
    driver.walkTo(ZelMainWindow::Account);
    shoot(*driver.window, "sign-in");
    driver.press("accountAdvancedButton");
    driver.signIn(userId, password);
    shoot(*driver.window, "sign-in-filled");
    QTest::keyClick(driver.find<QWidget>("password"), Qt::Key_Return);
    return waitFor("the product list", [this] {
        return driver.page() == ZelMainWindow::Selection &&
               driver.window->currentPage()->isComplete();
    });
}

bool RoadWalker::chooseProducts() {
    shoot(*driver.window, "selection");
    proposed = driver.rows();
    driver.press("showAll");
    const auto shown = int(driver.rows().size());
    check(shown > proposed.size(), "no hidden products were shown");
    driver.toggle(shown - 1);
    shoot(*driver.window, "selection-show-all");
    return check(driver.walkTo(ZelMainWindow::Download), "the download page was not reached");
}

bool RoadWalker::downloadAndInstall() {
    const ZelApp* app = ZelApp::instance();
    const auto* label = driver.find<QLabel>("downloadStatus");
    const auto* bar = driver.find<QProgressBar>("productProgress");

    // One picture in the middle of a transfer and one of an installation.
    auto* connection = new QObject(this);
    connect(bar, &QProgressBar::valueChanged, connection, [=, this](int value) {
        if (value > 0 && value < bar->maximum()) {
            connection->deleteLater();
            QObject::disconnect(bar, nullptr, connection, nullptr);
            shoot(*driver.window, "downloading");
        }
    });
    if (!waitFor("an installation", [label] { return label->text().startsWith("Installing "); }))
        return false;
    shoot(*driver.window, "installing");
    if (!waitFor("the finished page", [this] { return driver.page() == ZelMainWindow::Finished; }))
        return false;
    const auto wanted = std::ranges::count_if(
        app->downloadList, [app](int index) { return !app->manifest[index].downloaded; });
    check(downloads.size() == wanted,
          QString("%1 of %2 products were downloaded").arg(downloads.size()).arg(wanted));
    return true;
}

bool RoadWalker::report(int status) {
    const ZelApp* app = ZelApp::instance();
    check(status == 0, QString("the installer ended with status %1").arg(status));
    check(received, "no manifest was received");
    if (received)
        print(QString("signed in:  %1 at %2")
                  .arg(app->user, app->GetURL(ZelManifestLocation).toString()));

    check(!proposed.isEmpty(), "no product was proposed");
    for (const QString& label : std::as_const(proposed))
        print("proposed:   " + label.mid(1)); // behind the "*" of a checked one
    for (const ZelSeenBox& box : std::as_const(driver.boxes.boxes)) {
        print(QString("box:        %1 (%2)").arg(box.text, box.name));
        if (!box.detailedText.isEmpty())
            print("            " + box.detailedText);
    }

    QFile installerLog(qEnvironmentVariable("ZEL_STANDIN_LOG"));
    check(installerLog.open(QIODevice::ReadOnly), "no installer was run");
    const QString installed = QString::fromUtf8(installerLog.readAll());
    for (int index : std::as_const(downloads)) {
        const ZelManifestElement& element = app->manifest[index];
        const QFileInfo package(element.file ? element.file->fileName() : QString());
        print(QString("downloaded: %1, %2 bytes").arg(package.filePath()).arg(package.size()));
        check(package.isFile() && package.size() == element.FileSize,
              element.label() + " is not on disk in full");
        check(installed.count(package.completeBaseName().replace(" ", "\\ ")) == 1,
              element.label() + " was not installed once");
    }
    for (const QString& line : installed.split('\n', Qt::SkipEmptyParts))
        print("installed:  " + line);

    const QUrl opened = driver.browser.opened.value(0);
    check(opened == app->successUrl, "the success page was not opened");
    print("opened:     " + opened.toString());
    print(QString("pictures:   %1 in %2").arg(shots).arg(folder));
    for (const QString& problem : std::as_const(problems))
        print("NOT SO:     " + problem);
    print(problems.isEmpty() ? "The whole road was walked."
                             : "The road was not walked to its end.");
    return problems.isEmpty();
}
