#include "drive/ZelWizardDriver.h"

#include "core/ZelMachineAssay.h"
#include "drive/ZelFiles.h"

#include <QAccessible>
#include <QAccessibleInterface>
#include <QCheckBox>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <sys/stat.h>

namespace {

constexpr char installerScript[] = R"(#!/bin/bash
here=${0%/*}
printf '%s\n' "${0##*/} $*" >>"$here/calls"
while read -r command; do eval "$command"; done <"$here/gate"
)";

// Nothing but Maya, in the order of installation.
constexpr char profilerScript[] = R"(#!/bin/bash
echo '<plist version="1.0"><array><dict>'
for version in 2014 2016 2016.5; do
    echo "<key>_name</key><string>Autodesk Maya $version Core</string>"
done
echo '</dict></array></plist>'
)";

} // namespace

ZelWizardDriver::ZelWizardDriver()
    : path("PATH", QFile::encodeName(machine.filePath("bin"))),
      downloads(*ZelApp::instance()->GetDownloadDir()) {
    for (const char* name : {"bin/installer", "bin/open"})
        zelWriteFile(machine.filePath(name), installerScript, true);
    gate.setFileName(machine.filePath("bin/gate"));
    // Open for both directions, the driver never waits for an installer.
    if (mkfifo(QFile::encodeName(gate.fileName()).constData(), 0600) != 0 ||
        !gate.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        qFatal("cannot make a fifo");

    ZelApp* app = ZelApp::instance();
    app->manifestFile = machine.filePath("manifest.xml");
    app->runInstallers = true;
    ZelMachineAssay::Singleton()->possibleLocations.clear();
    ZelMachineAssay::Singleton()->profilerPath =
        zelWriteFile(machine.filePath("profiler"), profilerScript, true);
}

ZelWizardDriver::~ZelWizardDriver() {
    // Without its window first, so that what ends now does not go on to the next step.
    window.reset();
    QNetworkAccessManager* network = ZelApp::instance()->getNetworkManager();
    const QList<QNetworkReply*> replies = network->findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies)
        reply->abort();
    network->setProxy(QNetworkProxy::DefaultProxy);
    downloads.removeRecursively();
    downloads.mkpath(".");
}

void ZelWizardDriver::offer(const QByteArrayList& products) const {
    zelWriteFile(machine.filePath("manifest.xml"), zelManifestXml(products));
}

void ZelWizardDriver::offerOnDisk(const QStringList& names) const {
    QByteArrayList products;
    for (const QString& name : names) {
        zelWriteFile(downloads.filePath(name), "xar!");
        products << zelProductXml(name, "Label of " + name, 1, 4, "http://127.0.0.1:1/none");
    }
    offer(products);
}

QStringList ZelWizardDriver::installerCalls() const {
    QFile file(machine.filePath("bin/calls"));
    return file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
               : QStringList();
}

bool ZelWizardDriver::walkTo(int page) {
    if (!window) {
        window = std::make_unique<ZelMainWindow>();
        window->show();
    }
    while (window->currentId() < page) {
        const int before = window->currentId();
        if (before == 1 && !window->currentPage()->isComplete())
            signIn();
        press(QWizard::NextButton);
        if (window->currentId() == before)
            return false;
    }
    return true;
}

void ZelWizardDriver::signIn() {
    QTest::keyClicks(find<QLineEdit>("userName"), "user");
    QTest::keyClicks(find<QLineEdit>("password"), "pass");
}

bool ZelWizardDriver::startQueue() {
    const auto onShow = std::exchange(boxes.onShow, nullptr);
    if (!walkTo(2))
        return false;
    boxes.boxes.clear();
    boxes.onShow = onShow;
    return walkTo(3);
}

void ZelWizardDriver::press(QWizard::WizardButton button) {
    QTest::mouseClick(window->button(button), Qt::LeftButton);
}

QStringList ZelWizardDriver::rows() const {
    QStringList result;
    const auto* table = find<QTableWidget>("products");
    for (int row = 0; row < table->rowCount(); ++row) {
        auto* checkbox = qobject_cast<QCheckBox*>(table->cellWidget(row, 0));
        result << (checkbox->isChecked() ? "*" : "") +
                      QAccessible::queryAccessibleInterface(checkbox)->text(QAccessible::Name);
    }
    return result;
}

QStringList ZelWizardDriver::said() const {
    QStringList result;
    for (const ZelSeenBox& box : boxes.boxes)
        result << box.text + '/' + box.informativeText;
    return result;
}

int ZelWizardDriver::exitStatusOf(const std::function<void()>& action, int time) {
    QTimer deadline;
    deadline.setInterval(time);
    QObject::connect(&deadline, &QTimer::timeout, qApp, [] { QApplication::exit(noExit); });
    QTimer::singleShot(0, &deadline, [&] {
        action();
        deadline.start();
    });
    return QApplication::exec();
}
