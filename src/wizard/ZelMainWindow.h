#pragma once

#include <QWizard>

// The program's one window: five pages in a fixed order. Every decision is the pages' own.
class ZelMainWindow : public QWizard {
    Q_OBJECT

public:
    // The pages' ids, in the order in which they are walked.
    enum Page { Welcome, Account, Selection, Download, Finished };
    Q_ENUM(Page)

    ZelMainWindow();

protected:
    void keyPressEvent(QKeyEvent* event) override;
};
