#include "AddressProbe.h"

#include "Console.h"
#include "core/ZelTexts.h"

#include <QEventLoop>
#include <memory>

namespace {

constexpr qsizetype requestsAtATime = 6; // no more go to one server
constexpr char packageBeginning[] = "xar!";
constexpr qint64 beginningSize = 4;

} // namespace

AddressProbe::AddressProbe(const QList<ZelManifestElement>& records,
                           const QList<RecordNotes>& recordNotes, int milliseconds)
    : products(records), notes(recordNotes), timeout(milliseconds) {
    for (int i = 0; i < products.size(); ++i) {
        const QUrl& url = products[i].DownloadURL;
        if (url.isValid() && url.scheme().startsWith("http") && !url.host().isEmpty())
            waiting << i;
    }
}

void AddressProbe::run() {
    const qsizetype total = waiting.size();
    Progress progress("packages asked for", total);
    QEventLoop loop;
    while (!waiting.isEmpty() || running > 0) {
        while (!waiting.isEmpty() && running < requestsAtATime)
            askHead(waiting.takeFirst());
        loop.processEvents(QEventLoop::WaitForMoreEvents);
        progress.show(total - waiting.size() - running);
    }
}

// As the installer asks, so that redirections and protocols are the same.
QNetworkRequest AddressProbe::request(int index) const {
    QNetworkRequest result(products[index].DownloadURL);
    result.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    result.setRawHeader("Accept-Encoding", "identity"); // a packed length would not be the file's
    result.setTransferTimeout(timeout);
    return result;
}

AddressProbe::Answer AddressProbe::read(QNetworkReply* reply) const {
    Answer answer;
    answer.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    answer.type = reply->header(QNetworkRequest::ContentTypeHeader).toString();
    const QByteArray range = reply->rawHeader("Content-Range");
    bool isNumber = false;
    qint64 length = range.mid(range.lastIndexOf('/') + 1).toLongLong(&isNumber);
    if (!isNumber && answer.status != 206)
        length = reply->rawHeader("Content-Length").toLongLong(&isNumber);
    if (isNumber)
        answer.length = length;
    if (answer.status == 0)
        answer.error = reply->error() == QNetworkReply::OperationCanceledError
                           ? QString("no answer in time")
                           : ZelNetworkError(reply->error());
    return answer;
}

void AddressProbe::askHead(int index) {
    ++running;
    QNetworkReply* reply = network.head(request(index));
    connect(reply, &QNetworkReply::finished, this, [this, reply, index] {
        const Answer head = read(reply);
        reply->deleteLater();
        if (head.error.isEmpty()) {
            askBeginning(index, head);
        } else {
            judge(index, head);
            --running;
        }
    });
}

// A refused HEAD is made good here: then everything is taken from this answer.
void AddressProbe::askBeginning(int index, const Answer& head) {
    QNetworkRequest ranged = request(index);
    ranged.setRawHeader("Range", "bytes=0-" + QByteArray::number(beginningSize - 1));
    QNetworkReply* reply = network.get(ranged);
    reply->setReadBufferSize(beginningSize);
    auto answer = std::make_shared<Answer>();
    // A server that does not know ranges sends everything: the beginning is enough.
    connect(reply, &QNetworkReply::readyRead, this, [this, reply, answer] {
        if (reply->bytesAvailable() < beginningSize || !answer->beginning.isEmpty())
            return;
        *answer = read(reply);
        answer->beginning = reply->read(beginningSize);
        reply->abort();
    });
    connect(reply, &QNetworkReply::finished, this, [this, reply, answer, head, index] {
        if (answer->beginning.isEmpty()) {
            *answer = read(reply);
            answer->beginning = reply->read(beginningSize);
        }
        reply->deleteLater();
        if (head.status == 200 && head.length >= 0)
            answer->length = head.length;
        judge(index, *answer);
        --running;
    });
}

void AddressProbe::judge(int index, const Answer& answer) {
    if (!answer.error.isEmpty()) {
        add(index, "probe-unreachable", "the server cannot be asked: " + answer.error,
            "offers it and fails to download it", "check the address and the server");
        return;
    }
    if (answer.status != 200 && answer.status != 206) {
        add(index, "probe-status", QString("the server answers with status %1").arg(answer.status),
            "offers it and fails to download it", "put the package at this address");
        return;
    }
    const qint64 size = products[index].FileSize;
    if (answer.length >= 0 && answer.length != size)
        add(index, "probe-length",
            QString("the package has %1 bytes, the manifest says %2").arg(answer.length).arg(size),
            "reserves the wrong room, and downloads the package anew although it is there",
            "write the package's size in bytes");
    if (answer.type.startsWith("text/html", Qt::CaseInsensitive))
        add(index, "probe-type", "the server sends a web page",
            "downloads the page and fails to install it", "put the package at this address");
    else if (answer.beginning != packageBeginning)
        add(index, "probe-contents", "what the server sends does not begin like a flat package",
            "downloads it and fails to install it", "put the package at this address");
}

void AddressProbe::add(int index, const QString& kind, const QString& what, const QString& effect,
                       const QString& remedy) {
    const int line = notes[index].fields.value("DownloadURL").line;
    findings << Finding{line, index, Severity::Error, kind, what, effect, remedy};
}
