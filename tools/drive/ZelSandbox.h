#pragma once

#include "app/ZelApp.h"
#include "drive/ZelEnvironment.h"
#include "drive/ZelWizardDriver.h"

#include <QTemporaryDir>

// The driven wizard on a machine of its own making. Maya 2014, 2016 and 2016.5 are installed there
// and none of the vendor's products. All of it goes with this object, whatever state it was left
// in. The download folder has to be empty before.
class ZelSandbox : public ZelWizardDriver {
public:
    ZelSandbox();
    ~ZelSandbox();

    // The products on offer, from the next visit to the selection page on.
    void offer(const QByteArrayList& products) const;

    // What the package installer does, in shell lines; it waits for the next until one ends it.
    void tellInstaller(const QByteArray& line) { gate.write(line + '\n'); }

    // The command lines that package installers were run with.
    QStringList installerCalls() const;

    QTemporaryDir machine;
    ZelEnvironment path;
    QDir downloads;

private:
    QFile gate;
};
