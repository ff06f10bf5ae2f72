#include "support/ZelTestSupport.h"
#include "wizard/ZelDownload.h"

#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <unistd.h>

namespace {

// The wizard before the download page, where things happen one after another.
class Queue : public QObject, public ZelTestWizard {
public:
    // Names of packages, with a "+" before those that are on disk. One more product is not chosen.
    explicit Queue(const QString& names) {
        QByteArrayList products;
        for (const QString& name : ("left.pkg, " + names).split(", ")) {
            const QString file = name.section('+', -1);
            const QString url = server.url(file).toHtmlEscaped();
            products << zelProductXml(file, "Label of " + file, 1, 8, url);
            if (file != name)
                zelWriteFile(downloads.filePath(file), "complete");
        }
        offer(products);
        walkTo(ZelMainWindow::Selection);
        toggle(0);
        auto* status = find<QLabel>("downloadStatus");
        const auto* bytes = find<QLabel>("byteCount");
        auto* bar = find<QProgressBar>("productProgress");
        qDebug() << status->text();
        boxes.onShow = [=, this](QMessageBox& box) {
            progress(1, 2); // as the toolkit's last word on a transfer that failed
            qDebug() << "shown with" << bytes->text() << bar->value();
            boxes.answers[box.objectName()] = {go()};
        };
        connect(bar, &QProgressBar::valueChanged, status,
                [=](int value) { qDebug() << "bar" << status->text() << value << bytes->text(); });
        connect(find<QProgressBar>("overallProgress"), &QProgressBar::valueChanged, status,
                [](int value) { qDebug() << "overall" << value; });
        connect(window->page(ZelMainWindow::Download), &QWizardPage::completeChanged, status,
                [] { qDebug() << "overall done"; });
        connect(window.get(), &QWizard::currentIdChanged, status, [this](int id) {
            QStringList buttons;
            for (int i = QWizard::BackButton; i <= QWizard::CustomButton1; ++i) {
                const auto* button = window->button(QWizard::WizardButton(i));
                if (button->isVisible())
                    buttons << button->text().remove(QRegularExpression("[&<> ]"));
            }
            if (id != ZelMainWindow::Download)
                qDebug() << (id < 0 ? "[closed" : '[' + buttons.join(' ')) + ']';
            if (id == ZelMainWindow::Finished)
                QApplication::exit(noExit);
        });
    }

    // What became of it: the lines of the log that begin with one of `kept`, in short, with what
    // is not as it should be and the exit status if the program ended; and the download folder.
    QString play(const QString& script, const QString& kept) {
        words = script.split(", ");
        const int status = exitStatusOf([this] { go(); });
        const bool root = geteuid() == 0;
        const QString folder = downloads.path() + '/';
        const QString logged =
            root ? R"(running installer "installer" QList("-target", "/", "-package", ")"
                 : R"(running installer "open" QList("-W", ")";
        static const QRegularExpression box(
            R"(message box .(\w+). answered QMessageBox::(\w+)(?:.*(closed|code: \d+))?.*)");
        static const QRegularExpression noise(
            R"(^"?Download |Installer |process object | status| due to error|(?<=failed) ".*|During\w+|"|\)$|http://[\d.:]+|[\d.]+GB)");
        QStringList course;
        for (QString line :
             lines().filter(QRegularExpression(QString("^\"?(%1|vain|running inst)").arg(kept)))) {
            line.replace(logged, "installs ").replace(box, "\\1 \\3 \\2");
            course << line.remove(folder).remove(noise).simplified();
        }
        QStringList calls = installerCalls();
        calls.replaceInStrings((root ? "installer -target / -package " : "open -W ") + folder,
                               "installs ");
        if (calls != course.filter("installs "))
            course << "in fact: " + calls.join(", ");
        if (status != noExit)
            course << QString("exits with %1").arg(status);
        QStringList files;
        for (const QFileInfo& file : downloads.entryInfoList(QDir::Files))
            files << QString("%1 %2").arg(file.fileName()).arg(file.size());
        return course.join(", ") + " / " + files.join(", ");
    }

    void progress(qint64 received, qint64 total) {
        QMetaObject::invokeMethod(window->page(ZelMainWindow::Download), "downloadProgress",
                                  Q_ARG(qint64, received), Q_ARG(qint64, total));
    }

    ZelServer server;

private:
    // Up to the answer to the box that is open, or that comes next. What comes after the window is
    // closed comes only if the program has not ended with it.
    QMessageBox::StandardButton go() {
        static const auto answers = QMetaEnum::fromType<QMessageBox::StandardButtons>();
        while (!words.isEmpty()) {
            const QString word = words.takeFirst();
            const int answer = answers.keyToValue(qPrintable(word));
            if (answer == -1) {
                happens(word);
            } else if (QApplication::activeModalWidget()) {
                return QMessageBox::StandardButton(answer);
            } else {
                words.prepend(word);
                if (!await([this, left = words.size()] { return words.size() < left; }))
                    break;
            }
            if (!window->isVisible() && !QApplication::activeModalWidget()) {
                QTimer::singleShot(10, this, [this] { go(); });
                break;
            }
        }
        return QMessageBox::NoButton;
    }

    // Does it, and waits for the line in the log that says so. What is no word of ours is a line
    // for the installer.
    void happens(const QString& word) {
        const auto answer = [this](qint64 size, const char* body, const char* status = "200 OK") {
            await([this] { return server.asked; });
            server.answer(size, body, {}, status);
        };
        const QHash<QString, std::pair<const char*, std::function<void()>>> events{
            {"next", {"", [&] { walkTo(ZelMainWindow::Download); }}},
            {"back", {"", [&] { press(QWizard::CustomButton1); }}},
            {"close", {"", [&] { window->close(); }}},
            {"quit", {"", quit}},
            {"half", {"", [&] { answer(8, "half"), await(halfIsThere); }}},
            {"rest", {"Download complete", [&] { server.send("half"); }}},
            {"all", {"Download complete", [&] { answer(8, "complete"); }}},
            {"cut", {"Download failed", [&] { server.close(); }}},
            {"missing", {"Download failed", [&] { answer(4, "gone", "404 Not Found"); }}},
            {"switched off", {"", [] { ZelApp::instance()->runInstallers = false; }}},
            {"no PATH", {"", [] { qputenv("PATH", "/nowhere"); }}},
            {"PATH", {"", [&] { qputenv("PATH", machine.filePath("bin").toUtf8()); }}},
            {"fails", {"Installer error", [] {}}},
            {"later", {"later", [] { QTimer::singleShot(10, qApp, [] { qDebug("later"); }); }}}};
        const qsizetype before = lines().size();
        const auto [said, event] =
            events.value(word, {word.contains("printf") ? "installer std" : "Installer finished",
                                [&] { tellInstaller(word.toUtf8()); }});
        event();
        await([&, line = QString(said)] {
            return line.isEmpty() || !lines().mid(before).filter(line).isEmpty();
        });
    }

    // As the desktop does it, which heeds the answer.
    static void quit() {
        QEvent event(QEvent::Quit);
        QApplication::sendEvent(qApp, &event);
        qDebug() << (event.isAccepted() ? "[quits]" : "[stays]");
    }

    static bool await(const std::function<bool()>& condition) {
        const bool came = QTest::qWaitFor(condition, 10000);
        if (!came)
            qDebug() << "vainly waited";
        return came;
    }

    static bool halfIsThere() {
        const QList<ZelManifestElement>& all = ZelApp::instance()->manifest;
        return std::any_of(all.begin(), all.end(), [](const ZelManifestElement& element) {
            return element.file && element.file->isOpen() && element.file->pos() == 4;
        });
    }

    QStringList words;
};

// What happens, and which packages there are where it matters, to the course that it takes.
const char courses[] = R"(
next, half, back, rest, Cancel, exit 0, half, back, Cancel, rest, exit 0 =>
    completed while in the back dialog, back Cancel, complete! 1, installs one.pkg, gone, back Cancel, complete! 2, installs two.pkg, [Finish], gone / one.pkg 8, two.pkg 8
next, half, back, cut, Cancel, Ignore, half, back, Cancel, rest, exit 0 =>
    failed, failed while in the back dialog, back Cancel, failed, downloadFailed closed Ignore, back Cancel, complete! 2, installs two.pkg, [Finish], gone / one.pkg.zeldownload 4, two.pkg 8
next, half, back, Ok, next, half, cut, Ignore, all, exit 0 =>
    back Ok, failed, [Back Next], failed, downloadFailed closed Ignore, complete! 2, installs two.pkg, [Finish], gone / one-1.pkg.zeldownload 4, one.pkg.zeldownload 4, two.pkg 8
next, half, back, rest, Ok, next, half, cut, Abort =>
    completed while in the back dialog, back Ok, [Back Next], failed, downloadFailed closed Abort, exits with -1 / one-1.pkg.zeldownload 4, one.pkg 8
next, half, back, cut, Ok, next, half, cut, Abort =>
    failed, failed while in the back dialog, back Ok, [Back Next], failed, downloadFailed closed Abort, exits with -1 / one-1.pkg.zeldownload 4, one.pkg.zeldownload 4
next, half, back, rest, close, Cancel =>
    completed while in the back dialog, [closed], back Cancel, exits with 0 / one.pkg 8
next, half, back, cut, close, Cancel =>
    failed, failed while in the back dialog, [closed], back Cancel, failed, exits with 0 / one.pkg.zeldownload 4
next, all, back, exit 0, Cancel, all, back, Cancel, exit 0 =>
    complete! 1, installs one.pkg, finished while waiting for user input, back Cancel, gone, complete! 2, installs two.pkg, back Cancel, [Finish], gone / one.pkg 8, two.pkg 8
next, all, back, kill -SEGV $$, Cancel, Ok, all, back, Cancel, exit 0 =>
    complete! 1, installs one.pkg, finished while waiting for user input, back Cancel, installerFailed code: 11 Ok, gone, complete! 2, installs two.pkg, back Cancel, [Finish], gone / one.pkg 8,
    two.pkg 8
next, all, back, Ok, exit 0, next, all, back, Cancel, exit 0, all, exit 0 =>
    complete! 1, installs one.pkg, back Ok, [Back Next], gone, complete! 1, installs one-1.pkg, back Cancel, gone, complete! 2, installs two.pkg, [Finish], gone / one-1.pkg 8, one.pkg 8, two.pkg 8
next, all, back, kill -SEGV $$, Ok, Ok, close =>
    complete! 1, installs one.pkg, finished while waiting for user input, back Ok, installerFailed code: 11 Ok, [Back Next], gone, [closed], exits with 0 / one.pkg 8
next, all, back, Ok, close, exit 0 =>
    complete! 1, installs one.pkg, back Ok, [closed], gone, exits with 0 / one.pkg 8
next, all, close, kill -SEGV $$ =>
    complete! 1, installs one.pkg, [closed], gone, exits with 0 / one.pkg 8
next, all, quit, exit 0 =>
    complete! 1, installs one.pkg, [closed], [stays], gone, exits with 0 / one.pkg 8
next, exit 1, exit 255 | +Tools & Toys 21.0.pkg, +two.pkg =>
    complete! 0, installs Tools & Toys 21.0.pkg, gone, complete! 1, installs two.pkg, [Finish], gone / Tools & Toys 21.0.pkg 8, two.pkg 8
next, exit 0 | +first.PKG, +first.pkg.zip, +firstpkg, +two.pkg =>
    complete! 0, Not running installer on first.PKG, complete! 1, Not running installer on first.pkg.zip, complete! 2, Not running installer on firstpkg, complete! 3, installs two.pkg, [Finish],
    gone / first.PKG 8, first.pkg.zip 8, firstpkg 8, two.pkg 8
next, back, later, close | +guide.pdf =>
    complete! 0, Not running installer on guide.pdf, [Back Next], [closed], exits with 0 / guide.pdf 8
switched off, next | +one.pkg =>
    complete! 0, Set to not run installers, skipping Label of one.pkg, [Finish] / one.pkg 8
no PATH, next, Ok, Ok | +one.pkg, +two.pkg =>
    complete! 0, installs one.pkg, installerNotStarted Ok, abandoned, complete! 1, installs two.pkg, installerNotStarted Ok, abandoned, [Finish], in fact:  / one.pkg 8, two.pkg 8
no PATH, next, back, fails, PATH, Cancel, Ok, exit 0 | +one.pkg, +two.pkg =>
    complete! 0, installs one.pkg, back Cancel, installerNotStarted Ok, abandoned, complete! 1, installs two.pkg, [Finish], gone, in fact: installs two.pkg / one.pkg 8, two.pkg 8
no PATH, next, close, fails | +one.pkg, +two.pkg =>
    complete! 0, installs one.pkg, [closed], abandoned, in fact: , exits with 0 / one.pkg 8, two.pkg 8
next, close, read -r line; printf 'half\n"done"\n', printf "oh$QT_NO_GLIB\0dear" >&2, exit 0 | +one.pkg, +two.pkg =>
    installs one.pkg, moves to state 1, moves to state 2, starts, installer stdout: half\n\done\\n, installer stderr: oh\0dear, moves to state 0, finished 0 0, calling delete on installer process
    object, gone, exits with 0 / one.pkg 8, two.pkg 8
next, all, exit 0, missing, Retry, missing, Ignore, exit 0, all, exit 0, missing, Ignore | one.pkg, gone.pkg, +two.pkg, three.pkg, none.pkg =>
    Welcome!, Selection, Doing assay..., Assay completed, Chose 6 to download, There are 0 hidden, selectionIssues Ok, Manifest:, left.pkg zel: true url: QUrl(/left.pkg) buildid: 1, building a
    list with QList(0, 1, 2, 3, 4, 5, Adding left.pkg with label Label of left.pkg, Download/Installing, We have enough space to continue. Needed 80b, Download, overall 0, overall 100, bar
    Downloading Label of one.pkg... 8 8b/8b, complete! 1, installs one.pkg, overall 200, overall 300, bar Downloading Label of gone.pkg... 4 4b/4b, failed, shown with -1, downloadFailed Retry,
    Requesting retry after a failed download, overall 200, overall 300, bar Downloading Label of gone.pkg... 4 4b/4b, failed, shown with -1, downloadFailed Ignore, overall 400, complete! 2,
    installs two.pkg, overall 600, overall 700, bar Downloading Label of three.pkg... 8 8b/8b, complete! 4, installs three.pkg, overall 800, overall 900, bar Downloading Label of none.pkg... 4
    4b/4b, failed, shown with -1, downloadFailed Ignore, overall done, Finished! / gone-1.pkg.zeldownload 4, gone.pkg.zeldownload 4, none.pkg.zeldownload 4, one.pkg 8, three.pkg 8, two.pkg 8
)";

} // namespace

// The download page: packages come and are installed, users want back, and things fail meanwhile.
class tst_download : public QObject {
    Q_OBJECT

private slots:
    void queue() {
        const auto run = [&](const QStringList& in) {
            // Of each kind of line in the log that is the wizard's, once all.
            const char* kept =
                R"(\[|message box .[bdi]|Download .|Set|Not running (?!as)|process|.* while )";
            if (in[0].contains("printf"))
                kept = "message box .[bdi]|[Ii]nstaller |process|calling|Finished";
            else if (in[0].contains("missing"))
                kept = "Welc|Sel|Do|Assay|Chos|There|mes|Man|left|buil|Adding  "
                       ".l|We|over|bar|shown|Requ|Fin";
            return Queue(in.value(1, "one.pkg, two.pkg")).play(in[0], kept);
        };
        zelCheckTable(QString(courses).replace("\n    ", " "), run);
    }

    // During the second of three products, of a share of 333 each, half of that for the transfer:
    // from the bytes received and their total to the overall value, what is shown, and the
    // product's bar.
    void progress() {
        Queue queue("+guide.pdf, two.pkg, three.pkg");
        queue.walkTo(ZelMainWindow::Download);
        QTRY_COMPARE(queue.server.requests, QStringList{"/two.pkg"});
        const auto* bar = queue.find<QProgressBar>("productProgress");
        const auto run = [&](const QStringList& in) {
            queue.progress(in[0].toLongLong(), in[1].toLongLong());
            return QString("%1 %2 %3..%4 %5")
                .arg(queue.find<QProgressBar>("overallProgress")->value())
                .arg(queue.find<QLabel>("byteCount")->text())
                .arg(bar->minimum())
                .arg(bar->maximum())
                .arg(bar->isTextVisible() ? QString::number(bar->value()) : "without words");
        };
        zelCheckTable(R"(1000 | 2000 => 416 1000b/1.953KB 0..2000 1000
            2000 | 2000 => 499 1.953KB/1.953KB 0..2000 2000
            1 | -1 => 167 1b/-1b -1..-1 without words
            0 | 0 => 333 0b/0b 0..0 without words
            4294968296 | 8589936592 => 416 4.000GB/8.000GB 0..2000 1000
            1500 | 2000 => 457 1.465KB/1.953KB 0..2000 1500)",
                      run);
    }

    // From the numbers of the pictures there are to the turns they take; 0 is none.
    void picturesTakeTurns() {
        qint64 interval = 5000; // ms; the shortest, since the machine may be busy
        const auto run = [&](const QStringList& in) {
            ZelTestWizard wizard;
            for (const QString& number : in[1].split(' '))
                wizard.addPicture("whileUWait-" + number + ".png", QColor(number.toInt(), 0, 0));
            const qint64 start = QDateTime::currentMSecsSinceEpoch();
            wizard.walkTo(ZelMainWindow::Welcome);
            const auto red = [](const QPixmap& picture) {
                return picture.isNull() ? 0 : picture.toImage().pixelColor(8, 8).red();
            };
            const auto* label = wizard.find<QLabel>("whileUWait");
            auto* page = qobject_cast<ZelDownload*>(wizard.window->page(ZelMainWindow::Download));
            int shown = red(label->pixmap());
            QStringList turns{QString::number(shown)};
            while (turns.size() < 6)
                turns << QString::number(red(page->nextWUWPixmap()));
            const auto changed = [&] {
                const int before = std::exchange(shown, red(label->pixmap()));
                return before != shown;
            };
            if (QTest::qWaitFor(changed))
                interval = std::min(interval, QDateTime::currentMSecsSinceEpoch() - start);
            return QTest::qWaitFor(changed) ? turns.join(' ') : "the pictures stop";
        };
        zelCheckTable(R"(gaps are skipped | 1 3 4 18 => 1 3 4 18 1 3
            nor is one at 19 | 1 18 20 => 1 18 1 18 1 18
            gaps beyond 19 are not | 1 19 20 22 => 1 19 20 1 19 20
            no first picture | 2 3 => 2 3 0 2 3 0)",
                      run);
        QVERIFY2(interval > 90 && interval < 900, qPrintable(QString::number(interval)));
    }
};

ZEL_TEST_MAIN(tst_download)
#include "tst_download.moc"
