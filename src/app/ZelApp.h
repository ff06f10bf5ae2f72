#pragma once

#include "core/ZelManifestElement.h"

#include <QApplication>
#include <QDir>
#include <QIcon>
#include <QList>
#include <QNetworkReply>
#include <QPixmap>
#include <QPointer>
#include <QSslError>
#include <QUrl>
#include <memory>

class QNetworkAccessManager;
class ZelMachineAssay;
class ZelMainWindow;

// The addresses on the vendor's server.
enum ZelLocation {
    ZelManifestLocation = 1,
};

// The application object: settings, credentials, the manifest, and everything that talks to the
// vendor's server. The pages call it and listen to its signals; they hold no network objects.
//
// Its code lies in one file for each concern: ZelApp.cpp (start-up, resources, shared objects),
// ZelAppCommandLine.cpp, ZelAppManifest.cpp, ZelAppTls.cpp and ZelAppDownloads.cpp.
class ZelApp : public QApplication {
    Q_OBJECT

public:
    ZelApp(int& argc, char** argv);
    ~ZelApp() override;

    // The one application object.
    static ZelApp* instance() { return static_cast<ZelApp*>(QCoreApplication::instance()); }

    // Reads the command line into the members below; bad arguments are passed over.
    void parseCommandLineArguments();

    // Sets icon and style, creates and shows the wizard. 0 when the event loop is to run.
    int Start();

    // Whether this is a graphical application.
    bool isGui() const;

    // Pictures from the image directory; empty when the name is null or the file cannot be read.
    QIcon LoadIconResource(const char* name) const;
    QPixmap LoadPixmapResource(const char* name) const;

    // Applies a style sheet from the style-sheet directory; a missing file changes nothing.
    void loadStylesheet(const char* name);

    // The one manager that every request goes through. Owned by this object.
    QNetworkAccessManager* getNetworkManager();

    // Scratch space of downloadBufferSize bytes, owned by this object.
    char* getDownloadBuffer();

    // Finds out what is on this machine. Blocks until it is known.
    void DoAssay();

    // The address of a location on the server.
    QUrl GetURL(ZelLocation location) const;

    // Empties the manifest and asks the server for a new one, or reads the local file that replaces
    // it. The outcome is validManifestReply or invalidManifestReply.
    void RequestManifest(const QUrl& url, const QString& userId, const QString& userPassword,
                         const QString& platform);

    // Judges the finished manifest reply and schedules it for deletion.
    void replyFromManifestRequest(QNetworkReply* reply);

    // Reads the local file that replaces, or is appended to, the server's manifest, if there is
    // one.
    void alternateManifest();
    void appendManifest();

    // Decides whether `reply` may go on in spite of TLS errors; asks the user where needed.
    void sslErrors(QNetworkReply* reply, const QList<QSslError>& errors);

    // The folder for packages, decided once. Owned by this object.
    QDir* GetDownloadDir();

    // A free temporary path for the product; see ZelFreeTempPath.
    QString getDownloadPath(int index);
    QString getFinalNameFromTempName(const QString& tempName) const;

    // Marks the product as downloaded when a file of its name and size is in the download folder.
    void CheckForDownload(int index);

    // Starts the transfer of a product. Null when nothing was started; the reply is not the
    // caller's.
    QNetworkReply* DownloadProduct(int index);

    // Ends the transfer: gives the file its final name or reports why there is none.
    void finishedDownload(QNetworkReply* reply);

    static constexpr int downloadBufferSize = 1024;

    ZelMainWindow* wizard = nullptr; // never deleted: it lives as long as the program
    QList<ZelManifestElement> manifest;
    QString host;
    QString scheme;
    QString installRoot; // resources are below it
    QString applicationPath;
    QString user;
    qint32 logThreshold = 0;
    QString password;
    QString proxy; // "host:port" as entered, may be empty
    bool gui = true;

protected:
    bool event(QEvent* event) override;

private:
    bool isManifestIndex(int index) const { return index >= 0 && index < manifest.size(); }
    bool parseManifest(const QByteArray& document);
    void loadLocalManifest(QString& path, const char* variable, const char* start,
                           const char* success);
    QNetworkAccessManager* managerForRequest();
    QString finishFile(QFile& file, const QNetworkReply& reply, qint64 manifestSize);

    QNetworkAccessManager* networkManager = nullptr;
    QNetworkReply* currentDownloadReply = nullptr;
    // Stays set when the reply has been handled; guarded, since a later reply may get its address.
    QPointer<QNetworkReply> manifestReply;
    qint32 currentDownloadIndex = -1;
    std::unique_ptr<char[]> readBuffer;
    std::unique_ptr<QDir> downloadDirectory;
    bool tlsErrorsJudged = false; // of a reply whose connection may still be open

public:
    QString manifestFile;       // replaces the server's manifest, when not empty
    QString appendManifestFile; // follows it, when not empty
    QList<int> downloadList;    // the products to download, as indices into the manifest
    ZelMachineAssay* assay = nullptr;
    QUrl successUrl; // opened at the end
    bool runInstallers = true;

signals:
    void validManifestReply();
    void invalidManifestReply(QString reason);
    void failedDownload(QString reason, int manifestIndex);
    void finishedDownload(int manifestIndex);

public slots:
    void finishedReply(QNetworkReply* reply);
    void downloadReadyRead();
    void downloadSslErrors(const QList<QSslError>& errors);
    void manifestSslErrors(const QList<QSslError>& errors);
};
