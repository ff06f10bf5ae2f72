#include "StateWalker.h"

#include "app/ZelApp.h"
#include "core/ZelMachineAssay.h"
#include "wizard/ZelMainWindow.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QProcess>
#include <QProgressBar>
#include <QPushButton>
#include <QSslConfiguration>
#include <QSslKey>
#include <QTest>
#include <QTimer>
#include <sys/stat.h>

namespace {

constexpr int patience = 20000; // ms, for one step

// One command from the gate, then the end; the gate's own end ends it too.
constexpr char installerScript[] = R"(#!/bin/bash
read -r command <"${0%/*}/gate" && eval "$command"
)";

constexpr char profilerScript[] = R"(#!/bin/bash
echo '<plist><array><dict><key>_name</key><string>Autodesk Maya 2016.5 Core</string></dict></array></plist>'
)";

constexpr char farmServer[] = "Lumivex FarmServer 21.0";
constexpr char atelier[] = "Lumivex Atelier 21.0 for Maya 2016.5";
constexpr char guide[] = "Lumivex User Guide";
constexpr char longLabel[] =
    "Lumivex Sample Scenes, Volume 3: Interiors & Exteriors, with Textures "
    "in 8K, Light Rigs, Camera Animations and Annotated Render Settings";

void write(const QString& path, const QByteArray& contents) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size() ||
        !file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner))
        qFatal("cannot write %s", qPrintable(path));
}

// A certificate for `name` that vouches for itself.
QSslConfiguration selfSigned(const QString& folder, const QString& name) {
    QFile key(folder + "/key.pem");
    const QString certificate = folder + "/certificate.pem";
    QProcess openssl;
    openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj",
                              "/CN=server", "-addext", "subjectAltName=" + name, "-keyout",
                              key.fileName(), "-out", certificate});
    if (!openssl.waitForFinished() || !key.open(QIODevice::ReadOnly))
        qFatal("openssl made no certificate");
    QSslConfiguration result = QSslConfiguration::defaultConfiguration();
    result.setLocalCertificateChain(QSslCertificate::fromPath(certificate));
    result.setPrivateKey(QSslKey(&key, QSsl::Rsa));
    return result;
}

} // namespace

StateWalker::StateWalker() {
    QDir(machine.path()).mkdir("bin");
    for (const char* program : {"bin/installer", "bin/open"})
        write(machine.filePath(program), installerScript);
    gate.setFileName(machine.filePath("bin/gate"));
    if (mkfifo(QFile::encodeName(gate.fileName()).constData(), 0600) != 0 ||
        !gate.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        qFatal("cannot make a fifo");

    auto* assay = ZelMachineAssay::Singleton();
    assay->profilerPath = machine.filePath("profiler");
    assay->possibleLocations.clear();
    write(assay->profilerPath, profilerScript);
    for (const char* scheme : {"http", "https"})
        QDesktopServices::setUrlHandler(scheme, this, "openPage");

    boxes.onShow = [this](QMessageBox& box) {
        onState("box, " + current, box);
        const QList<QAbstractButton*> buttons = box.buttons();
        for (QAbstractButton* button : buttons) {
            if (box.buttonRole(button) != QMessageBox::ActionRole)
                continue;
            button->click();
            onState("box, " + current + ", details", box);
        }
    };
}

StateWalker::~StateWalker() {
    for (const char* scheme : {"http", "https"})
        QDesktopServices::unsetUrlHandler(scheme);
}

void StateWalker::walk() {
    pagesBeforeDownload();
    boxesBeforeDownload();
    downloadPage();
    downloadBoxes();
}

// Plays one scene in an event loop of its own, since some of them end the program.
void StateWalker::scene(const QString& name, const std::function<void()>& play) {
    ZelApp* app = ZelApp::instance();
    current = name;
    server.asked = false;
    app->scheme = "http";
    app->host = server.hostAndPort();
    app->manifestFile = machine.filePath("manifest.xml");
    app->manifest.clear();
    qputenv("PATH", QFile::encodeName(machine.filePath("bin")) + ':' + path);
    QTimer::singleShot(0, this, [&] {
        app->Start();
        window = app->wizard;
        window->activateWindow();
        waitFor("its window", [&] { return window->isActiveWindow(); });
        play();
        QApplication::exit();
    });
    QApplication::exec();

    // The window first: what ends now must not go on to the next step.
    delete std::exchange(window, nullptr);
    const auto replies = app->getNetworkManager()->findChildren<QNetworkReply*>();
    for (QNetworkReply* reply : replies)
        reply->abort();
    app->GetDownloadDir()->removeRecursively();
    app->GetDownloadDir()->mkpath(".");
    qputenv("PATH", path);
}

void StateWalker::pagesBeforeDownload() {
    scene("welcome", [&] {
        seen("welcome");
        press(QWizard::NextButton);
        seen("sign-in, empty");
        signIn();
        seen("sign-in, filled");
        QTest::mouseClick(find<QPushButton>("accountAdvancedButton"), Qt::LeftButton);
        seen("sign-in, advanced");
        key(Qt::Key_Tab);
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
        find<QCheckBox>("showAll")->setFocus();
        key(Qt::Key_Space);
        seen("selection, hidden products shown");
    });
    scene("selection", [&] {
        QList<Product> products{{farmServer}, {atelier}, {longLabel}};
        for (int i = 1; i <= 40; ++i)
            products << Product{QString("Lumivex Materials, Volume %1").arg(i)};
        offer(products);
        openSelection();
        seen("selection, many products and a long label");
        key(Qt::Key_Tab, 21);
        seen("selection, many products by keyboard");
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
        server.answer(0, {}, QByteArray("Validation: Error ") + serverReason + "\r\n");
        waitForBox("invalidManifest");
    });
    scene("install problem", [&] {
        app->manifestFile.clear();
        openSelection();
        app->assay->attributes[ZelAttrInstallProblem] = serverReason;
        server.answer(11, "<Manifest/>", "Validation: Approved\r\n");
        waitForBox("installProblem");
    });
    scene("nothing selected", [&] {
        offer({{farmServer}, {atelier}});
        openSelection();
        const auto checkboxes = window->currentPage()->findChildren<QCheckBox*>();
        for (QCheckBox* checkbox : checkboxes)
            checkbox->setChecked(false);
        press(QWizard::NextButton);
    });
    scene("disk full", [&] {
        offer({{farmServer, qint64(1) << 50}, {atelier}});
        openSelection();
        press(QWizard::NextButton);
    });
    for (const char* name : {"IP:127.0.0.1", "DNS:elsewhere.example"}) {
        server.setSslConfiguration(selfSigned(machine.path(), name));
        scene(name[0] == 'I' ? "TLS error" : "TLS errors", [&] {
            app->manifestFile.clear();
            app->scheme = "https";
            openSelection();
        });
    }
    server.setSslConfiguration({});
}

void StateWalker::downloadPage() {
    const qint64 size = 11863401;
    // Progress is told ten times a second at most: something has to follow the half.
    const auto sendHalf = [&](qint64 announced) {
        server.answer(announced, QByteArray(size / 2, 'x'));
        waitFor("half a package", [&] {
            server.latest->write(QByteArray(1000, 'x'));
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
        openDownload({{longLabel, size}});
        sendHalf(-1);
        seen("download, long label and unknown size");
    });
    scene("installation", [&] {
        openDownload({{farmServer}, {atelier}});
        startInstaller();
        seen("installation");
        gate.write("exit\n");
        waitForRequest();
        startInstaller();
        gate.write("exit\n");
        waitFor("the last page", [&] { return window->currentId() == 4; });
        seen("finished");
    });
}

void StateWalker::downloadBoxes() {
    const QList<Product> products{{farmServer}, {atelier}};
    scene("back while downloading", [&] {
        openDownload(products);
        press(QWizard::CustomButton1);
    });
    scene("back while installing", [&] {
        openDownload(products);
        startInstaller();
        press(QWizard::CustomButton1);
        gate.write("exit\n");
        waitForRequest();
    });
    scene("download refused", [&] {
        // Longer than a file name may be.
        offer({{farmServer, 4096, QString(300, 'x')}, {atelier}});
        openSelection();
        press(QWizard::NextButton);
    });
    scene("download failed", [&] {
        boxes.answers["downloadFailed"] = {QMessageBox::Abort};
        openDownload(products);
        server.answer(4096, "xar!");
        server.latest->disconnectFromHost();
        waitForBox("downloadFailed");
    });
    scene("installer failed", [&] {
        openDownload(products);
        startInstaller();
        gate.write("kill -KILL $$\n");
        waitForBox("installerFailed");
    });
    scene("installer not started", [&] {
        qputenv("PATH", "");
        openDownload(products);
        server.answer(4096, QByteArray(4096, 'x'));
        waitForBox("installerNotStarted");
    });
}

void StateWalker::offer(const QList<Product>& products) {
    QString xml;
    for (const Product& product : products)
        xml += QString("<ProductInfo><Name>%1.pkg</Name><SimpleName>%2</SimpleName>"
                       "<FileSize>%3</FileSize><DownloadURL>http://%4/</DownloadURL>"
                       "<EligibleCommunityDownload>true</EligibleCommunityDownload></ProductInfo>")
                   .arg(product.name, product.label.toHtmlEscaped(), QString::number(product.size),
                        server.hostAndPort());
    write(machine.filePath("manifest.xml"), "<Manifest>" + xml.toUtf8() + "</Manifest>");
}

void StateWalker::signIn() {
    QTest::keyClicks(find<QLineEdit>("userName"), "artist");
    auto* password = find<QLineEdit>("password");
    password->setFocus();
    QTest::keyClicks(password, "paint & brush");
}

// With the server's manifest, up to its request.
void StateWalker::openSelection() {
    press(QWizard::NextButton);
    signIn();
    press(QWizard::NextButton);
    if (ZelApp::instance()->manifestFile.isEmpty())
        waitForRequest();
}

// Up to the request of the first package.
void StateWalker::openDownload(const QList<Product>& products) {
    offer(products);
    const auto onShow = std::exchange(boxes.onShow, nullptr);
    openSelection();
    boxes.onShow = onShow;
    press(QWizard::NextButton);
    waitForRequest();
}

void StateWalker::startInstaller() {
    server.answer(4096, QByteArray(4096, 'x'));
    waitFor("an installation",
            [&] { return find<QProgressBar>("productProgress")->maximum() == 0; });
}

void StateWalker::key(int key, int times) {
    for (int i = 0; i < times; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
}

void StateWalker::press(int wizardButton) {
    QTest::mouseClick(window->button(QWizard::WizardButton(wizardButton)), Qt::LeftButton);
}

void StateWalker::seen(const QString& state) {
    QTest::qWait(0); // what was scheduled a moment ago happens first
    onState(state, *window);
}

void StateWalker::waitForRequest() {
    waitFor("a request", [this] { return server.asked; });
}

void StateWalker::waitForBox(const QString& name) {
    waitFor("the box", [&] { return boxes.names().contains(name); });
}

void StateWalker::waitFor(const QString& what, const std::function<bool()>& condition) {
    if (!QTest::qWaitFor(condition, patience))
        problems << QString("%1: waited in vain for %2").arg(current, what);
}

template<typename Widget> Widget* StateWalker::find(const char* name) const {
    return window->findChild<Widget*>(name);
}
