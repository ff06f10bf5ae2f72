#include "wizard/ZelDownload.h"

#include "app/ZelApp.h"
#include "app/ZelMessageBox.h"
#include "core/ZelTexts.h"
#include "wizard/ZelPageSetup.h"
#include "wizard/ZelProgressBar.h"

#include <QDebug>
#include <QLabel>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QTimer>
#include <QVBoxLayout>
#include <QWizard>
#include <algorithm>

ZelDownload::ZelDownload(QWidget* parent) : QWizardPage(parent) {
    const ZelApp* app = ZelApp::instance();
    connect(app, qOverload<int>(&ZelApp::finishedDownload), this, &ZelDownload::downloadCompleted);
    connect(app, &ZelApp::failedDownload, this, &ZelDownload::downloadFailed);
    qApp->installEventFilter(this);
    createUI();
    ZelSetUpPage(this, "downloadWatermark.png", "downloadBanner.png");
}

void ZelDownload::createUI() {
    picture = new QLabel(this);
    picture->setObjectName("whileUWait");
    picture->setPixmap(nextWUWPixmap());

    auto* totalStatus = new QLabel(tr("Overall Progress:"), this);
    totalStatus->setObjectName("totalStatus");
    overallBar = new QProgressBar(this);
    overallBar->setObjectName("overallProgress");
    overallBar->setAccessibleName(tr("Overall Progress"));
    overallBar->setRange(0, overallRange);

    statusLabel = new QLabel(this);
    statusLabel->setObjectName("downloadStatus");
    statusLabel->setTextFormat(Qt::PlainText);
    statusLabel->setWordWrap(true); // a product may have a long label
    productBar = new ZelProgressBar(this);
    productBar->setObjectName("productProgress");
    productBar->setMinimum(0);
    setStatus(tr("Download/Installing"));

    byteLabel = new QLabel(this);
    byteLabel->setObjectName("byteCount");

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(picture);
    layout->addWidget(totalStatus);
    layout->addWidget(overallBar);
    layout->addWidget(statusLabel);
    layout->addWidget(productBar);
    layout->addWidget(byteLabel);
    layout->addStretch(); // the page has all the room there is; a status of three lines takes some

    QTimer::singleShot(pictureInterval, this, &ZelDownload::nextWhileUWait);
}

// The bar has no words of its own: it is read out under the status. A label's buddy would do that
// too, and take the "&" in a product's label for a shortcut.
void ZelDownload::setStatus(const QString& text) {
    statusLabel->setText(text);
    productBar->setAccessibleName(text);
}

QPixmap ZelDownload::nextWUWPixmap() {
    const auto load = [](int number) {
        const QByteArray name = "whileUWait-" + QByteArray::number(number) + ".png";
        return ZelApp::instance()->LoadPixmapResource(name.constData());
    };

    QPixmap pixmap;
    do {
        pixmap = load(pictureNumber);
        ++pictureNumber;
    } while (pixmap.isNull() && pictureNumber < pictureLimit);

    if (pixmap.isNull()) {
        pixmap = load(1);
        pictureNumber = 2;
    }
    return pixmap;
}

void ZelDownload::nextWhileUWait() {
    picture->setPixmap(nextWUWPixmap());
    QTimer::singleShot(pictureInterval, this, &ZelDownload::nextWhileUWait);
}

void ZelDownload::initializePage() {
    qDebug() << "Download";
    overallBar->reset();
    overallBar->setValue(0);
    productBar->reset();
    position = 0;
    currentReply = nullptr;
    installer = nullptr;
    goBackAfterInstall = false;
    stoppedByBack = false;
    closed = false;
    byteLabel->clear();
    {
        const QScopedValueRollback<bool> guard(entering, true);
        requestNextDownload();
    }

    wizard()->setButtonLayout(
        {QWizard::Stretch, QWizard::CustomButton1, QWizard::NextButton, QWizard::FinishButton});
    wizard()->setButtonText(QWizard::CustomButton1, wizard()->buttonText(QWizard::BackButton));
    if (!backConnected) {
        // It has the focus while Next is disabled; Return pressed once more must not ask to go
        // back.
        if (auto* button = qobject_cast<QPushButton*>(wizard()->button(QWizard::CustomButton1)))
            button->setAutoDefault(false);
        connect(wizard()->button(QWizard::CustomButton1), &QAbstractButton::clicked, this,
                &ZelDownload::back);
        connect(wizard(), &QWizard::rejected, this, [this] { closed = true; });
        backConnected = true;
    }
}

void ZelDownload::cleanupPage() {
    wizard()->setButtonLayout(
        {QWizard::Stretch, QWizard::BackButton, QWizard::NextButton, QWizard::FinishButton});
    byteLabel->clear();
}

bool ZelDownload::isComplete() const {
    return state() == State::Idle && complete;
}

bool ZelDownload::validatePage() {
    return isComplete();
}

ZelDownload::State ZelDownload::state() const {
    if (position == -1)
        return State::Idle;
    if (installer)
        return State::Installing;
    return currentReply ? State::Downloading : State::Between;
}

bool ZelDownload::currentProduct(ZelManifestElement** out) const {
    ZelApp* app = ZelApp::instance();
    if (position < 0 || position >= app->downloadList.size())
        return true;
    const int index = app->downloadList[position];
    if (index < 0 || index >= app->manifest.size())
        return true;
    *out = &app->manifest[index];
    return false;
}

bool ZelDownload::isProductAlreadyDownloaded(int) const {
    ZelManifestElement* product = nullptr;
    return !currentProduct(&product) && product->downloaded;
}

void ZelDownload::requestNextDownload() {
    byteLabel->clear();
    ZelApp* app = ZelApp::instance();
    if (position < 0 || position >= app->downloadList.size()) {
        qDebug() << "requestNextDownload made with nothing to do" << position;
        return;
    }
    share = overallRange / int(app->downloadList.size());
    productBar->reset();
    overallBar->setValue(share * position);
    if (isProductAlreadyDownloaded(position)) {
        downloadCompleted(position);
        return;
    }

    ZelManifestElement* product = nullptr;
    const QString label = currentProduct(&product) ? QString() : product->label();
    setStatus(tr("Downloading %1...").arg(label));
    currentReply = app->DownloadProduct(app->downloadList[position]);
    if (!currentReply) {
        ZelShowMessageBox(
            {.name = "downloadRefused",
             .text = tr("There Was An Error Downloading"),
             .informativeText = tr("While processing%1. If this error persists contact customer "
                                   "support. Press Ok to exit the application")
                                    .arg(label)},
            this);
        QApplication::exit(0);
        return;
    }
    connect(currentReply, &QNetworkReply::downloadProgress, this, &ZelDownload::downloadProgress);
}

// Never from inside the slot that ended the previous step.
void ZelDownload::requestNextDownloadSoon() {
    QTimer::singleShot(1, this, &ZelDownload::requestNextDownload);
}

void ZelDownload::downloadProgress(qint64 bytesReceived, qint64 bytesTotal) {
    if (!currentReply)
        return; // the toolkit's last word on a transfer that failed while its data were saved
    // A total that is not known comes as -1 and moves the bar backwards; an empty package has none.
    const float ratio = bytesTotal == 0 ? 0.0f : float(bytesReceived) / float(bytesTotal);
    const int half = share / 2; // in whole numbers; the other half is the installation's
    const float value = float(share * position) + ratio * float(half);
    overallBar->setValue(int(std::clamp(value, -1e9f, 1e9f)));
    byteLabel->setText(ZelHumanBytes(bytesReceived) + "/" + ZelHumanBytes(bytesTotal));
    productBar->setTextVisible(bytesTotal > 0); // of an unknown total any share would be wrong
    // The minimum follows a maximum of -1; it must come back for the next product.
    productBar->setRange(std::min(0, int(bytesTotal)), int(bytesTotal));
    productBar->setValue(int(bytesReceived));
}

void ZelDownload::downloadCompleted(int manifestIndex) {
    if (inBackDialog) {
        qDebug() << "Download completed while in the back dialog";
        held.completed = true;
        held.index = manifestIndex;
        return;
    }
    currentReply = nullptr;
    if (closed)
        return;
    qDebug() << "Download complete!" << manifestIndex;
    productBar->reset();
    byteLabel->clear();
    startInstaller();
}

void ZelDownload::downloadFailed(QString reason, int manifestIndex) {
    qDebug() << "Download failed" << reason;
    if (inBackDialog) {
        qDebug() << "Download failed while in the back dialog";
        held.failed = true;
        held.index = manifestIndex;
        held.failure = reason;
        return;
    }
    byteLabel->clear();
    currentReply = nullptr;
    productBar->reset();
    if (closed)
        return;
    if (stoppedByBack) {
        stoppedByBack = false;
        return;
    }

    const auto answer = ZelShowMessageBox(
        {.name = "downloadFailed",
         .text = tr("Product download failed"),
         .informativeText =
             tr("%1. Press Abort to exit, Retry or Ignore to try the next product").arg(reason),
         .buttons = QMessageBox::Abort | QMessageBox::Retry | QMessageBox::Ignore,
         .defaultButton = QMessageBox::Retry},
        this);
    if (answer == QMessageBox::Retry) {
        qDebug() << "Requesting retry after a failed download";
        requestNextDownloadSoon();
    } else if (answer == QMessageBox::Ignore) {
        advance();
    } else if (answer == QMessageBox::Abort) {
        QApplication::exit(-1);
    }
}

void ZelDownload::nextDownload() {
    byteLabel->clear();
    overallBar->setValue(share * (position + 1));
    advance();
}

void ZelDownload::advance() {
    ++position;
    if (closed)
        QApplication::exit(0); // put off until now
    else if (position == ZelApp::instance()->downloadList.size())
        finishQueue();
    else
        requestNextDownloadSoon();
}

void ZelDownload::finishQueue() {
    position = -1;
    complete = true;
    emit completeChanged();
    // A queue with nothing to fetch or install ends while the wizard still enters this page; the
    // wizard can leave it only afterwards.
    if (!entering)
        wizard()->next();
    else
        QTimer::singleShot(1, this, [this] {
            if (wizard()->currentPage() == this)
                wizard()->next();
        });
}

void ZelDownload::goBack() {
    position = -1;
    wizard()->back();
}

void ZelDownload::back(bool) {
    ZelManifestElement* product = nullptr;
    if (state() == State::Idle)
        wizard()->back();
    else if (currentProduct(&product))
        qDebug() << "no element even though processing in back";
    else if (state() == State::Installing)
        backDuringInstall(product->label());
    else if (state() == State::Downloading)
        backDuringDownload(product->label());
}

bool ZelDownload::askToGoBack(const QString& name, const QString& text,
                              const QString& informativeText) {
    held = {};
    const QScopedValueRollback<bool> dialog(inBackDialog, true);
    return ZelShowMessageBox({.name = name,
                              .text = text,
                              .informativeText = informativeText,
                              .buttons = QMessageBox::Ok | QMessageBox::Cancel,
                              .defaultButton = QMessageBox::Cancel},
                             this) == QMessageBox::Ok;
}

void ZelDownload::backDuringInstall(const QString& label) {
    if (askToGoBack(
            "backDuringInstall", tr("A Product Install Is In Progress"),
            tr("Once %1 is installed the Lumivex Community Installer will go back").arg(label)))
        goBackAfterInstall = true;
    if (held.installerFinished)
        installerFinished(held.exitCode, held.exitStatus);
    else if (held.installerNotStarted)
        installerError(QProcess::FailedToStart);
}

void ZelDownload::backDuringDownload(const QString& label) {
    const bool stop = askToGoBack("backDuringDownload", tr("Download In Progress. Really go back?"),
                                  tr("Pressing Ok will stop this download of %1. Press Cancel to "
                                     "resume download and installation")
                                      .arg(label));
    if (!stop) {
        if (held.completed)
            downloadCompleted(held.index);
        else if (held.failed)
            downloadFailed(held.failure, held.index);
        return;
    }

    stoppedByBack = true;
    // Its failure arrives before abort() returns and is swallowed.
    if (!held.completed && !held.failed)
        currentReply->abort();
    currentReply = nullptr;
    goBack();
}
