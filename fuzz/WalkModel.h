#pragma once

#include "drive/ZelSandbox.h"

#include <QLabel>
#include <QNetworkAccessManager>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSet>
#include <cstdlib>

// A wizard, and what must hold whatever happens to it. The log tells which product has its turn and
// whether its installer runs; what the page has to show follows from that and from what is seen.
class WalkModel : public ZelSandbox {
public:
    // Ends the process with a finding unless it holds.
    static void require(bool holds, const QString& what) {
        if (holds)
            return;
        std::fprintf(stderr, "walk: %s\n", qPrintable(what));
        std::abort();
    }

protected:
    static QMessageBox* box() {
        return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    }

    // How many requests have no end yet: for packages, or for manifests.
    static qsizetype requests(bool packages) {
        const auto replies =
            ZelApp::instance()->getNetworkManager()->findChildren<QNetworkReply*>();
        return std::count_if(replies.begin(), replies.end(), [packages](QNetworkReply* reply) {
            return reply->isRunning() && reply->request().url().path().endsWith(".php") != packages;
        });
    }

    bool isOnPage() const { return page() == ZelMainWindow::Download && window->isVisible(); }

    // Whether the next step waits for nothing but a timer.
    bool isBetween() const { return isOnPage() && !box() && !installing && !requests(true); }

    // Whether the user is asked or can go on. Back alone leads on nowhere.
    bool canAct() const {
        return box() ||
               (page() == ZelMainWindow::Selection ? find<QAbstractButton>("showAll")->isEnabled()
                                                   : page() != ZelMainWindow::Download);
    }

    // Looked at after every event.
    void check() {
        const qsizetype transfers = requests(true);
        require(transfers + (installing ? 1 : 0) <= 1, "more than one transfer or installer");
        require(isOnPage() || window->isHidden() || (!transfers && !installing),
                "work that nobody waits for");
        for (const QFileInfo& info : downloads.entryInfoList(QDir::Files)) {
            QFile file(info.filePath());
            if (info.suffix() == "zeldownload" || !file.open(QIODevice::ReadOnly))
                continue;
            const QByteArray bytes = file.readAll();
            require(files.value(info.fileName(), bytes) == bytes, "a whole file was changed");
            require(files.contains(info.fileName()) || whole.contains(bytes),
                    "a file that was never sent so has a final name");
            files[info.fileName()] = bytes;
        }
        require(box() || window->isHidden() ||
                    window->button(QWizard::CustomButton1)->isVisible() == isOnPage(),
                "a button is another page's");
        if (!isOnPage() || box())
            return;

        const int count = int(ZelApp::instance()->downloadList.size());
        require(!window->button(QWizard::NextButton)->isEnabled() ||
                    (over && position + 1 == count),
                "Next is enabled out of turn");
        const QString doing = installing ? "Installing " : "Downloading ";
        require((!transfers && !installing) ||
                    find<QLabel>("downloadStatus")->text() == doing + product().label() + "...",
                "the status tells of something else");
        const auto* bar = find<QProgressBar>("productProgress");
        require(transfers || (installing ? bar->minimum() == 0 && bar->maximum() == 0
                                         : bar->value() < bar->minimum()),
                "the bar shows something else");
        require(transfers || find<QLabel>("byteCount")->text().isEmpty(),
                "the byte count is of what is over");
        const int share = 1000 / count;
        const int overall = find<QProgressBar>("overallProgress")->value();
        require(share * std::max(position, 0) <= overall &&
                    overall <= share * position + (over ? share : share / 2),
                "the overall bar is elsewhere");
    }

    // Every message of the program and of the toolkit.
    void logged(QtMsgType type, const char* category, const QString& message) {
        // What the program may warn of; what the platform without a screen says; a reply aborted
        // just when its connection failed in its thread.
        static const QRegularExpression allowed(
            "^(Couldn't finalize download|Fatal error on line|This plugin does not support|"
            "QNetworkReplyImplPrivate::error: Internal problem)");
        static const QRegularExpression impossible(
            "internal error|wrong reply|index out of range|nothing to do|called while|Oy!|"
            "[Nn]o current product|no element|Already downloading|again$|but no file|"
            "error in download reply|pa55word");
        require((type == QtDebugMsg && qstrcmp(category, "default") == 0) ||
                    allowed.match(message).hasMatch(),
                "a message that is not to be: " + message);
        require(!impossible.match(message).hasMatch(), "what is impossible: " + message);

        if (message == "Download") {
            position = -1;
            over = true;
        } else if (message.startsWith("Requesting manifest from ")) {
            accepted = false;
        } else if (message.startsWith("TLS errors of ")) {
            accepted = message.endsWith("accepted");
        } else if (message.startsWith("downloading ")) {
            next();
            require(message.contains('"' + product().label() + '"') && !installing && !box(),
                    "a transfer started out of turn");
            accepted = false;
            tried = true;
        } else if (message.startsWith("Download complete!")) {
            require(!over || next().downloaded, "a download is complete out of turn");
            over = !ZelApp::instance()->runInstallers || !product().Name.endsWith(".pkg");
        } else if (message.startsWith("running installer")) {
            require(!over && !installing && !box() && !requests(true),
                    "an installer started out of turn");
            installing = true;
        } else if (message.startsWith("process object ")) {
            installing = false;
            over = true;
        } else if (message.startsWith("message box \"downloadFailed\" answered")) {
            require(std::exchange(tried, false), "a failure that did not happen");
            over = message.contains("answered QMessageBox::Ignore");
        }
    }

    QSet<QByteArray> whole;           // what servers have to send as a whole package
    QHash<QString, QByteArray> files; // those with a final name, which never change
    bool accepted = false;            // the certificate, for the reply of now

private:
    const ZelManifestElement& product() const {
        const ZelApp* app = ZelApp::instance();
        require(position >= 0 && position < app->downloadList.size(), "there is no such product");
        return app->manifest[app->downloadList[position]];
    }

    // The product whose turn it is now.
    const ZelManifestElement& next() {
        position += std::exchange(over, false) ? 1 : 0;
        return product();
    }

    int position = -1;  // in the download list
    bool over = true;   // with that product
    bool tried = false; // to get it
    bool installing = false;
};
