#include "app/ZelApp.h"

#include "app/ZelBuildConfig.h"
#include "app/ZelBuildStamp.h"
#include "app/ZelLogging.h"
#include "core/ZelMachineAssay.h"
#include "wizard/ZelMainWindow.h"

#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QTextStream>
#include <new>

namespace {

constexpr char imageFolder[] = "lib/Resources/images";
constexpr char stylesheetFolder[] = "lib/Resources/stylesheets";

QString resourcePath(const QString& root, const char* folder, const char* name) {
    return root + QDir::separator() + folder + QDir::separator() + name;
}

// On Linux the toolkit would run GLib's event loops, which cost a system call for each event
// posted, ten for each 16 KiB of a download over TLS. To be said before it makes the first one.
int& withoutGlib(int& argc) {
#ifdef Q_OS_LINUX
    qputenv("QT_NO_GLIB", "1");
#endif
    return argc;
}

} // namespace

ZelApp::ZelApp(int& argc, char** argv)
    : QApplication(withoutGlib(argc), argv), host(ZelBuildConfig::vendorHost), scheme("https"),
      applicationPath(applicationFilePath()),
      successUrl(QString("http://") + ZelBuildConfig::vendorHost + "/view/ZEL-Success") {
    setApplicationVersion(ZelVersion());
    // Later toolkits would show the alerts of macOS, which have no details.
    setAttribute(Qt::AA_DontUseNativeDialogs);
    QDir root(applicationDirPath());
    for (int level = 0; level < 4; ++level)
        root.cdUp();
    installRoot = root.absolutePath();

    parseCommandLineArguments();
}

ZelApp::~ZelApp() {
    // Before the toolkit lets go of what TLS connections need to be closed.
    delete networkManager;
    ZelFinalizeLogging();
}

int ZelApp::Start() {
    setWindowIcon(LoadIconResource("zel.png"));
    QDir::addSearchPath("images", QDir(installRoot).filePath(imageFolder)); // for the style sheet
    loadStylesheet("zel.qss");

    wizard = new (std::nothrow) ZelMainWindow;
    if (!wizard)
        return 1;
    wizard->setVisible(true);
    wizard->raise();
    return 0;
}

// A style sheet keeps the colours of the palette that it was applied with. A desktop may turn dark
// in the evening.
bool ZelApp::event(QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange)
        setStyleSheet(styleSheet());
    return QApplication::event(event);
}

bool ZelApp::isGui() const {
    return qobject_cast<QApplication*>(QCoreApplication::instance());
}

QIcon ZelApp::LoadIconResource(const char* name) const {
    QIcon icon;
    if (name)
        icon.addFile(resourcePath(installRoot, imageFolder, name), QSize(), QIcon::Normal,
                     QIcon::Off);
    return icon;
}

QPixmap ZelApp::LoadPixmapResource(const char* name) const {
    if (!name)
        return QPixmap();
    // Not by QPixmap's own loading: its cache would keep the last ten megabytes of pictures, and
    // the while-you-wait pictures, shown in a circle, are more than that: none would ever be found
    // there.
    const auto load = [](const QString& file) { return QPixmap::fromImage(QImage(file)); };
    const QString path = resourcePath(installRoot, imageFolder, name);
    // QIcon finds pictures for dense screens by itself, QPixmap does not.
    if (devicePixelRatio() > 1) {
        const QFileInfo info(path);
        QPixmap dense = load(info.path() + '/' + info.completeBaseName() + "@2x." + info.suffix());
        if (!dense.isNull()) {
            dense.setDevicePixelRatio(2);
            return dense;
        }
    }
    return load(path);
}

void ZelApp::loadStylesheet(const char* name) {
    if (!name)
        return;
    QFile file(resourcePath(installRoot, stylesheetFolder, name));
    if (!file.exists() || !file.open(QIODevice::ReadOnly))
        return;

    QString stylesheet;
    QTextStream stream(&file);
    for (QString line; stream.readLineInto(&line);)
        stylesheet += line;
    file.close();
    setStyleSheet(stylesheet);
}

QNetworkAccessManager* ZelApp::getNetworkManager() {
    if (!networkManager) {
        networkManager = new QNetworkAccessManager(this);
        connect(networkManager, &QNetworkAccessManager::finished, this, &ZelApp::finishedReply);
    }
    return networkManager;
}

char* ZelApp::getDownloadBuffer() {
    if (!readBuffer)
        readBuffer = std::make_unique<char[]>(downloadBufferSize);
    return readBuffer.get();
}

void ZelApp::DoAssay() {
    assay = ZelMachineAssay::Singleton();
    assay->DoAssay();
}
