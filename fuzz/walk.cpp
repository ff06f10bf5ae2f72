// The wizard with a user, servers, an installer and a disk that do what chance wants. Of each two
// bytes of a script, one is an event and one says how it is done. With WALK_LOG in the environment
// the walk tells what happens.

#include "Origin.h"
#include "WalkModel.h"
#include "drive/ZelCertificate.h"
#include "drive/ZelFailingDisk.h"
#include "drive/ZelFiles.h"

#include <QAbstractEventDispatcher>
#include <QDeadlineTimer>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QTimer>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <random>
#include <sched.h>
#include <unistd.h>

namespace {

constexpr int packageSize = 1000; // as the manifests have it

// Without the first two, which a machine with Maya 2014 is to have, a box opens.
const char* const names[] = {"a.pkg", "b.pkg", "c.txt", "d.pkg"};
const char* const labels[] = {"FarmServer 21.0", "Lumivex Atelier 21.0 for Maya 2014", "c", "d"};

// Whether the toolkit's own threads have nothing to do.
bool othersSleep() {
    static DIR* const tasks = opendir("/proc/self/task");
    bool busy = false;
    rewinddir(tasks);
    while (const dirent* task = readdir(tasks)) {
        char stat[100] = {};
        const std::string name = std::string(task->d_name) + "/stat";
        const int file = openat(dirfd(tasks), name.c_str(), O_RDONLY);
        if (read(file, stat, sizeof stat - 1) > 0 && strstr(stat, ") R ") && atoi(stat) != getpid())
            busy = true;
        close(file);
    }
    return !busy;
}

// Turns the event loop until nothing is left to do and nothing `awaited`. With that a walk goes the
// same way each time, however slow the machine is.
void turn(const std::function<bool()>& awaited) {
    auto* const dispatcher = QAbstractEventDispatcher::instance();
    const QDeadlineTimer patience(2000);
    for (;;) {
        const bool quiet = !dispatcher->processEvents(QEventLoop::AllEvents) && othersSleep();
        if (dispatcher->processEvents(QEventLoop::AllEvents)) // what they left before
            continue;
        if (!quiet)
            sched_yield();
        else if (awaited() && !patience.hasExpired())
            dispatcher->processEvents(QEventLoop::WaitForMoreEvents);
        else
            return;
    }
}

class Walk : public WalkModel {
public:
    explicit Walk(const QSslConfiguration& tls) {
        secure.setSslConfiguration(tls);
        turn([] { return false; }); // what is left of an earlier walk
        ZelApp* app = ZelApp::instance();
        app->getNetworkManager()->clearConnectionCache();
        app->manifestFile.clear();
        app->installRoot = QDir::homePath();
        start(0);
        boxes.onShow = [this](QMessageBox& box) {
            run(&box);
            box.close();
        };
        current = this;
        qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
                if (talks)
                    std::fprintf(stderr, "%s\n", qPrintable(message));
                if (message.startsWith("Installer moves to state "))
                    current->process = message.back().digitValue();
                if (message.startsWith("installer std") || current->process == 0)
                    current->told = false;
                current->logged(type, context.category, message);
            });
    }

    ~Walk() {
        boxes.onShow = nullptr;
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
        zelFailDisk(nullptr, 0, 0, nullptr);
        QDir().rename(away, downloads.path());
        tellInstaller("exit 0");
    }

    // Walks until the script is over or the program ends.
    void walk(const QByteArray& bytes) {
        script = bytes;
        QTimer::singleShot(0, qApp, [this] {
            QTimer::singleShot(0, &life, [this] {
                walkTo(ZelMainWindow::Account);
                find<QLineEdit>("userName")->insert("user");
                find<QLineEdit>("password")->insert("pa55word");
                run(nullptr);
                end();
                QApplication::exit();
            });
            life.exec();
        });
        const int status = QApplication::exec() & 0xff;
        require(status == 0 || status == 1 || status == 255, "an odd exit status");
    }

private:
    using Event = std::function<void(int how)>;

    const Event atBox[3] = {
        [](int how) {
            const QList<QAbstractButton*> buttons = box()->buttons();
            QTest::mouseClick(buttons[how % buttons.size()], Qt::LeftButton);
        },
        [](int how) { QTest::keyClick(box(), how & 1 ? Qt::Key_Escape : Qt::Key_Return); },
        [](int) { box()->close(); },
    };
    const Event atPage[8] = {
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
            const int rows = find<QTableWidget>("products")->rowCount();
            if (page() == ZelMainWindow::Selection && rows > 0)
                toggle(how % rows);
        },
        [this](int) {
            if (page() == ZelMainWindow::Selection)
                press("showAll");
        },
        [this](int how) {
            const QString proxies[] = {"", other.hostAndPort(), "127.0.0.1:1", "nonsense"};
            find<QLineEdit>("userName")->setText(how & 1 ? "user" : "somebody else");
            find<QLineEdit>("proxy")->setText(proxies[how / 2 % 4]);
        },
    };
    const Event around[14] = {
        // the server
        [this](int how) { answer(0, how), finish(); },
        [this](int how) { answer(how % 8, how / 8 | (how & 32)), finish(); },
        [this](int how) { answer(how % 8, how / 8 | (how & 32)); },
        [](int how) { Origin::last->more(how < 32 ? how * how : 600000); },
        [](int how) { how % 4 ? finish() : Origin::last->end(&Origin::reset); },
        [](int) { Origin::last->end(&Origin::close); },
        // the installer
        [this](int) { tell("echo piece; echo piece >&2"); },
        [this](int how) {
            const char* const ends[] = {"exit 0", "exit 1", "exit 3", "kill -SEGV $$"};
            tell(ends[how % 4]);
        },
        [this](int how) {
            const auto may = how & 1 ? QFile::Permissions() : QFile::ReadOwner | QFile::ExeOwner;
            for (const char* name : {"bin/installer", "bin/open"})
                QFile::setPermissions(machine.filePath(name), may);
        },
        // the disk
        [this](int) {
            for (const QString& name : downloads.entryList({"*.zeldownload"}))
                downloads.remove(name);
        },
        [this](int how) {
            const QString name = names[how % 4];
            if (!downloads.exists() || downloads.exists(name))
                return;
            zelFailDisk(nullptr, 0, 0, nullptr);
            files[name] = QByteArray(how & 32 ? 5 : packageSize, '!');
            zelWriteFile(downloads.filePath(name), files[name]);
        },
        [this](int) {
            if (!QDir().rename(downloads.path(), away))
                QDir().rename(away, downloads.path());
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

    void run(QMessageBox* box) {
        while (life.isRunning() && at + 1 < script.size() && !(box && box->isHidden())) {
            const size_t what = uchar(script[at]) % (std::size(atPage) + std::size(around));
            const int how = uchar(script[at + 1]);
            at += 2;
            if (talks)
                std::fprintf(stderr, "-- %zu %d\n", what, how);
            if (what >= std::size(atPage))
                around[what - std::size(atPage)](how & 63);
            else if (box)
                atBox[what % std::size(atBox)](how & 63);
            else if (window->isVisible())
                atPage[what](how & 63);
            if (box && box->isHidden())
                return; // what it leads to comes when it has returned
            if (!(how & 64))
                settle(!(how & 128));
            if (life.isRunning())
                check();
        }
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
        if (process != 0 && !std::exchange(told, true))
            tellInstaller(line);
    }

    // What the latest request is for. Packages differ, so that none can be taken for another.
    QByteArray contents(const QString& target, int how) {
        if (!target.endsWith(".php"))
            return QByteArray::number(++serial).leftJustified(
                how & 32 ? 700000 : packageSize + how % 3 - 1, '-');
        const Origin* const servers[] = {&plain, &other, &plain, &secure};
        QByteArrayList list;
        for (int i = 0; i < 4; ++i) {
            if (how & 1 << i)
                list << zelProductXml(names[i], labels[i], 1, packageSize,
                                      servers[i]->url(names[i]));
        }
        return zelManifestXml(list);
    }

    // Begins an answer to the latest request: whole, of another length or of none, encoded, a
    // redirect or a refusal.
    void answer(int kind, int how) {
        Origin& server = *Origin::last;
        if (!server.asked)
            return;
        const QString target = server.requests.last().mid(1);
        const Origin* const targets[] = {&plain, &other, &secure, &server};
        const QByteArray moved = "Location: " + targets[how % 4]->url(target).toUtf8() + "\r\n";
        const QByteArray good = "200 OK\r\nValidation: Approved\r\n";
        const QByteArray heads[] = {good + "Content-Encoding: deflate\r\n", "302 x\r\n" + moved,
                                    "307 x\r\n" + moved, "404 x\r\nValidation: Error not you\r\n"};

        server.left = contents(target, how);
        const qint64 size = server.left.size();
        if (kind == 0 || kind == 2 || ((kind == 3 || kind == 4) && size >= packageSize))
            whole << server.left.left(kind == 2 ? size - 7 : size);
        if (kind == 4)
            server.left = qCompress(server.left).mid(4);
        const qint64 lengths[] = {size, size + 7, size - 7, 1 << 30};
        server.owed = kind < 4 ? lengths[kind] : server.left.size();
        server.asked = false;
        server.send(
            "HTTP/1.1 " + (kind < 4 ? good : heads[kind - 4]) +
            (kind == 3 ? "" : "Content-Length: " + QByteArray::number(server.owed) + "\r\n") +
            "\r\n");
    }

    // Where all that there is cannot be all, the connection ends.
    static void finish() {
        Origin::last->more(1 << 30);
        if (Origin::last->owed > 0)
            Origin::last->end(&Origin::close);
    }

    // Patiently, it goes on until timers, servers and the installer have had their effect, too.
    void settle(bool patiently) {
        const QDeadlineTimer patience(50);
        const auto asks = [this] {
            return requests(true) + requests(false) > 0 && plain.isIdle() && other.isIdle() &&
                   secure.isIdle();
        };
        turn([&] {
            const bool moves = isBetween() || (asks() && !patience.hasExpired());
            return patiently && life.isRunning() && (told || process == 1 || (!box() && moves));
        });
        if (asks())
            Origin::last->owed = 1; // in vain: through a proxy that makes no tunnel
    }

    // Nothing comes any more: the user must be able to go on, or the program has to end.
    void end() {
        zelFailDisk(nullptr, 0, 0, nullptr);
        for (Origin* server : {&plain, &other, &secure})
            server->stop();
        const QDeadlineTimer patience(5000);
        while (life.isRunning() && !canAct() && !patience.hasExpired()) {
            tell("exit 0");
            settle(true);
        }
        require(!life.isRunning() || canAct(), "silence");
    }

    static inline Walk* current;
    static inline const bool talks = std::getenv("WALK_LOG");
    const QString away = downloads.path() + ".gone";
    const QByteArray below = QFile::encodeName(downloads.path());
    QByteArray script;
    qsizetype at = 0;
    int serial = 0;    // of the packages
    int process = 0;   // the installer: not there, starting, running
    bool told = false; // what to do, and it has not done it yet
    QEventLoop life;   // ends when the program does
    Origin secure{accepted};
    Origin other{accepted};
    Origin plain{accepted};
};

// Nobody looks at the windows.
class Blind : public QObject {
    bool eventFilter(QObject*, QEvent* event) override {
        return event->type() == QEvent::Expose || event->type() == QEvent::UpdateRequest ||
               event->type() == QEvent::LayoutRequest;
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const QSslConfiguration tls = [] {
        static QTemporaryDir home;
        static int count = 1;
        static char name[] = "walk", *arguments = name;
        qputenv("HOME", QFile::encodeName(home.path()));
        qputenv("QT_QPA_PLATFORM", "minimal");
        (new ZelApp(count, &arguments))->installEventFilter(new Blind);
        QDir(home.path()).mkdir("Downloads");
        // Without pictures, the toolkit would look for each in every format that it knows.
        const QString pictures = "lib/Resources/images/";
        QDir(home.path()).mkpath(pictures);
        for (const QString& picture : QDir(pictures).entryList(QDir::Files))
            QImage(1, 1, QImage::Format_Mono).save(home.filePath(pictures + picture));
        return zelSelfSigned(home.path()).configuration();
    }();
    Walk(tls).walk(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    return 0;
}

// Changes whole events. Every other new one leads on, so that most walks come as far as the
// installers.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room,
                                          unsigned int seed) {
    std::minstd_rand chance(seed);
    const auto below = [&chance](qsizetype limit) { return qsizetype(chance() % size_t(limit)); };
    QByteArray script(reinterpret_cast<const char*>(data), qsizetype(size));
    for (qsizetype changes = 1 + below(6); changes > 0; --changes) {
        const qsizetype event = 2 * below(script.size() / 2 + 1);
        const char leading[] = {0, 8, 15};
        const char fresh[] = {below(2) ? leading[below(3)] : char(below(22)), char(below(256))};
        if (below(4) == 0)
            script.remove(event, 2 * (1 + below(4)));
        else
            script.insert(event, fresh, 2);
    }
    script.truncate(qsizetype(room));
    std::copy(script.begin(), script.end(), data);
    return size_t(script.size());
}
