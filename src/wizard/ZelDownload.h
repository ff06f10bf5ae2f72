#pragma once

#include <QNetworkReply>
#include <QProcess>
#include <QWizardPage>

class QLabel;
class QProgressBar;
class ZelManifestElement;

// Works through the download list: fetches each product that is not on disk yet and runs the
// platform's package installer on it. The installer runner is in ZelDownloadInstaller.cpp.
class ZelDownload : public QWizardPage {
    Q_OBJECT

public:
    explicit ZelDownload(QWidget* parent);

    void initializePage() override;
    void cleanupPage() override;
    bool isComplete() const override;
    bool validatePage() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    // The next while-you-wait picture, null when there is none.
    QPixmap nextWUWPixmap();

    // The product being worked on. True when there is none; `out` is then unchanged.
    bool currentProduct(ZelManifestElement** out) const;

    // Whether the current product is on disk; the argument does not matter.
    bool isProductAlreadyDownloaded(int index) const;

    void nextDownload();
    void startInstaller();

    static constexpr int overallRange = 1000;
    static constexpr int pictureLimit = 20;
    static constexpr int pictureInterval = 100; // ms

private slots:
    void back(bool);
    void downloadCompleted(int manifestIndex);
    void downloadFailed(QString reason, int manifestIndex);
    void downloadProgress(qint64 bytesReceived, qint64 bytesTotal);
    void installerStarts();
    void installerChangedState(QProcess::ProcessState newState);
    void installerError(QProcess::ProcessError error);
    void installerFinished(int exitCode, QProcess::ExitStatus exitStatus);
    void installerReadyStdout();
    void installerReadyStderr();
    void nextWhileUWait();
    void requestNextDownload();

private:
    // Idle before the first product and after the last; Between when the current one has neither a
    // transfer nor an installer.
    enum class State { Idle, Downloading, Between, Installing };
    State state() const;

    void createUI();
    void setStatus(const QString& text);
    void requestNextDownloadSoon();
    void advance();
    void finishQueue();
    void goBack();
    bool askToGoBack(const QString& name, const QString& text, const QString& informativeText);
    void backDuringInstall(const QString& label);
    void backDuringDownload(const QString& label);
    void deleteInstaller();

    qint32 position = -1; // in the download list; -1 when idle or done
    bool complete = false;
    bool entering = false; // the wizard is still on its way to this page
    bool closed = false;   // the window is; an installer may still run
    QLabel* picture;
    QProgressBar* overallBar;
    QProgressBar* productBar;
    QLabel* statusLabel;
    QLabel* byteLabel;
    qint32 share = 0; // of the overall bar, for one product
    QNetworkReply* currentReply = nullptr;
    QProcess* installer = nullptr; // owned
    bool goBackAfterInstall = false;
    bool stoppedByBack = false;
    qint32 pictureNumber = 1;
    bool backConnected = false;

    bool inBackDialog = false;
    // What ended while the back dialog was open, replayed when it closes.
    struct {
        bool installerNotStarted = false;
        bool installerFinished = false;
        qint32 exitCode = 0;
        QProcess::ExitStatus exitStatus = QProcess::NormalExit;
        bool completed = false;
        bool failed = false;
        qint32 index = -1;
        QString failure;
    } held;
};
