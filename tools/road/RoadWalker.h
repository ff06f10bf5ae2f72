#pragma once

#include "drive/ZelWizardDriver.h"

#include <QList>
#include <functional>

// Walks the installer from the welcome page to the finished one, as a user would.
class RoadWalker : public QObject {
public:
    // Pictures go to `shotFolder`, which is made when missing.
    explicit RoadWalker(const QString& shotFolder);

    // Walks; ends the event loop when it cannot go on.
    void walk();

    // Prints what happened on the road and what did not; `status` is what the event loop returned.
    // True when everything did.
    bool report(int status);

private:
    bool walkPages();
    bool signIn();
    bool chooseProducts();
    bool downloadAndInstall();
    bool waitFor(const QString& what, const std::function<bool()>& condition);
    bool check(bool happened, const QString& problem);
    void shoot(QWidget& widget, const QString& name);

    QString folder;
    ZelWizardDriver driver;
    int shots = 0;
    QStringList proposed;
    QStringList problems;
    bool retried = false;  // the product in hand has had its second try
    bool received = false; // a manifest, be it an empty one
    QList<int> downloads;  // manifest indices, in the order of their end
};
