#pragma once

#include "vendorserver/ZelVendorServer.h"

#include <QTemporaryDir>
#include <QThread>
#include <QUrl>

// The vendor's server in this process, on a free loopback port, in a thread of its own, so that it
// goes on while the program's is held up. It serves the packages in its folder, the manifest given,
// and signs in the account "user" with the password "pass".
class ZelVendor : public ZelVendorServer {
    Q_OBJECT

public:
    ZelVendor();
    ~ZelVendor() override { stop(); }

    // Starts with further options. False when it cannot.
    bool start(const QStringList& options = {});

    // Breaks all connections and listens no more.
    void stop();

    // The address of a package.
    QUrl packageUrl(const QString& name) const;

    // Replaces the manifest; @SERVER@ stands for the server's address.
    void setManifest(const QByteArray& xml);

    // Replaces the accounts, one line each: user TAB password [TAB reason of refusal]. Before
    // start.
    void setAccounts(const QByteArray& text);

    // Puts a package of `size` bytes on the server and returns its contents.
    QByteArray addPackage(const QString& name, int size);

    QString folder() const { return directory.path(); }

private:
    QTemporaryDir directory;
    QThread thread;
};
