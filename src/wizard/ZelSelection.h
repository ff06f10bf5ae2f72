#pragma once

#include "core/ZelSelectionRules.h"

#include <QList>
#include <QWizardPage>

class QCheckBox;
class QLabel;
class QTableWidget;

// Runs the assay, asks for the manifest, and lets the user choose among the products on offer.
class ZelSelection : public QWizardPage {
    Q_OBJECT

public:
    explicit ZelSelection(QWidget* parent);

    void initializePage() override;
    bool isComplete() const override;
    bool validatePage() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    // The selection rules, run on the application's manifest and assay into this page's offer.
    void chooseDownloads(QStringList& issues);
    void chooseLFSDownload(QStringList& issues);
    void chooseLATDownload(QStringList& issues);

    // Whether the row's product is checked; a row without a checkbox counts as unchecked.
    bool isProductEnabled(int row) const;

    // Replaces `states` by the checked state of every row.
    void getCheckedState(QList<bool>& states) const;

private slots:
    void validManifest();
    void invalidManifest(const QString& reason);
    void buildList(bool showAll);

private:
    void createUI();
    void performAssay();
    void inspectAssay();
    bool confirmInstallProblem();
    bool isElsewhere() const;
    void setWaiting(bool waiting);
    void showIssues(const QStringList& issues);
    QList<int> rows(bool showAll) const;

    bool assayDone = false;
    bool manifestReady = false;
    QTableWidget* table;
    QLabel* waitingLabel;         // in the table's place
    QList<QCheckBox*> checkboxes; // one a row; the table owns them
    ZelOffer offer;
    QCheckBox* showAllBox;
};
