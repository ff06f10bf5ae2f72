#include "StateWalker.h"

#include "core/ZelMachineAssay.h"
#include "drive/ZelCertificate.h"
#include "drive/ZelFiles.h"

#include <QHelpEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QSslConfiguration>
#include <QTableWidget>
#include <QTest>
#include <QToolTip>

namespace {

constexpr int patience = 20000; // ms, for one step

constexpr char farmServer[] = "Lumivex FarmServer 21.0";
constexpr char atelier[] = "Lumivex Atelier 21.0 for Maya 2016.5";
constexpr char guide[] = "Lumivex User Guide";
constexpr char longLabel[] =
    "Lumivex Sample Scenes, Volume 3: Interiors & Exteriors, with Textures "
    "in 8K, Light Rigs, Camera Animations and Annotated Render Settings";

// A certificate for `subject` that vouches for itself.
QSslConfiguration selfSigned(const QString& subject) {
    const QTemporaryDir folder;
    return zelSelfSigned(folder.path(),
                         {"-subj", "/CN=server", "-addext", "subjectAltName=" + subject})
        .configuration();
}

} // namespace

void StateWalker::walk() {
    pagesBeforeDownload();
    boxesBeforeDownload();
    downloadPage();
    downloadBoxes();
}

// Plays one scene in an event loop of its own, since some of them end the program.
void StateWalker::scene(const QString& name, const std::function<void()>& play) {
    ZelSandbox wizard;
    ZelApp* app = ZelApp::instance();
    driver = &wizard;
    current = name;
    server = std::make_unique<ZelServer>();
    app->scheme = "http";
    app->host = server->hostAndPort();
    app->manifest.clear();
    wizard.boxes.onShow = [this](QMessageBox& box) {
        onState("box, " + current, box);
        const QList<QAbstractButton*> buttons = box.buttons();
        for (QAbstractButton* button : buttons) {
            if (box.buttonRole(button) != QMessageBox::ActionRole)
                continue;
            button->click();
            onState("box, " + current + ", details", box);
        }
    };
    const int status = ZelSandbox::exitStatusOf(
        [&] {
            app->Start();
            wizard.window.reset(app->wizard);
            wizard.window->activateWindow();
            waitFor("its window", [&] { return wizard.window->isActiveWindow(); });
            if (!wantedSize.isEmpty())
                wizard.window->resize(wantedSize);
            play();
        },
        0);
    if (status != ZelSandbox::noExit && onExit)
        onExit(name, status);
}

void StateWalker::pagesBeforeDownload() {
    scene("welcome", [&] {
        seen("welcome");
        driver->press(QWizard::NextButton);
        seen("sign-in, empty");
        driver->signIn();
        seen("sign-in, filled");
        driver->press("accountAdvancedButton");
        seen("sign-in, advanced");
        driver->key(Qt::Key_Backtab);
        seen("sign-in, button by keyboard");
        driver->key(Qt::Key_Tab);
        seen("sign-in, advanced by keyboard");
        driver->key(Qt::Key_Tab);
        QTest::keyClicks(find<QLineEdit>("proxy"), "proxy.studio.example:3128");
        seen("sign-in, proxy entered");
    });
    scene("one issue", [&] {
        offer({{farmServer}});
        openSelection();
        seen("selection, one product");
    });
    scene("selection", [&] {
        offer({{"Lumivex FarmServer 20.4"},
               {"Lumivex Atelier 21.0 for Maya 2014"},
               {"Lumivex Atelier 21.0 for Maya 2015"},
               {farmServer},
               {atelier},
               {guide}});
        openSelection();
        driver->press("showAll");
        seen("selection, hidden products shown");
    });
    scene("selection", [&] {
        QList<Product> products{{farmServer}, {atelier}, {longLabel}};
        for (int i = 1; i <= 40; ++i)
            products << Product{QString("Lumivex Materials, Volume %1").arg(i)};
        offer(products);
        openSelection();
        seen("selection, many products and a long label");
        QHelpEvent rest(QEvent::ToolTip, {}, {});
        QApplication::sendEvent(find<QTableWidget>("products")->cellWidget(2, 0), &rest);
        waitFor("the label's tooltip",
                [] { return QToolTip::text().contains("Interiors &amp; Exteriors"); });
        QToolTip::hideText();
        driver->key(Qt::Key_Tab, 21);
        seen("selection, many products by keyboard");
        driver->key(Qt::Key_Tab, 22);
        seen("selection, show all by keyboard");
        driver->key(Qt::Key_Tab);
        seen("selection, back by keyboard");
    });
}

void StateWalker::boxesBeforeDownload() {
    ZelApp* app = ZelApp::instance();
    scene("several issues", [&] {
        offer({{guide}});
        openSelection();
    });
    scene("no products", [&] {
        offer({});
        openSelection();
    });
    scene("no product list", [&] {
        app->manifestFile.clear();
        openSelection();
        seen("selection, waiting");
        server->answer(0, {}, QByteArray("Validation: Error ") + serverReason + "\r\n");
        waitForBox("invalidManifest");
    });
    scene("install problem", [&] {
        app->manifestFile.clear();
        openSelection();
        app->assay->attributes[ZelAttrInstallProblem] = serverReason;
        server->answer(11, "<Manifest/>", "Validation: Approved\r\n");
        waitForBox("installProblem");
    });
    scene("nothing selected", [&] {
        offer({{farmServer}, {atelier}});
        openSelection();
        for (int row : {0, 1})
            driver->toggle(row);
        driver->press(QWizard::NextButton);
    });
    scene("disk full", [&] {
        offer({{farmServer, qint64(1) << 50}, {atelier}});
        openSelection();
        driver->press(QWizard::NextButton);
    });
    for (const QString name : {"IP:127.0.0.1", "DNS:elsewhere.example"}) {
        const QSslConfiguration tls = selfSigned(name);
        scene(name[0] == 'I' ? "TLS error" : "TLS errors", [&] {
            server->setSslConfiguration(tls);
            app->manifestFile.clear();
            app->scheme = "https";
            openSelection();
        });
    }
}

void StateWalker::downloadPage() {
    const qint64 size = 11863401;
    // Progress is told ten times a second at most: something has to follow the half.
    const auto sendHalf = [&](qint64 announced) {
        server->answer(announced, QByteArray(size / 2, 'x'));
        waitFor("half a package", [&] {
            server->send(QByteArray(1000, 'x'));
            return find<QLabel>("byteCount")->text().contains("5.");
        });
    };
    scene("download", [&] {
        openDownload({{farmServer, size}, {atelier}, {guide}});
        seen("download, starting");
        sendHalf(size);
        seen("download, half");
    });
    scene("download", [&] {
        openDownload({{QString("%1; %1").arg(longLabel), size}});
        sendHalf(-1);
        seen("download, long label and unknown size");
    });
    scene("installation", [&] {
        openDownload({{farmServer}, {atelier}});
        startInstaller();
        seen("installation");
        driver->tellInstaller("exit");
        waitForRequest();
        startInstaller();
        driver->tellInstaller("exit");
        waitFor("the last page", [&] { return driver->page() == ZelMainWindow::Finished; });
        seen("finished");
    });
}

void StateWalker::downloadBoxes() {
    const QList<Product> products{{farmServer}, {atelier}};
    scene("back while downloading", [&] {
        openDownload(products);
        driver->press(QWizard::CustomButton1);
    });
    scene("back while installing", [&] {
        openDownload(products);
        startInstaller();
        driver->press(QWizard::CustomButton1);
        driver->tellInstaller("exit");
        waitForRequest();
    });
    scene("download refused", [&] {
        // Longer than a file name may be.
        offer({{farmServer, 4096, QString(300, 'x')}, {atelier}});
        openSelection();
        driver->press(QWizard::NextButton);
    });
    scene("download failed", [&] {
        driver->boxes.answers["downloadFailed"] = {QMessageBox::Abort};
        openDownload(products);
        server->answer(4096, "xar!");
        server->close();
        waitForBox("downloadFailed");
    });
    scene("installer failed", [&] {
        openDownload(products);
        startInstaller();
        driver->tellInstaller("kill -KILL $$");
        waitForBox("installerFailed");
    });
    scene("installer not started", [&] {
        qputenv("PATH", ""); // the driver puts it back
        openDownload(products);
        server->answer(4096, QByteArray(4096, 'x'));
        waitForBox("installerNotStarted");
    });
}

void StateWalker::offer(const QList<Product>& products) {
    QByteArrayList records;
    for (const Product& product : products)
        records << zelProductXml(product.name + ".pkg", product.label, 0, product.size,
                                 server->url(QString()));
    driver->offer(records);
}

// With the server's manifest, up to its request.
void StateWalker::openSelection() {
    driver->walkTo(ZelMainWindow::Selection);
    if (ZelApp::instance()->manifestFile.isEmpty())
        waitForRequest();
}

// Up to the request of the first package.
void StateWalker::openDownload(const QList<Product>& products) {
    offer(products);
    driver->startQueue();
    waitForRequest();
}

void StateWalker::startInstaller() {
    server->answer(4096, QByteArray(4096, 'x'));
    waitFor("an installation",
            [&] { return find<QProgressBar>("productProgress")->maximum() == 0; });
}

void StateWalker::seen(const QString& state) {
    QTest::qWait(0); // what was scheduled a moment ago happens first
    onState(state, *driver->window);
}

void StateWalker::waitForRequest() {
    waitFor("a request", [this] { return server->asked; });
}

void StateWalker::waitForBox(const QString& name) {
    waitFor("the box", [&] { return driver->boxes.names().contains(name); });
}

void StateWalker::waitFor(const QString& what, const std::function<bool()>& condition) {
    if (!QTest::qWaitFor(condition, patience))
        problems << QString("%1: waited in vain for %2").arg(current, what);
}
