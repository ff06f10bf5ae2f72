// The wizard with a user, servers, an installer and a disk that do what chance wants. Of each two
// bytes of a script, one is an event and one says how it is done. With WALK_LOG in the environment
// the walk tells what happens.

#include "WalkModel.h"
#include "drive/ZelCertificate.h"
#include "drive/ZelFailingDisk.h"
#include "drive/ZelFiles.h"

#include <QAbstractEventDispatcher>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <cerrno>
#include <sched.h>

namespace {

constexpr int packageSize = 1000; // as the manifests have it
QSslConfiguration tls;            // with a certificate that vouches for itself

// A server that sends its answers in pieces.
class Origin : public ZelServer {
public:
    explicit Origin(const bool& certificateIsAccepted) : isAccepted(certificateIsAccepted) {
        last = this;
    }

    void more(qint64 size) {
        send(left.left(size));
        left.remove(0, size);
    }

    QByteArray left;            // to be sent
    static inline Origin* last; // the one that was asked last

protected:
    void handle(QTcpSocket*, const ZelRequest&) override {
        last = this;
        assert(isAccepted || url().startsWith("http:"));
    }

private:
    const bool& isAccepted;
};

// Whether the toolkit's own threads have nothing to do.
bool othersSleep() {
    const QDir tasks("/proc/self/task");
    const QStringList ids = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return std::all_of(ids.begin(), ids.end(), [&tasks](const QString& id) {
        QFile stat(tasks.filePath(id + "/stat"));
        return id.toInt() == QCoreApplication::applicationPid() ||
               !stat.open(QIODevice::ReadOnly) || !stat.readLine().contains(") R ");
    });
}

// Turns the event loop until nothing is left to do and nothing `awaited`. With that a walk goes the
// same way each time, however slow the machine is.
void turn(const std::function<bool()>& awaited = [] { return false; }) {
    auto* const dispatcher = QAbstractEventDispatcher::instance();
    for (;;) {
        const bool quiet = !dispatcher->processEvents(QEventLoop::AllEvents) && othersSleep();
        if (dispatcher->processEvents(QEventLoop::AllEvents)) // what they left before
            continue;
        if (!quiet)
            sched_yield();
        else if (awaited())
            dispatcher->processEvents(QEventLoop::WaitForMoreEvents);
        else
            return;
    }
}

class Walk : public WalkModel {
public:
    Walk() {
        secure.setSslConfiguration(tls);
        turn(); // what is left of an earlier walk
        ZelApp::instance()->getNetworkManager()->clearConnectionCache();
        ZelApp::instance()->manifestFile.clear();
        start(0);
        boxes.onShow = [this](QMessageBox& box) {
            run(&box);
            box.close();
        };
        current = this;
    }

    ~Walk() {
        current = nullptr;
        boxes.onShow = nullptr;
        zelFailDisk(nullptr, 0, 0, nullptr);
        QDir().rename(downloads.path() + ".gone", downloads.path());
        tellInstaller("exit 0");
    }

    // Walks until the script is over or the program ends.
    void walk(const QByteArray& bytes) {
        script = bytes;
        const int status = exitStatusOf(
            [this] {
                QTimer::singleShot(0, &life, [this] {
                    walkTo(ZelMainWindow::Account);
                    find<QLineEdit>("userName")->insert("user");
                    find<QLineEdit>("password")->insert("pa55word");
                    run(nullptr);
                    end();
                    life.quit();
                });
                life.exec();
            },
            0);
        assert(std::abs(status) <= 1 || status == noExit);
    }

    static void hear(QtMsgType type, const QMessageLogContext& context, const QString& message) {
        if (current && talks)
            std::fprintf(stderr, "%s\n", qPrintable(message));
        if (current)
            current->heard(type, context.category, message);
    }

private:
    using Event = std::function<void(int how)>;

    const std::vector<Event> ofTheUser = {
        [this](int) { click(QWizard::NextButton); },
        [this](int) { click(QWizard::BackButton); },
        [this](int) { click(QWizard::CustomButton1); },
        [this](int how) { how % 4 == 0 ? void(window->close()) : click(QWizard::FinishButton); },
        [](int how) {
            const Qt::Key keys[] = {Qt::Key_Return, Qt::Key_Tab, Qt::Key_Escape, Qt::Key_Space};
            if (QApplication::focusWidget())
                key(keys[how % 4]);
        },
        [this](int how) {
            const int row = how % (find<QTableWidget>("products")->rowCount() + 1);
            if (page() == ZelMainWindow::Selection)
                row == 0 ? press("showAll") : toggle(row - 1);
        },
        [this](int how) {
            const QString proxies[] = {"", other.hostAndPort(), "127.0.0.1:1", "nonsense"};
            find<QLineEdit>("userName")->setText(how & 1 ? "user" : "somebody else");
            find<QLineEdit>("proxy")->setText(proxies[how / 2 % 4]);
        },
    };
    const std::vector<Event> around = {
        // the servers
        [this](int how) { answer(0, how), Origin::last->more(1 << 30); },
        [this](int how) { answer(how % 8, how / 8); },
        [](int how) { Origin::last->more(how < 32 ? how * how : 1 << 30); },
        [](int how) { how % 2 ? Origin::last->close() : Origin::last->reset(); },
        // the installer
        [this](int how) { tell(how & 1 ? "echo piece" : "echo piece >&2"); },
        [this](int how) {
            const char* const ends[] = {"exit 0", "exit 1", "exit 3", "kill -SEGV $$"};
            tell(ends[how % 4]);
        },
        [this](int) { vanish(machine.filePath("bin")); },
        // the disk
        [this](int) { vanish(downloads.path()); },
        [this](int) {
            for (const QString& name : downloads.entryList({"*.zeldownload"}))
                downloads.remove(name);
        },
        [this](int how) {
            zelFailDisk(nullptr, 0, 0, nullptr);
            QFile file(downloads.filePath(products[how % 4].name));
            if (file.open(QIODevice::NewOnly))
                file.write(*whole.insert(QByteArray(how & 32 ? 5 : packageSize, '!')));
        },
        [this](int how) {
            const std::pair<const char*, int> calls[] = {
                {"open", EACCES}, {"write", ENOSPC}, {"close", EIO}, {"rename", EIO}};
            const auto& [call, error] = calls[how % 4];
            zelFailDisk(how < 48 ? call : nullptr, how / 4 % 4 + 1, error, below.constData());
        },
        // what the program is started with
        [this](int how) { start(how); },
    };

    // Goes on with the script until it is over, or the box or the program is.
    void run(QMessageBox* box) {
        // Every other event leads on, so that most walks come as far as the installers.
        const size_t users = ofTheUser.size(), count = users + around.size();
        const size_t leading[] = {0, users, users + 5};
        while (life.isRunning() && script.size() > 1 && !(box && box->isHidden())) {
            const size_t number = uchar(script[0]) % (2 * count);
            const size_t what = number < count ? number : leading[number % std::size(leading)];
            const int how = uchar(script[1]);
            script.remove(0, 2);
            if (talks)
                std::fprintf(stderr, "-- %zu %d\n", what, how);
            if (what >= users)
                around[what - users](how & 63);
            else if (box)
                answerBox(how & 63);
            else if (window->isVisible())
                ofTheUser[what](how & 63);
            if (box && box->isHidden())
                return; // what it leads to comes when it has returned
            if (!(how & 64))
                settle(!(how & 128));
            if (life.isRunning())
                check();
        }
    }

    static void answerBox(int how) {
        const QList<QAbstractButton*> buttons = box()->buttons();
        if (how % 4 == 3)
            box()->close();
        else
            QTest::mouseClick(buttons[how % 4 % buttons.size()], Qt::LeftButton);
    }

    void start(int how) const {
        ZelApp::instance()->scheme = how & 1 ? "https" : "http";
        ZelApp::instance()->host = (how & 1 ? secure : plain).hostAndPort();
        ZelApp::instance()->runInstallers = !(how & 2);
    }

    void click(QWizard::WizardButton button) const {
        if (window->button(button)->isVisible())
            press(button);
    }

    void tell(const char* line) {
        if (installer != QProcess::NotRunning && !std::exchange(told, true))
            tellInstaller(line);
    }

    // Or comes back.
    static void vanish(const QString& folder) {
        if (!QDir().rename(folder, folder + ".gone"))
            QDir().rename(folder + ".gone", folder);
    }

    // What the latest request is for. Packages differ, so that none can be taken for another.
    QByteArray contents(const QString& target, int how) {
        if (!target.endsWith(".php"))
            return QByteArray::number(++serial).leftJustified(how & 4 ? 700000 : packageSize, '-');
        QByteArrayList list;
        for (int i = 0; i < 4; ++i) {
            const auto& [name, label, origin] = products[i];
            if (how & 1 << i)
                list << zelProductXml(name, label, 1, packageSize, origin.url(name));
        }
        return zelManifestXml(list);
    }

    // Begins an answer to the latest request: whole, of another length or of none, encoded, a
    // redirect or a refusal.
    void answer(int kind, int how) {
        Origin& server = *Origin::last;
        if (!std::exchange(server.asked, false))
            return;
        const QString target = server.requests.last().mid(1);
        const QByteArray body = contents(target, how);
        const qint64 size = body.size();
        const QByteArray good = "200 OK\r\nValidation: Approved\r\n";
        const QByteArray moved =
            "Location: " + products[how % 4].origin.url(target).toUtf8() + "\r\n";
        const struct {
            QByteArray head;
            qint64 announced, saved;
        } kinds[] = {
            {good, size, size},
            {good, size + 7, 0},
            {good, size - 7, size - 7},
            {good, -1, size},
            {good + "Content-Encoding: deflate\r\n", -1, size},
            {"302 x\r\n" + moved, size, 0},
            {"307 x\r\n" + moved, size, 0},
            {"404 x\r\nValidation: Error not you\r\n", size, 0},
        };
        const auto& [head, announced, saved] = kinds[kind];
        if (saved > 0)
            whole << body.left(saved);
        server.left = kind == 4 ? qCompress(body).mid(4) : body;
        const QByteArray length = "Content-Length: " + QByteArray::number(announced) + "\r\n";
        server.send("HTTP/1.1 " + head + (announced < 0 ? "" : length) + "\r\n");
    }

    // Patiently, it goes on from step to step, too.
    void settle(bool patiently) {
        turn([&] { return life.isRunning() && (told || (patiently && isBetween())); });
    }

    // Nothing comes any more: the user must be able to go on, or the program has to end.
    void end() {
        zelFailDisk(nullptr, 0, 0, nullptr);
        plain.stop(), other.stop(), secure.stop();
        for (int turns = 0; life.isRunning() && !canAct(); ++turns) {
            assert(turns < 1000);
            tell("exit 0");
            settle(true);
        }
    }

    static inline Walk* current;
    static inline const bool talks = std::getenv("WALK_LOG");
    const QByteArray below = QFile::encodeName(downloads.path());
    QByteArray script;
    int serial = 0;  // of the packages
    QEventLoop life; // ends when the program does
    Origin secure{accepted};
    Origin other{accepted};
    Origin plain{accepted};
    // Without the first two, which a machine with Maya 2014 is to have, a box opens.
    const struct {
        const char* name;
        const char* label;
        const Origin& origin;
    } products[4] = {{"a.pkg", "FarmServer 21.0", plain},
                     {"b.pkg", "Lumivex Atelier 21.0 for Maya 2014", other},
                     {"c.txt", "c", plain},
                     {"d.pkg", "d", secure}};
};

// Nobody looks at the windows.
class Blind : public QObject {
    bool eventFilter(QObject*, QEvent* event) override {
        return event->type() == QEvent::Expose || event->type() == QEvent::UpdateRequest ||
               event->type() == QEvent::LayoutRequest;
    }
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    static QTemporaryDir home;
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("QT_QPA_PLATFORM", "minimal");
    auto* app = new ZelApp(*argc, *argv);
    app->installEventFilter(new Blind);
    QDir(home.path()).mkdir("Downloads");
    tls = zelSelfSigned(home.path()).configuration();
    // For each picture, the toolkit would look for a plug-in that can read it.
    QCoreApplication::setLibraryPaths({});
    qInstallMessageHandler(Walk::hear);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Walk().walk(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}
