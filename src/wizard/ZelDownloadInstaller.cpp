// Running the platform's package installer on a downloaded product.

#include "app/ZelApp.h"
#include "app/ZelMessageBox.h"
#include "core/ZelChildEnvironment.h"
#include "wizard/ZelDownload.h"

#include <QDebug>
#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QWizard>
#include <unistd.h>

void ZelDownload::startInstaller() {
    ZelManifestElement* product = nullptr;
    if (currentProduct(&product)) {
        qDebug() << "No current product in startInstaller";
        return;
    }
    if (installer) {
        qDebug() << "startInstaller called while installer is running";
        return;
    }
    if (!ZelApp::instance()->runInstallers) {
        qDebug() << "Set to not run installers, skipping" << product->label();
        nextDownload();
        return;
    }

    setStatus(tr("Installing %1...").arg(product->label()));
    const QString package = product->file ? product->file->fileName() : QString();
    QString program = "installer";
    QStringList arguments{"-target", "/", "-package", package};
    if (geteuid() != 0) {
        qDebug() << "Not running as root, launching GUI installer";
        program = "open";
        arguments = QStringList{"-W", package};
    }
    if (!package.endsWith(".pkg")) {
        qDebug() << "Not running installer on " << package;
        nextDownload();
        return;
    }

    const ZelChildEnvironment ofTheUser;
    installer = new QProcess;
    installer->setStandardInputFile(QProcess::nullDevice()); // nobody could answer it
    installer->setProcessEnvironment(QProcessEnvironment::systemEnvironment());
    connect(installer, &QProcess::started, this, &ZelDownload::installerStarts);
    connect(installer, &QProcess::stateChanged, this, &ZelDownload::installerChangedState);
    connect(installer, &QProcess::errorOccurred, this, &ZelDownload::installerError);
    connect(installer, &QProcess::finished, this, &ZelDownload::installerFinished);
    connect(installer, &QProcess::readyReadStandardOutput, this,
            &ZelDownload::installerReadyStdout);
    connect(installer, &QProcess::readyReadStandardError, this, &ZelDownload::installerReadyStderr);

    productBar->setRange(0, 0);
    qDebug() << "running installer" << program << arguments;
    installer->start(program, arguments, QIODevice::ReadOnly);
}

void ZelDownload::installerReadyStdout() {
    if (installer)
        qDebug() << "installer stdout:"
                 << QString::fromLocal8Bit(installer->readAllStandardOutput());
    else
        qDebug() << "internal error, got stdin ready but no process";
}

void ZelDownload::installerReadyStderr() {
    if (installer)
        qDebug() << "installer stderr:"
                 << installer->readAllStandardError().replace('\0', "\\0").constData();
    else
        qDebug() << "internal error, got stderr ready but no process";
}

void ZelDownload::installerStarts() {
    qDebug() << "Installer starts";
}

void ZelDownload::installerChangedState(QProcess::ProcessState newState) {
    qDebug() << "Installer moves to state" << int(newState);
}

void ZelDownload::installerFinished(int exitCode, QProcess::ExitStatus exitStatus) {
    qDebug() << "Installer finished" << exitCode << " status " << int(exitStatus);
    if (inBackDialog) {
        held.installerFinished = true;
        held.exitCode = exitCode;
        held.exitStatus = exitStatus;
        qDebug() << "Installer finished while waiting for user input";
        return;
    }

    // A positive exit code is no failure: the platform's installer uses it for a request to
    // restart.
    const bool failed = exitCode < 0 || exitStatus != QProcess::NormalExit;
    if (failed && !closed) {
        ZelShowMessageBox({.name = "installerFailed",
                           .text = tr("Installer exited with err. Exit code: %1").arg(exitCode)},
                          this);
    }

    if (goBackAfterInstall && !closed) {
        goBack();
        deleteInstaller();
        return;
    }
    nextDownload();
    productBar->reset();
    deleteInstaller();
}

// A running installer would meet a closed pipe and end half-way: the windows go, the program stays
// until it is done.
bool ZelDownload::eventFilter(QObject* watched, QEvent* event) {
    if (watched != qApp || event->type() != QEvent::Quit || !installer)
        return QWizardPage::eventFilter(watched, event);
    QApplication::closeAllWindows();
    event->ignore();
    return true;
}

void ZelDownload::deleteInstaller() {
    qDebug() << "calling delete on installer process object";
    delete installer;
    qDebug() << "process object gone";
    installer = nullptr;
}

void ZelDownload::installerError(QProcess::ProcessError error) {
    qDebug() << "Installer error " << int(error);
    if (error != QProcess::FailedToStart)
        return;
    if (inBackDialog) {
        held.installerNotStarted = true;
        return;
    }

    QString text = tr("Could not start installer process, skipping to next product");
    ZelManifestElement* product = nullptr;
    if (!currentProduct(&product))
        text = tr("Could not start installer process for %1, skipping to next product")
                   .arg(product->label());
    if (!closed)
        ZelShowMessageBox({.name = "installerNotStarted", .text = text}, this);

    productBar->reset();
    installer->deleteLater();
    qDebug() << "process object abandoned due to error";
    installer = nullptr;
    nextDownload();
}
