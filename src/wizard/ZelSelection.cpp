#include "wizard/ZelSelection.h"

#include "app/ZelApp.h"
#include "app/ZelMessageBox.h"
#include "core/ZelTexts.h"
#include "wizard/ZelPageSetup.h"

#include <QCheckBox>
#include <QDebug>
#include <QHeaderView>
#include <QLabel>
#include <QScopeGuard>
#include <QTableWidget>
#include <QToolTip>
#include <QVBoxLayout>
#include <QWizard>

namespace {

// Shows the wait cursor until the returned guard goes.
[[nodiscard]] auto waitCursor() {
    QApplication::setOverrideCursor(Qt::WaitCursor);
    return qScopeGuard([] { QApplication::restoreOverrideCursor(); });
}

} // namespace

ZelSelection::ZelSelection(QWidget* parent) : QWizardPage(parent) {
    const ZelApp* app = ZelApp::instance();
    connect(app, &ZelApp::validManifestReply, this, &ZelSelection::validManifest);
    connect(app, &ZelApp::invalidManifestReply, this, &ZelSelection::invalidManifest);
    ZelSetUpPage(this, "selectionWatermark.png", "selectionBanner.png");
    createUI();
}

void ZelSelection::createUI() {
    table = new QTableWidget(this);
    table->setObjectName("products");
    table->setAccessibleName(tr("Products"));
    table->setColumnCount(1);
    table->setSortingEnabled(false);
    table->horizontalHeader()->hide();
    table->verticalHeader()->hide();
    // The keyboard moves between the checkboxes themselves, not between the cells around them.
    table->setFocusPolicy(Qt::NoFocus);
    table->setTabKeyNavigation(false); // else Tab never leaves the table again
    table->setSelectionMode(QAbstractItemView::NoSelection);
    table->setShowGrid(false);

    waitingLabel = new QLabel(tr("Asking Corvane for the product list..."));
    waitingLabel->setAlignment(Qt::AlignCenter);
    waitingLabel->setWordWrap(true);
    auto* viewportLayout = new QVBoxLayout(table->viewport());
    viewportLayout->addWidget(waitingLabel);

    showAllBox = new QCheckBox(tr("Show All"), this);
    showAllBox->setObjectName("showAll");
    connect(showAllBox, &QCheckBox::clicked, this, &ZelSelection::buildList);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(table);
    layout->addWidget(showAllBox);
    setWaiting(false);
}

// While the list is awaited there is nothing to choose from, and the page says why.
void ZelSelection::setWaiting(bool waiting) {
    if (waiting) {
        checkboxes.clear();
        table->setRowCount(0);
        setCursor(Qt::BusyCursor);
    } else {
        unsetCursor();
    }
    table->setEnabled(!waiting);
    table->setAccessibleDescription(waiting ? waitingLabel->text() : QString());
    waitingLabel->setVisible(waiting);
    showAllBox->setEnabled(!waiting);
}

// Whether the user has gone back, to mend the password for instance: what was asked for with the
// old one means nothing any more.
bool ZelSelection::isElsewhere() const {
    const QWizardPage* current = wizard() ? wizard()->currentPage() : nullptr;
    return current && current != this;
}

void ZelSelection::initializePage() {
    qDebug() << "Selection";
    assayDone = false;
    manifestReady = false;
    performAssay();
}

void ZelSelection::performAssay() {
    qDebug() << "Doing assay...";
    {
        const auto cursor = waitCursor();
        ZelApp::instance()->DoAssay();
    }
    inspectAssay();
}

void ZelSelection::inspectAssay() {
    qDebug() << "Assay completed";
    assayDone = true;
    emit completeChanged();

    setWaiting(true);
    ZelApp* app = ZelApp::instance();
    app->RequestManifest(app->GetURL(ZelManifestLocation), app->user, app->password, "osx");
}

bool ZelSelection::isComplete() const {
    return assayDone && manifestReady;
}

void ZelSelection::chooseDownloads(QStringList& issues) {
    const auto cursor = waitCursor();
    const ZelApp* app = ZelApp::instance();
    ZelChooseDownloads(app->manifest, *app->assay, offer, issues);
}

void ZelSelection::chooseLFSDownload(QStringList& issues) {
    const ZelApp* app = ZelApp::instance();
    ZelChooseLFSDownload(app->manifest, *app->assay, offer, issues);
}

void ZelSelection::chooseLATDownload(QStringList& issues) {
    const ZelApp* app = ZelApp::instance();
    ZelChooseLATDownload(app->manifest, *app->assay, offer, issues);
}

void ZelSelection::invalidManifest(const QString& reason) {
    if (isElsewhere())
        return;
    setWaiting(false);
    ZelShowMessageBox({.name = "invalidManifest",
                       .text = tr("Could not get a product list from Corvane"),
                       .informativeText = reason},
                      this);
    QApplication::exit(1);
}

void ZelSelection::validManifest() {
    if (isElsewhere())
        return;
    setWaiting(false);
    checkboxes.clear();
    offer = ZelOffer();
    ZelApp* app = ZelApp::instance();
    app->downloadList.clear();

    if (!confirmInstallProblem())
        return;

    QStringList issues;
    chooseDownloads(issues);
    qDebug() << "Chose" << offer.chosen.size() << "to download";
    qDebug() << "There are " << offer.hidden.size() << "hidden";

    if (!issues.isEmpty()) {
        showIssues(issues);
        qDebug() << "Manifest:";
        for (const ZelManifestElement& element : std::as_const(app->manifest)) {
            qDebug() << element.Name
                     << "zel:" << (element.EligibleCommunityDownload ? "true" : "false")
                     << "url:" << element.DownloadURL << "buildid:" << element.BuildID;
        }
        if (offer.chosen.isEmpty() && offer.hidden.isEmpty())
            QApplication::exit(0);
    }

    showAllBox->setChecked(false);
    buildList(false);
    manifestReady = true;
    emit completeChanged();
}

// False when the user leaves because nothing can be installed on this machine.
bool ZelSelection::confirmInstallProblem() {
    QString reason;
    if (!ZelApp::instance()->assay->FindMachineProperty(ZelAttrInstallProblem, reason))
        return true;
    const auto answer = ZelShowMessageBox(
        {.name = "installProblem",
         .text = tr("Cannot complete the installation on this machine"),
         .informativeText =
             tr("%1 Press OK to conitue download only or Cancel to exit this application")
                 .arg(reason),
         .buttons = QMessageBox::Ok | QMessageBox::Cancel,
         .defaultButton = QMessageBox::Cancel},
        this);
    if (answer == QMessageBox::Cancel)
        QApplication::exit(-1);
    return answer == QMessageBox::Ok;
}

void ZelSelection::showIssues(const QStringList& issues) {
    QString text = tr("There were issues selecting products");
    if (offer.chosen.isEmpty())
        text = tr("There were no products to download");
    else if (issues.size() == 1)
        text = tr("There was an issue selecting products");
    ZelShowMessageBox({.name = "selectionIssues",
                       .text = text,
                       .informativeText = tr("Click on Show Details to see why"),
                       .detailedText = issues.join('\n')},
                      this);
}

QList<int> ZelSelection::rows(bool showAll) const {
    return showAll ? offer.chosen + offer.hidden : offer.chosen;
}

void ZelSelection::buildList(bool showAll) {
    QList<bool> states;
    getCheckedState(states);
    table->clearContents();
    checkboxes.clear();

    ZelApp* app = ZelApp::instance();
    const QList<int> indices = rows(showAll);
    qDebug() << "building a list with" << indices;
    table->setRowCount(int(indices.size()));
    for (int row = 0; row < indices.size(); ++row) {
        const int index = indices[row];
        if (index < 0 || index >= app->manifest.size()) {
            qCritical() << "internal error building selection list";
            break;
        }
        const ZelManifestElement& element = app->manifest[index];
        qDebug() << "Adding " << element.Name << "with label " << element.label();

        // A single ampersand would underline the letter behind it.
        auto* checkbox = new QCheckBox(QString(element.label()).replace('&', "&&"));
        checkbox->setChecked(row < states.size() ? states[row] : row < offer.chosen.size());
        checkbox->installEventFilter(this);
        // Any size: it is the table that gives the real one, and without one the checkbox would
        // first have to measure its text.
        checkbox->resize(0, 0);
        table->setCellWidget(row, 0, checkbox);
        checkboxes << checkbox;
        app->CheckForDownload(index);
    }
    table->resizeColumnsToContents();

    // New widgets come last in the window's order, one behind the other.
    if (!checkboxes.isEmpty())
        setTabOrder(checkboxes.last(), showAllBox);
}

// A label that the table cuts off is told by a tooltip; as rich text that breaks into lines.
bool ZelSelection::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        auto* checkbox = qobject_cast<QCheckBox*>(watched);
        if (checkbox && checkbox->sizeHint().width() > table->viewport()->width()) {
            const QString label = checkbox->text().replace("&&", "&").toHtmlEscaped();
            QToolTip::showText(QCursor::pos(), "<p>" + label + "</p>", checkbox);
            return true;
        }
    }
    return QWizardPage::eventFilter(watched, event);
}

bool ZelSelection::isProductEnabled(int row) const {
    if (row < 0 || row >= checkboxes.size() || !checkboxes[row]) {
        qDebug() << "Failed getting checkbox from table";
        return false;
    }
    return checkboxes[row]->isChecked();
}

void ZelSelection::getCheckedState(QList<bool>& states) const {
    states.clear();
    for (const QCheckBox* checkbox : checkboxes)
        states << checkbox->isChecked();
}

bool ZelSelection::validatePage() {
    ZelApp* app = ZelApp::instance();
    QList<int> selected;
    qint64 needed = 0;
    const QList<int> indices = rows(true);
    for (int row = 0; row < indices.size(); ++row) {
        if (!isProductEnabled(row))
            continue;
        const int index = indices[row];
        if (index < 0 || index >= app->manifest.size()) {
            qDebug() << "manifest index out of range" << index << "from selection" << row;
            return false;
        }
        selected << index;
        needed = ZelAddRoomNeeded(needed, app->manifest[index].FileSize);
    }

    if (selected.isEmpty()) {
        ZelShowMessageBox(
            {.name = "nothingSelected", .text = tr("There were no products to install")}, this);
        QApplication::exit(0);
        return false;
    }

    const QDir& folder = *app->GetDownloadDir();
    const qint64 available = app->assay->GetAvailableDisk(folder);
    if (available < needed) {
        ZelShowMessageBox(
            {.name = "diskFull",
             .text = tr("You do not have enough free disk space to download the selected products"),
             .informativeText =
                 tr("Needed %1 for selected downloads. There is %2 of available "
                    "space on %3")
                     .arg(ZelHumanBytes(needed), ZelHumanBytes(available), folder.absolutePath())},
            this);
        return false;
    }
    qDebug() << "We have enough space" << ZelHumanBytes(available) << "to continue. Needed"
             << ZelHumanBytes(needed);
    app->downloadList = selected;
    return true;
}
