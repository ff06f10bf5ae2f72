#pragma once

#include "app/ZelApp.h"
#include "drive/ZelBoxDriver.h"

#include <QFile>
#include <QNetworkReply>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

// Collects the program's messages while it lives; they are not printed meanwhile.
class ZelLogCapture {
public:
    ZelLogCapture();
    ~ZelLogCapture();

    // The messages so far, as handed to the message handler.
    static QStringList lines();

    // Whether a message with this text in it has come.
    static bool contains(const QString& text);

private:
    QtMessageHandler previous;
};

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

// Writes a file and returns its path; `permissions` for programs.
QString zelWriteFile(const QString& path, const QByteArray& contents, bool executable = false);

// A manifest record as XML, for ZelVendorProcess::setManifest.
QByteArray zelProductXml(const QString& name, const QString& simpleName, int build, qint64 size,
                         const QString& url = QString(), bool eligible = true);
QByteArray zelManifestXml(const QByteArrayList& products);

// Sets an environment variable while it lives.
class ZelEnvironment {
public:
    ZelEnvironment(const char* name, const QByteArray& value);
    ~ZelEnvironment();

private:
    const char* name;
    QByteArray previous;
    bool wasSet;
};

// Runs a test class inside the real application object, off-screen, with a home directory of its
// own.
template<typename Test> int zelRunTest(int argc, char** argv) {
    QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    QDir(home.path()).mkdir("Downloads");
    ZelApp app(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

#define ZEL_TEST_MAIN(Test)                                                                        \
    int main(int argc, char** argv) {                                                              \
        return zelRunTest<Test>(argc, argv);                                                       \
    }
