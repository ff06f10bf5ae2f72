#pragma once

#include "app/ZelApp.h"
#include "drive/ZelBoxDriver.h"
#include "drive/ZelBrowser.h"
#include "drive/ZelEnvironment.h"
#include "wizard/ZelMainWindow.h"

#include <QAbstractButton>
#include <QRegularExpression>
#include <QTemporaryDir>

// The real wizard on a machine of the test's own making, and what a user does with it. Maya 2014,
// 2016 and 2016.5 are installed there and none of the vendor's products. All of it goes with this
// object, whatever state it was left in.
class ZelWizardDriver {
public:
    ZelWizardDriver();
    ~ZelWizardDriver();

    // The products on offer, from the next visit to the selection page on.
    void offer(const QByteArrayList& products) const;

    // Offers products whose packages are in the download folder already.
    void offerOnDisk(const QStringList& names) const;

    // What the package installer does, in shell lines; it waits for the next until one ends it.
    void tellInstaller(const QByteArray& line) { gate.write(line + '\n'); }

    // The command lines that package installers were run with, and the packages in them.
    QStringList installerCalls() const;
    QStringList installed() const { return installerCalls().replaceInStrings(leadingPath, ""); }

    // Opens the window and goes to a page with Next, signing in on the way. False when the wizard
    // stopped before it.
    bool walkTo(int page);

    // Enters the user id "user" and the password "pass".
    void signIn();

    // Goes on to the download page. The box that an offer without render server and Maya tools
    // calls forth before is not among the boxes.
    bool startQueue();

    void press(QWizard::WizardButton button);

    // The labels on the selection page as a person reads them, checked ones with a "*".
    QStringList rows() const;

    // The boxes so far: their text, "/", their informative text.
    QStringList said() const;

    // What the program exits with in consequence of `action`; noExit when it does not, within the
    // time (ms) after it.
    static int exitStatusOf(const std::function<void()>& action, int time = 10000);
    static constexpr int noExit = 1000;

    template<typename Widget> Widget* find(const char* name) const {
        return window->findChild<Widget*>(name);
    }

    ZelBoxDriver boxes;
    ZelBrowser browser;
    QTemporaryDir machine;
    ZelEnvironment path;
    QDir downloads;
    std::unique_ptr<ZelMainWindow> window; // from walkTo on

private:
    const QRegularExpression leadingPath{".*/"};
    QFile gate;
};
