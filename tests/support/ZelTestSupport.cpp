#include "support/ZelTestSupport.h"

static QStringList capturedLines;

ZelLogCapture::ZelLogCapture() {
    capturedLines.clear();
    previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext&, const QString& text) { capturedLines << text; });
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

void ZelTestWizard::addPicture(const QString& name, const QColor& color) const {
    const QDir images(machine.filePath("lib/Resources/images"));
    QPixmap picture(16, 16);
    picture.fill(color);
    if (!images.mkpath(".") || !picture.save(images.filePath(name)))
        qFatal("cannot write a picture");
}

void zelWeatherRows(const QString& heading) {
    QTest::addColumn<QString>("expected");
    QFile page(ZEL_SOURCE_DIR "/docs/weather.md");
    if (!page.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(page.fileName()));
    const QString text = QString::fromUtf8(page.readAll()).section("\n## " + heading + '\n', 1);
    static const QRegularExpression row("^\\| (?!weather)(.*?) \\| (.*) \\|$",
                                        QRegularExpression::MultilineOption);
    for (auto rows = row.globalMatch(text.section("\n## ", 0, 0).remove('`')); rows.hasNext();) {
        const QRegularExpressionMatch cells = rows.next();
        QTest::newRow(qPrintable(cells.captured(1))) << cells.captured(2);
    }
}

QStringList zelScenario(const QString& weather) {
    const QString file = ZEL_SOURCE_DIR "/tools/weather/" + weather + ".json";
    return QFile::exists(file) ? QStringList{"--weather", file} : QStringList();
}

QString zelOutcomeOf(const std::function<void()>& start) {
    const ZelApp* app = ZelApp::instance();
    QString outcome;
    QObject context;
    const auto goesOn = [&] { outcome = "goes on"; };
    const auto fails = [&](const QString& reason) { outcome = reason; };
    QObject::connect(app, &ZelApp::validManifestReply, &context, goesOn);
    QObject::connect(app, &ZelApp::invalidManifestReply, &context, fails);
    QObject::connect(app, qOverload<int>(&ZelApp::finishedDownload), &context, goesOn);
    QObject::connect(app, &ZelApp::failedDownload, &context, fails);
    start();
    return QTest::qWaitFor([&] { return !outcome.isEmpty(); }, 20000) ? outcome : "no end";
}

QNetworkReply* zelDownload(const QUrl& url) {
    ZelApp* app = ZelApp::instance();
    app->manifest = {ZelManifestElement()};
    app->manifest[0].Name = "p.pkg";
    app->manifest[0].DownloadURL = url;
    return app->DownloadProduct(0);
}
