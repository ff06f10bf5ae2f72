#pragma once

#include <QWizard>

// The program's one window: five pages in a fixed order. Every decision is the pages' own. It has
// one size, the one that its pictures and the page need: it grows for a text of many lines.
class ZelMainWindow : public QWizard {
    Q_OBJECT

public:
    // The pages' ids, in the order in which they are walked.
    enum Page { Welcome, Account, Selection, Download, Finished };
    Q_ENUM(Page)

    ZelMainWindow();

    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void fit();
    void blendHeader();

    QWidget* contents; // what the toolkit puts all of the window into
};
