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

    // What happens while a back dialog is open is kept here and replayed when it closes.
    bool inBackDialog = false;
    bool installerFinishedInDialog = false;
    qint32 savedExitCode = 0;
    QProcess::ExitStatus savedExitStatus = QProcess::NormalExit;
    bool completedInDialog = false;
    qint32 savedIndex = -1;
    bool failedInDialog = false;
    QString savedFailure;
};
