#pragma once

#include "drive/ZelSandbox.h"

#include <QLabel>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSet>
#include <cassert>

// A wizard, and what must hold whatever happens to it. The log tells which product has its turn and
// whether its installer runs; what the page has to show follows from that and from what is seen.
class WalkModel : public ZelSandbox {
protected:
    static QMessageBox* box() {
        return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    }

    // Whether the user is asked or can go on. Back alone leads on nowhere.
    bool canAct() const {
        if (page() == ZelMainWindow::Selection)
            return box() || find<QAbstractButton>("showAll")->isEnabled();
        return box() || page() != ZelMainWindow::Download;
    }

    // Whether the next step waits for nothing but a timer or the start of the installer.
    bool isBetween() const {
        return installer == QProcess::Starting ||
               (isOnPage() && !box() && !installing && transfers() == 0);
    }

    // Looked at after every event.
    void check() {
        const qsizetype active = transfers() + (installing ? 1 : 0);
        assert(active <= (isOnPage() || window->isHidden() ? 1 : 0));
        for (const QFileInfo& info : downloads.entryInfoList(QDir::Files)) {
            QFile file(info.filePath());
            if (info.suffix() == "zeldownload" || !file.open(QIODevice::ReadOnly))
                continue;
            QByteArray& before = files[info.fileName()];
            const QByteArray bytes = file.readAll();
            assert(before.isNull() ? whole.contains(bytes) : before == bytes);
            before = bytes;
        }
        if (box() || window->isHidden())
            return;
        assert(window->button(QWizard::CustomButton1)->isVisible() == isOnPage());
        if (!isOnPage())
            return;

        const int count = int(ZelApp::instance()->downloadList.size());
        const bool isLast = over && position + 1 == count;
        assert(isLast || !window->button(QWizard::NextButton)->isEnabled());
        const QString status = find<QLabel>("downloadStatus")->text();
        const QString doing = installing ? "Installing " : "Downloading ";
        assert(active == 0 || status == doing + product().label() + "...");
        const auto* bar = find<QProgressBar>("productProgress");
        assert(installing ? bar->minimum() == 0 && bar->maximum() == 0
                          : transfers() > 0 || bar->value() < bar->minimum());
        assert(transfers() > 0 || find<QLabel>("byteCount")->text().isEmpty());
        const int share = 1000 / count;
        const int overall = find<QProgressBar>("overallProgress")->value();
        assert(overall >= share * std::max(position, 0));
        assert(overall <= share * position + (over ? share : share / 2));
    }

    // Every message of the program and of the toolkit.
    void heard(QtMsgType type, const char* category, const QString& message) {
        // What the program may warn of; what the platform without a screen says; a reply aborted
        // just when its connection failed in its thread.
        static const QRegularExpression allowed(
            "^(Couldn't finalize download|Fatal error on line|This plugin does not support|"
            "QNetworkReplyImplPrivate::error: Internal problem)");
        static const QRegularExpression impossible(
            "internal error|wrong reply|index out of range|nothing to do|called while|Oy!|"
            "[Nn]o current product|no element|Already downloading|again$|but no file|"
            "error in download reply|pa55word");
        const bool isOurs = type == QtDebugMsg && qstrcmp(category, "default") == 0;
        assert(isOurs || allowed.match(message).hasMatch());
        assert(!impossible.match(message).hasMatch());

        if (message == "Download") {
            position = -1;
            over = true;
        } else if (message.startsWith("Requesting manifest from ")) {
            accepted = false;
        } else if (message.startsWith("TLS errors of ")) {
            accepted = message.endsWith("accepted");
        } else if (message.startsWith("downloading ")) {
            next();
            assert(message.contains('"' + product().label() + '"') && !installing && !box());
            accepted = false;
            tried = true;
        } else if (message.startsWith("Download complete!")) {
            assert(!over || next().downloaded);
            over = !ZelApp::instance()->runInstallers || !product().Name.endsWith(".pkg");
        } else if (message.startsWith("running installer")) {
            assert(!over && !installing && !box() && transfers() == 0);
            installing = true;
        } else if (message.startsWith("Installer moves to state ")) {
            installer = message.back().digitValue();
            told = told && installer != QProcess::NotRunning;
        } else if (message.startsWith("installer std")) {
            told = false;
        } else if (message.startsWith("process object ")) {
            installing = false;
            over = true;
        } else if (message.startsWith("message box \"downloadFailed\" answered")) {
            assert(tried);
            tried = false;
            over = message.contains("answered QMessageBox::Ignore");
        }
    }

    QSet<QByteArray> whole;               // what may have a final name
    bool accepted = false;                // the certificate, for the reply of now
    int installer = QProcess::NotRunning; // its state
    bool told = false;                    // what to do, and it has not done it yet

private:
    static qsizetype transfers() {
        const auto replies =
            ZelApp::instance()->getNetworkManager()->findChildren<QNetworkReply*>();
        return std::count_if(replies.begin(), replies.end(), [](const QNetworkReply* reply) {
            return reply->isRunning() && !reply->request().url().path().endsWith(".php");
        });
    }

    bool isOnPage() const { return page() == ZelMainWindow::Download && window->isVisible(); }

    const ZelManifestElement& product() const {
        const ZelApp* app = ZelApp::instance();
        assert(position >= 0 && position < app->downloadList.size());
        return app->manifest[app->downloadList[position]];
    }

    // The product whose turn it is now.
    const ZelManifestElement& next() {
        position += std::exchange(over, false) ? 1 : 0;
        return product();
    }

    QHash<QString, QByteArray> files; // those with a final name, which never change
    int position = -1;                // in the download list
    bool over = true;                 // with that product
    bool tried = false;               // to get it
    bool installing = false;
};
