#pragma once

#include "drive/ZelBoxDriver.h"
#include "drive/ZelBrowser.h"
#include "wizard/ZelMainWindow.h"

#include <QAbstractButton>
#include <memory>

// What a user does with the wizard, one thing at a time, and what they see of it. No call waits:
// each returns when its click or key has been dealt with, whatever comes of it later.
class ZelWizardDriver {
public:
    // Goes to a page with Next, signing in on the way; opens a window when there is none. False
    // when the wizard stopped before it.
    bool walkTo(ZelMainWindow::Page page);

    // Goes on to the download page. The box that an offer without render server and Maya tools
    // calls forth before is not among the boxes.
    bool startQueue();

    // Enters a user id and a password.
    void signIn(const QString& user = "user", const QString& password = "pass") const;

    void press(QWizard::WizardButton button) const;

    // Presses a control of a page.
    void press(const char* name) const;

    // Checks or unchecks a row of the selection page.
    void toggle(int row) const;

    // Presses a key where the focus is.
    static void key(int key, int times = 1);

    ZelMainWindow::Page page() const { return ZelMainWindow::Page(window->currentId()); }

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
    std::unique_ptr<ZelMainWindow> window; // goes with the driver, also one that the program made
};
