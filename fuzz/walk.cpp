// The wizard with a user, servers, an installer and a disk that do what chance wants. Of a script,
// the first byte says how the walk begins; of each two after it, one is an event and one says how
// it is done. With WALK_LOG in the environment the walk tells what happens.

#include "WalkModel.h"
#include "core/ZelMachineAssay.h"
#include "drive/ZelCertificate.h"
#include "drive/ZelFailingDisk.h"
#include "drive/ZelFiles.h"
#include "vendorserver/ZelServer.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <cerrno>
#include <random>
#include <sched.h>

namespace {

const char* const products[] = {"a.pkg", "b.pkg", "c.txt", "d.pkg", "FarmServer-1.0.pkg"};

// A server that does as the script says, and tells the model what it sent.
class Origin : public ZelServer {
public:
    explicit Origin(WalkModel& hears) : model(hears) { last = this; }

    bool wantsManifest() const { return requests.value(requests.size() - 1).endsWith(".php"); }

    void begin(qint64 size, const QByteArray& contents, const QByteArray& fields = {},
               const QByteArray& status = "200 OK") {
        announced = size;
        planned = contents;
        isPackage = status == "200 OK" && !wantsManifest();
        sent = 0;
        asked = false;
        isAnswering = true;
        send("HTTP/1.1 " + status + "\r\n" + fields +
             (size < 0 ? "" : "Content-Length: " + QByteArray::number(size) + "\r\n") + "\r\n");
        more(0);
    }

    void more(qint64 size) {
        send(planned.mid(sent, size));
        sent = std::min(sent + size, qint64(planned.size()));
        if (announced < 0 || sent < announced)
            return;
        isAnswering = false;
        if (isPackage)
            model.whole << planned.left(announced);
    }

    // All that is left, and where nothing was announced the connection's end.
    void finish() {
        more(planned.size());
        if (announced >= 0)
            return;
        if (isPackage && sent >= WalkModel::packageSize)
            model.whole << planned;
        hangUp(false);
    }

    void hangUp(bool broken) {
        isAnswering = false;
        if (broken)
            reset();
        else
            close();
    }

    bool isAnswering = false;   // more is to come
    static inline Origin* last; // the one that was asked last

protected:
    void handle(QTcpSocket*, const ZelRequest&) override {
        last = this;
        if (url().startsWith("https"))
            model.reachedTls();
    }

private:
    WalkModel& model;
    QByteArray planned;
    qint64 announced = 0;
    qint64 sent = 0;
    bool isPackage = false;
};

// Whether the toolkit's own threads have nothing to do.
bool othersSleep() {
    const QStringList tasks = QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    return std::all_of(tasks.begin(), tasks.end(), [](const QString& task) {
        QFile file("/proc/self/task/" + task + "/stat");
        if (task.toInt() == getpid() || !file.open(QIODevice::ReadOnly))
            return true;
        const QByteArray stat = file.readAll();
        return stat.isEmpty() || stat.contains(") S ");
    });
}

// Turns the event loop until nothing is left to do and nothing `awaited`. With that a walk goes the
// same way each time, however slow the machine is.
void turn(const std::function<bool()>& awaited) {
    auto* const dispatcher = QAbstractEventDispatcher::instance();
    for (int waits = 0; waits < 20;) {
        const bool quiet = othersSleep();
        if (dispatcher->processEvents(QEventLoop::AllEvents))
            continue;
        if (quiet && !awaited())
            return;
        if (quiet && ++waits > 0)
            dispatcher->processEvents(QEventLoop::WaitForMoreEvents);
        else
            sched_yield();
    }
}

QTemporaryDir* home;
ZelCertificate certificate; // of the secure server

class Walk : public ZelSandbox {
public:
    static inline Walk* current;

    explicit Walk(const QByteArray& bytes) : script(bytes) {
        secure.setSslConfiguration(certificate.configuration());
        turn([] { return false; }); // what is left of an earlier walk
        ZelApp* app = ZelApp::instance();
        app->getNetworkManager()->clearConnectionCache();
        app->manifestFile.clear();
        app->manifest.clear();
        app->downloadList.clear();
        app->installRoot = machine.path();                  // without pictures
        ZelMachineAssay::Singleton()->profilerPath.clear(); // no process: there is no Maya
        const int how = script.isEmpty() ? 0 : script[0];
        app->scheme = how & 1 ? "https" : "http";
        app->host = (how & 1 ? secure : plain).hostAndPort();
        app->runInstallers = !(how & 2);
        boxes.onShow = [this](QMessageBox& box) { run(&box); };
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
    void start() {
        QTimer::singleShot(0, qApp, [this] {
            QTimer::singleShot(0, &life, [this] {
                walkTo(ZelMainWindow::Account);
                window->setUpdatesEnabled(false); // nobody looks
                signIn("user", WalkModel::password);
                run(nullptr);
                end();
                QApplication::exit();
            });
            life.exec();
        });
        const int status = QApplication::exec() & 0xff;
        model.require(status == 0 || status == 1 || status == 255, "an odd exit status");
    }

    void logged(QtMsgType type, const char* category, const QString& message) {
        if (message.startsWith("running installer"))
            awaited = "Installer moves to state 2";
        else if (!awaited.isEmpty() &&
                 (message.startsWith(awaited) || message.startsWith("Installer error")))
            awaited.clear();
        model.logged(type, category, message);
    }

private:
    void run(QMessageBox* box) {
        while (life.isRunning() && at + 1 < script.size() && !(box && box->isHidden()))
            step(box);
        if (!box)
            return;
        box->close(); // does nothing when it is
        const auto answer = box->standardButton(box->clickedButton());
        boxes.answers[box->objectName()] = {answer}; // pressed once more, or the box is closed
        if (life.isRunning())
            model.boxClosed(box->objectName(), answer);
    }

    void step(QMessageBox* box) {
        const int what = uchar(script[at]) % 32;
        const int how = uchar(script[at + 1]);
        at += 2;
        model.events << QString("%1:%2").arg(what).arg(how) +
                            (box ? " in " + box->objectName() : QString());
        if (std::getenv("WALK_LOG"))
            std::fprintf(stderr, "-- %s\n", qPrintable(model.events.last()));
        if (what < 10 && box)
            boxGets(box, what, how);
        else if (what < 10 && window->isVisible())
            userDoes(what, how & 63);
        else if (what >= 10 && what < 20)
            serverDoes(*Origin::last, what, how & 63);
        else if (what >= 20 && what < 24)
            installerDoes(what, how & 63);
        else if (what >= 24)
            diskDoes(what, how & 63);
        if (box && box->isHidden())
            return; // what it leads to comes when it has returned
        if (!(how & 64))
            settle(!(how & 128));
        if (life.isRunning())
            model.check();
    }

    static void boxGets(QMessageBox* box, int what, int how) {
        const QList<QAbstractButton*> buttons = box->buttons();
        if (what < 2)
            QTest::keyClick(box, what == 0 ? Qt::Key_Return : Qt::Key_Escape);
        else if (what == 2)
            box->close();
        else
            QTest::mouseClick(buttons[how % buttons.size()], Qt::LeftButton);
    }

    void userDoes(int what, int how) {
        const QWizard::WizardButton buttons[] = {QWizard::NextButton, QWizard::NextButton,
                                                 QWizard::BackButton, QWizard::CustomButton1,
                                                 QWizard::FinishButton};
        const Qt::Key keys[] = {Qt::Key_Return, Qt::Key_Tab, Qt::Key_Escape, Qt::Key_Space};
        const QString proxies[] = {"", other.hostAndPort(), "127.0.0.1:1", "nonsense"};
        const bool chooses = page() == ZelMainWindow::Selection;
        if (what < 5 && window->button(buttons[what])->isVisible()) {
            press(buttons[what]);
        } else if (what == 5 && QApplication::focusWidget()) {
            key(keys[how % 4]);
        } else if (what == 6 && chooses && !rows().isEmpty()) {
            toggle(how % int(rows().size()));
        } else if (what == 7 && chooses) {
            press("showAll");
        } else if (what == 8 && page() == ZelMainWindow::Account) {
            find<QLineEdit>("userName")->setText(how & 1 ? "user" : "somebody else");
            find<QLineEdit>("proxy")->setText(proxies[how / 2 % 4]);
        } else if (what == 9 && how % 4 == 0) {
            window->close();
        }
    }

    // What a server was asked for. Packages differ, so that none can be taken for another.
    QByteArray contents(const Origin& server, int how) {
        static const QByteArray numbers = [] {
            QByteArray all;
            while (all.size() < 800000)
                all += QByteArray::number(all.size());
            return all;
        }();
        if (!server.wantsManifest())
            return numbers.mid(++serial, how & 32 ? 700000 : WalkModel::packageSize + how % 3 - 1);
        QByteArrayList list;
        for (int i = 0; i < 5; ++i) {
            const char* const name = products[i];
            if (how & 1 << i)
                list << zelProductXml(name, QString("Label of ") + name, 1, WalkModel::packageSize,
                                      (i == 1   ? other
                                       : i == 3 ? secure
                                                : plain)
                                          .url(name));
        }
        return zelManifestXml(list);
    }

    void serverDoes(Origin& server, int what, int how) {
        const QByteArray page(how & 32 ? 700000 : 10, 'x');
        const QByteArray approved = server.wantsManifest() ? "Validation: Approved\r\n" : "";
        const qint64 sizes[] = {0, 1, 400, 600000};
        if (what == 10)
            server.more(sizes[how % 4]);
        else if (what == 11)
            server.finish();
        else if (what == 12 || what == 13)
            server.hangUp(what == 13);
        else if (!server.asked)
            return;
        if (what == 14 || what == 15) {
            const QByteArray bytes = contents(server, how);
            server.begin(bytes.size(), bytes, approved);
            server.finish();
        } else if (what == 16) {
            const QByteArray bytes = contents(server, how / 4 | (how & 32));
            const qint64 lengths[] = {bytes.size(), bytes.size() + 7, bytes.size() - 7, -1};
            server.begin(lengths[how % 4], bytes, approved);
        } else if (what == 17) {
            const Origin* const targets[] = {&plain, &other, &secure, &server};
            const QString target = targets[how % 4]->url(server.requests.last().mid(1));
            server.begin(page.size(), page, "Location: " + target.toUtf8() + "\r\n",
                         how & 4 ? "307 x" : "302 x");
            server.finish();
        } else if (what == 18) {
            const char* const statuses[] = {"404 x", "500 x", "401 x", "200 OK"};
            server.begin(page.size(), page, "Validation: Error not you\r\n", statuses[how % 4]);
            server.finish();
        } else if (what == 19) {
            const QByteArray bytes = contents(server, how);
            const QByteArray packed = qCompress(bytes).mid(4);
            server.begin(packed.size(), packed, approved + "Content-Encoding: deflate\r\n");
            if (how & 16)
                return server.hangUp(false);
            server.finish();
            if (bytes.size() >= WalkModel::packageSize)
                model.whole << bytes;
        }
    }

    void installerDoes(int what, int how) {
        const QByteArray ends[] = {"exit 0", "exit 1", "exit 3", "kill -SEGV $$"};
        if (what == 23) {
            for (const char* name : {"bin/installer", "bin/open"})
                QFile::setPermissions(machine.filePath(name),
                                      how & 1 ? QFile::Permissions()
                                              : QFile::ReadOwner | QFile::ExeOwner);
        } else if (model.installing && awaited.isEmpty()) {
            awaited = what == 20 ? "installer std" : "Installer finished";
            tellInstaller(what == 20 ? "echo piece; echo piece >&2" : ends[how % 4]);
        }
    }

    void diskDoes(int what, int how) {
        const QString folder = downloads.path();
        static const QByteArray below = QFile::encodeName(folder);
        zelFailDisk(nullptr, 0, 0, nullptr);
        if (what == 24) {
            for (const QString& name : downloads.entryList({"*.zeldownload"}))
                downloads.remove(name);
        } else if (what == 25 || what == 26) {
            const QString name = products[how % 5];
            if (!downloads.exists() || downloads.exists(name))
                return;
            model.strangers[name] = QByteArray(how & 32 ? 5 : WalkModel::packageSize, '!');
            zelWriteFile(downloads.filePath(name), model.strangers[name]);
        } else if (what == 27) {
            if (!QDir().rename(folder, folder + ".gone"))
                QDir().rename(folder + ".gone", folder);
        } else if (what == 28) {
            zelFailDisk("open", 1, EACCES, below.constData());
        } else if (what == 29) {
            zelFailDisk("write", how % 4 + 1, ENOSPC, below.constData());
        } else if (what == 30) {
            zelFailDisk(how & 1 ? "close" : "rename", 1, EIO, below.constData());
        }
    }

    // Patiently, it goes on until timers, servers and the installer have had their effect, too.
    void settle(bool patiently) {
        const auto requests = [this] {
            return !WalkModel::box() && !Origin::last->asked && !Origin::last->isAnswering &&
                   model.requests(true) + model.requests(false) > 0;
        };
        turn([&] {
            return patiently && life.isRunning() &&
                   (model.isBetween() || !awaited.isEmpty() || requests());
        });
        if (patiently && requests())
            Origin::last->isAnswering = true; // it is in vain
    }

    // Nothing comes any more: the user must be able to go on, or the program has to end.
    void end() {
        zelFailDisk(nullptr, 0, 0, nullptr);
        for (Origin* server : {&plain, &other, &secure})
            server->stop();
        for (int turns = 0; turns < 20 && life.isRunning() && !model.canAct(); ++turns) {
            installerDoes(21, 0);
            settle(true);
        }
        model.require(!life.isRunning() || model.canAct(), "silence");
    }

    const QByteArray script;
    qsizetype at = 1;
    int serial = 0;     // of the packages
    QByteArray awaited; // how the message begins that an installer's doing leads to
    QEventLoop life;    // ends when the program does
    WalkModel model{*this};
    Origin secure{model};
    Origin other{model};
    Origin plain{model};
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** argv) {
    home = new QTemporaryDir;
    qputenv("HOME", QFile::encodeName(home->path()));
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QDir(home->path()).mkdir("Downloads");
    certificate = zelSelfSigned(home->path());
    static int count = 1;
    new ZelApp(count, *argv);
    qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& message) {
            if (std::getenv("WALK_LOG"))
                std::fprintf(stderr, "%s\n", qPrintable(message));
            if (Walk::current)
                Walk::current->logged(type, context.category, message);
        });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Walk(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size))).start();
    return 0;
}

// Changes whole events. Every other new one leads on, so that most walks come as far as the
// installers.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room,
                                          unsigned int seed) {
    std::minstd_rand chance(seed);
    const auto below = [&chance](qsizetype limit) { return qsizetype(chance() % size_t(limit)); };
    QByteArray script(reinterpret_cast<const char*>(data), qsizetype(size | 1));
    for (qsizetype changes = 1 + below(6); changes > 0; --changes) {
        const qsizetype count = script.size() / 2;
        const qsizetype event = 1 + 2 * below(count + 1);
        const char leading[] = {0, 3, 14, 21};
        const char fresh[] = {below(2) ? leading[below(4)] : char(below(32)), char(below(256)), 0};
        const qsizetype kind = below(8);
        if (kind == 0)
            script[0] = char(below(4));
        else if (kind == 1)
            script.remove(event, 2 * (1 + below(4)));
        else if (kind == 2)
            script.insert(event, script.mid(1 + 2 * below(count + 1), 2 * below(8)));
        else if (kind == 3)
            script.replace(event, 2, fresh, 2);
        else
            script.insert(event, fresh, 2);
    }
    const size_t length = std::min(size_t(script.size()), (room - 1) | 1);
    std::memcpy(data, script.constData(), std::min(length, room));
    return std::min(length, room);
}
