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

void ZelTestWizard::addPicture(const QString& name, const QColor& color) const {
    const QDir images(machine.filePath("lib/Resources/images"));
    QPixmap picture(16, 16);
    picture.fill(color);
    if (!images.mkpath(".") || !picture.save(images.filePath(name)))
        qFatal("cannot write a picture");
}
