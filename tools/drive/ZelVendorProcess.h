#pragma once

#include <QProcess>
#include <QTemporaryDir>
#include <QUrl>

// The local vendor server as a process of its own, on a free loopback port. It serves the packages
// in its folder, the manifest given, and signs in the account "user" with the password "pass".
class ZelVendorProcess {
public:
    ZelVendorProcess();
    ~ZelVendorProcess();

    // Starts the server; further arguments are passed on. False when it does not come up.
    bool start(const QStringList& arguments = {});

    // Ends the server at once.
    void stop();

    // "127.0.0.1:PORT", as the option -debugserver takes it.
    QString hostAndPort() const;

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

    // What the server printed about the requests so far.
    QByteArray requestLog() { return log += process.readAllStandardError(); }

private:
    QTemporaryDir directory;
    QProcess process;
    QByteArray log;
    QUrl address;
};
