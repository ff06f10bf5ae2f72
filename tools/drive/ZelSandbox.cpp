#include "drive/ZelSandbox.h"

#include "core/ZelMachineAssay.h"
#include "drive/ZelFiles.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <sys/stat.h>

namespace {

constexpr char installerScript[] = R"(#!/bin/sh
here=${0%/*}
printf '%s\n' "${0##*/} $*" >>"$here/calls"
while read -r command <&3; do eval "$command"; done 3<"$here/gate"
)";

// Nothing but Maya, in the order of installation.
constexpr char profilerScript[] = R"(#!/bin/sh
echo '<plist version="1.0"><array><dict>'
for version in 2014 2016 2016.5; do
    echo "<key>_name</key><string>Autodesk Maya $version Core</string>"
done
echo '</dict></array></plist>'
)";

} // namespace

ZelSandbox::ZelSandbox()
    : path("PATH", QFile::encodeName(machine.filePath("bin"))),
      downloads(*ZelApp::instance()->GetDownloadDir()) {
    // It is cleared in the end, and without a home made for this it would be a person's own, or
    // /tmp.
    if (!downloads.isEmpty())
        qFatal("there is something in %s already", qPrintable(downloads.absolutePath()));
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

ZelSandbox::~ZelSandbox() {
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

void ZelSandbox::offer(const QByteArrayList& products) const {
    zelWriteFile(machine.filePath("manifest.xml"), zelManifestXml(products));
}

QStringList ZelSandbox::installerCalls() const {
    QFile file(machine.filePath("bin/calls"));
    return file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.readAll()).split('\n', Qt::SkipEmptyParts)
               : QStringList();
}
