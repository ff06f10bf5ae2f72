#include "support/ZelTestSupport.h"

namespace {

QStringList capturedLines;

void capture(QtMsgType, const QMessageLogContext&, const QString& message) {
    capturedLines << message;
}

} // namespace

ZelLogCapture::ZelLogCapture() : previous(qInstallMessageHandler(capture)) {
    capturedLines.clear();
}

ZelLogCapture::~ZelLogCapture() {
    qInstallMessageHandler(previous);
}

QStringList ZelLogCapture::lines() {
    return capturedLines;
}

bool ZelLogCapture::contains(const QString& text) {
    return !capturedLines.filter(text).isEmpty();
}

ZelVendorProcess::ZelVendorProcess() {
    setAccounts("user\tpass\n");
    setManifest(zelManifestXml({}));
    QDir(directory.path()).mkdir("packages");
}

ZelVendorProcess::~ZelVendorProcess() {
    stop();
}

void ZelVendorProcess::stop() {
    process.terminate();
    process.waitForFinished();
}

bool ZelVendorProcess::start(const QStringList& arguments) {
    process.start(ZEL_VENDOR_PROGRAM,
                  QStringList{"--accounts", directory.filePath("accounts.txt"), "--manifest",
                              directory.filePath("manifest.xml"), "--packages",
                              directory.filePath("packages"), "--die-with-parent"} +
                      arguments);
    const QByteArray announcement = "listening on ";
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead())
            return false;
    }
    const QByteArray line = process.readLine().trimmed();
    address = QUrl(QString::fromUtf8(line.mid(announcement.size())));
    return line.startsWith(announcement) && address.isValid();
}

QString ZelVendorProcess::hostAndPort() const {
    return address.authority();
}

QUrl ZelVendorProcess::packageUrl(const QString& name) const {
    QUrl url = address;
    url.setPath("/packages/" + name);
    return url;
}

void ZelVendorProcess::setManifest(const QByteArray& xml) {
    zelWriteFile(directory.filePath("manifest.xml"), xml);
}

void ZelVendorProcess::setAccounts(const QByteArray& text) {
    zelWriteFile(directory.filePath("accounts.txt"), text);
}

QByteArray ZelVendorProcess::addPackage(const QString& name, int size) {
    QByteArray contents = "xar!";
    while (contents.size() < size)
        contents += QByteArray::number(contents.size());
    contents.truncate(size);
    zelWriteFile(directory.filePath("packages/" + name), contents);
    return contents;
}

QString zelWriteFile(const QString& path, const QByteArray& contents, bool executable) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        qFatal("cannot write %s", qPrintable(path));
    if (executable)
        file.setPermissions(file.permissions() | QFile::ExeOwner);
    return path;
}

QByteArray zelProductXml(const QString& name, const QString& simpleName, int build, qint64 size,
                         const QString& url, bool eligible) {
    return QString("<ProductInfo><Name>%1</Name><SimpleName>%2</SimpleName><BuildID>%3</BuildID>"
                   "<DownloadURL>%4</DownloadURL><FileSize>%5</FileSize>"
                   "<EligibleCommunityDownload>%6</EligibleCommunityDownload></ProductInfo>\n")
        .arg(name.toHtmlEscaped(), simpleName.toHtmlEscaped(), QString::number(build),
             url.isEmpty() ? "@SERVER@/packages/" + name : url, QString::number(size),
             eligible ? "true" : "false")
        .toUtf8();
}

QByteArray zelManifestXml(const QByteArrayList& products) {
    return "<Manifest>\n" + products.join() + "</Manifest>\n";
}

ZelEnvironment::ZelEnvironment(const char* variable, const QByteArray& value)
    : name(variable), previous(qgetenv(variable)), wasSet(qEnvironmentVariableIsSet(variable)) {
    qputenv(name, value);
}

ZelEnvironment::~ZelEnvironment() {
    if (wasSet)
        qputenv(name, previous);
    else
        qunsetenv(name);
}
