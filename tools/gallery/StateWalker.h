#pragma once

#include "drive/ZelSandbox.h"
#include "vendorserver/ZelServer.h"

// Brings the real wizard into one state after another that a person can meet: every page, every
// box. It runs on a machine of its own making, with package installers that wait to be told how to
// end and a server that holds its answers. Needs a ZelApp whose HOME may be written to.
class StateWalker {
public:
    // Called in each state with its name and the window, or the box, that shows it.
    std::function<void(const QString& state, QWidget& window)> onState;

    // What every window is asked to be before it is looked at; empty for as it comes.
    QSize wantedSize;
    // Called, if set, after each scene that ended the program, with its exit status.
    std::function<void(const QString& scene, int status)> onExit;

    // Goes through all states; `problems` then names those that were not reached.
    void walk();

    QStringList problems;

    // Why the server refuses an account, in its own words.
    static constexpr char serverReason[] = "The user id or the password is not right.";

private:
    struct Product {
        QString label;
        qint64 size = 4096;
        QString name = "product";
    };

    void scene(const QString& name, const std::function<void()>& play);
    void pagesBeforeDownload();
    void boxesBeforeDownload();
    void downloadPage();
    void downloadBoxes();

    void offer(const QList<Product>& products);
    void openSelection();
    void openDownload(const QList<Product>& products);
    void startInstaller();
    void seen(const QString& state);
    void waitForRequest();
    void waitForBox(const QString& name);
    void waitFor(const QString& what, const std::function<bool()>& condition);
    template<typename Widget> Widget* find(const char* name) const {
        return driver->find<Widget>(name);
    }

    // Of the scene, which has its own: what the last one asked for late is none of its business.
    std::unique_ptr<ZelServer> server;
    ZelSandbox* driver = nullptr;
    QString current; // the scene
};
