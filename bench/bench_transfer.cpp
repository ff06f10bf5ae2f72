// One transfer of BYTES from URL into the download folder: by the program's own engine, or by a
// plain loop of the toolkit, its floor.
//
//   bench_transfer engine|plain URL BYTES [BYTES_PER_SECOND]
//
// With a rate, the thread that copies is held back to it, as a slow disk would do.

#include "ZelBench.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"

#include <QNetworkAccessManager>
#include <QTimer>
#include <cstdlib>
#include <thread>

namespace {

double idleMemory = 0;
double processorTime = 0;
QElapsedTimer clock;

void start() {
    ZelSettle();
    ZelResetPeakMemory();
    idleMemory = ZelPeakMemory();
    processorTime = ZelProcessorTime();
    clock.start();
}

void finish(bool complete) {
    const double wall = ZelElapsed(clock);
    processorTime = ZelProcessorTime() - processorTime;
    if (!complete)
        std::_Exit(1); // before the download page asks what to do
    ZelPrintFigures(
        {{"wall", wall}, {"cpu", processorTime}, {"memory", ZelPeakMemory() - idleMemory}});
    QApplication::exit();
}

void holdBack(QNetworkReply* reply, const QFile* file, double bytesPerSecond) {
    QObject::connect(reply, &QNetworkReply::readyRead, [=] {
        const double due = double(file->pos()) / bytesPerSecond * 1e3;
        std::this_thread::sleep_for(
            std::chrono::duration<double, std::milli>(due - ZelElapsed(clock)));
    });
}

} // namespace

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() < 4)
        return 2;
    QObject::connect(&app, &ZelApp::failedDownload, [] { finish(false); });
    if (app.Start() != 0)
        return 2;
    ZelManifestElement product;
    product.Name = "bench.pkg";
    product.DownloadURL = QUrl(arguments[2]);
    product.FileSize = arguments[3].toLongLong();
    const double rate = arguments.value(4).toDouble();

    QFile file(app.GetDownloadDir()->filePath(product.Name));
    app.manifest << product;
    QNetworkAccessManager manager;
    QObject::connect(&app, qOverload<int>(&ZelApp::finishedDownload),
                     [&] { finish(file.size() == product.FileSize); });

    const auto transfer = [&] {
        start();
        if (arguments[1] == "engine") {
            QNetworkReply* reply = app.DownloadProduct(0);
            if (reply && rate > 0)
                holdBack(reply, app.manifest[0].file.get(), rate);
            return;
        }
        if (!file.open(QIODevice::WriteOnly))
            std::_Exit(2);
        QNetworkRequest request(product.DownloadURL);
        request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
        QNetworkReply* reply = manager.get(request);
        reply->ignoreSslErrors();
        QObject::connect(reply, &QNetworkReply::readyRead,
                         [&, reply] { file.write(reply->readAll()); });
        QObject::connect(reply, &QNetworkReply::finished, [&] {
            file.close();
            finish(file.size() == product.FileSize);
        });
    };
    if (rate <= 0) {
        transfer();
        return QApplication::exec();
    }

    // The idle program has asked for its manifest and has shown each of its pictures once.
    QNetworkReply* reply = app.getNetworkManager()->get(
        QNetworkRequest(product.DownloadURL.resolved(QUrl("/manifest.xml"))));
    reply->ignoreSslErrors();
    QTimer::singleShot(5000, transfer);
    return QApplication::exec();
}
