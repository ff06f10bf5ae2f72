#pragma once

#include "app/ZelApp.h"
#include "drive/ZelSandbox.h"

#include <QLabel>
#include <QNetworkAccessManager>
#include <QProgressBar>
#include <QSet>
#include <cstdlib>

// What must hold, whatever happens to the wizard. It hears what the wizard hears, from the
// application object, the log and the boxes, keeps a small copy of the download page and looks
// whether the real one is the same.
class WalkModel : public QObject {
public:
    static constexpr qint64 packageSize = 1000; // as manifests have it
    static constexpr char password[] = "pa55word";
    QSet<QByteArray> whole;               // what servers sent as whole packages
    QHash<QString, QByteArray> strangers; // files that the program did not make
    QStringList events;                   // so far
    bool installing = false;              // an installer started

    // Made before there is a page, it hears of the end of a transfer first.
    explicit WalkModel(ZelSandbox& sandbox) : wizard(sandbox) {
        const ZelApp* app = ZelApp::instance();
        connect(app, qOverload<int>(&ZelApp::finishedDownload), this, [this] { ended(Between); });
        connect(app, &ZelApp::failedDownload, this, [this] { ended(Failed); });
    }

    // Ends the process with a finding unless it holds.
    void require(bool holds, const QString& what) const {
        if (holds)
            return;
        std::fprintf(stderr, "walk: %s\nafter %s\n", qPrintable(what),
                     qPrintable(events.join(", ")));
        std::abort();
    }

    static QMessageBox* box() {
        return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    }

    // The requests without an end yet, for packages or for manifests.
    static qsizetype requests(bool packages) {
        const auto replies =
            ZelApp::instance()->getNetworkManager()->findChildren<QNetworkReply*>();
        return std::count_if(replies.begin(), replies.end(), [packages](QNetworkReply* reply) {
            return reply->isRunning() && reply->request().url().path().endsWith(".php") != packages;
        });
    }

    // Whether the next step waits for nothing but a timer.
    bool isBetween() const { return state == Between && !box(); }

    // Whether the user can do something that has an effect.
    bool canAct() const {
        const auto can = [this](QWizard::WizardButton which) {
            const QAbstractButton* button = wizard.window->button(which);
            return button->isVisible() && button->isEnabled();
        };
        return box() || (wizard.page() != ZelMainWindow::Download &&
                         (can(QWizard::BackButton) || can(QWizard::NextButton) ||
                          can(QWizard::FinishButton)));
    }

    // A request reached the server that asks for its certificate.
    void reachedTls() const { require(accepted, "nobody accepted the certificate"); }

    // Looked at after every event.
    void check() const {
        const qsizetype busy = requests(true) + (installing ? 1 : 0);
        require(busy <= 1, "more than one transfer or installer");
        require(busy == 0 || state == Downloading || state == Installing,
                "work that nobody waits for");
        for (const QFileInfo& info : wizard.downloads.entryInfoList(QDir::Files)) {
            QFile file(info.filePath());
            if (info.suffix() == "zeldownload" || !file.open(QIODevice::ReadOnly))
                continue;
            const QByteArray bytes = file.readAll();
            require(strangers.contains(info.fileName()) ? strangers[info.fileName()] == bytes
                                                        : whole.contains(bytes),
                    "a file that was never sent so has a final name");
        }
        if (wizard.page() != ZelMainWindow::Download || wizard.window->isHidden())
            return;

        const bool nextIsEnabled = wizard.window->button(QWizard::NextButton)->isEnabled();
        require(box() || nextIsEnabled == (state == Idle), "Next is enabled out of turn");
        if (state == Idle)
            return;
        const QString status = wizard.find<QLabel>("downloadStatus")->text();
        require((state != Downloading || status == "Downloading " + product().label() + "...") &&
                    (state != Installing || status == "Installing " + product().label() + "..."),
                "the status tells of something else");
        const auto* bar = wizard.find<QProgressBar>("productProgress");
        require(state == Downloading ||
                    (state == Installing ? bar->minimum() == 0 && bar->maximum() == 0
                                         : bar->value() < bar->minimum()),
                "the bar shows something else");
        require(state == Downloading || wizard.find<QLabel>("byteCount")->text().isEmpty(),
                "the byte count is of what is over");
        const int share = 1000 / int(ZelApp::instance()->downloadList.size());
        require(wizard.find<QProgressBar>("overallProgress")->value() <=
                    share * position + share / 2,
                "the overall bar is ahead");
    }

    // Every message of the program and of the toolkit.
    void logged(QtMsgType type, const char* category, const QString& message) {
        // What the program may warn of; that there is no profiler, on purpose; what the platform
        // without a screen says; a reply aborted just when its connection failed in its thread.
        static const QRegularExpression allowed(
            "^(Couldn't finalize download|Fatal error on line|QProcess::start: program not set|"
            "This plugin does not support|QNetworkReplyImplPrivate::error: Internal problem)");
        require((type == QtDebugMsg && qstrcmp(category, "default") == 0) ||
                    allowed.match(message).hasMatch(),
                "a message that is not to be: " + message);
        require(!message.contains("internal error"), message);
        require(!message.contains(password), "the password is in the log");

        if (message == "Download") {
            require(state == Idle, "the page is entered while it works");
            state = Between;
            position = 0;
            goesBack = false;
        } else if (message.startsWith("Requesting manifest from ")) {
            accepted = false;
        } else if (message.startsWith("downloading ")) {
            require(state == Between && !starting && !box(), "a transfer started out of turn");
            state = Downloading;
            accepted = false;
        } else if (message.startsWith("Download complete!")) {
            require(state == Between, "a download is complete out of turn");
            starting = ZelApp::instance()->runInstallers && product().Name.endsWith(".pkg");
            if (!starting)
                advance();
        } else if (message.startsWith("running installer")) {
            require(starting && !installing && !box(), "an installer started out of turn");
            starting = false;
            installing = true;
            state = Installing;
        } else if (message.startsWith("Installer finished ") && !asksToGoBack() &&
                   (message.endsWith(" 0") || wizard.window->isHidden())) {
            installerEnded(); // one that crashed is told of first
        } else if (message.startsWith("process object ")) {
            installing = false;
        }
    }

    void boxClosed(const QString& name, QMessageBox::StandardButton answer) {
        const State meanwhile = std::exchange(held, Idle);
        if (name == "sslErrors") {
            accepted = answer == QMessageBox::Ok;
        } else if (name == "downloadFailed") {
            require(state == Failed, "a failure that did not happen");
            state = Between;
            if (answer == QMessageBox::Ignore)
                advance();
        } else if (name == "backDuringDownload" && answer == QMessageBox::Ok) {
            stopped = meanwhile == Idle;
            state = Idle;
        } else if (name == "backDuringDownload" && meanwhile != Idle) {
            state = meanwhile;
        } else if (name == "backDuringInstall") {
            goesBack = goesBack || answer == QMessageBox::Ok;
        } else if (name == "installerFailed") {
            installerEnded();
        } else if (name == "installerNotStarted") {
            advance();
        }
    }

private:
    enum State { Idle, Downloading, Between, Failed, Installing };

    static bool asksToGoBack() { return box() && box()->objectName().startsWith("back"); }

    const ZelManifestElement& product() const {
        const ZelApp* app = ZelApp::instance();
        require(position < app->downloadList.size(), "there is no product at this position");
        return app->manifest[app->downloadList[position]];
    }

    // A transfer came to its end.
    void ended(State next) {
        if (std::exchange(stopped, false))
            return;
        require(state == Downloading, "a transfer ended that nobody waits for");
        (asksToGoBack() ? held : state) = next;
    }

    void installerEnded() {
        if (goesBack)
            state = Idle;
        else
            advance();
    }

    void advance() {
        state = ++position == ZelApp::instance()->downloadList.size() ? Idle : Between;
    }

    ZelSandbox& wizard;
    State state = Idle;
    State held = Idle; // what the transfer came to under a dialog
    int position = 0;
    bool starting = false; // an installer has to come next
    bool stopped = false;  // a transfer, whose end means nothing any more
    bool goesBack = false; // when the installer ends
    bool accepted = false; // the certificate, for the reply of now
};
