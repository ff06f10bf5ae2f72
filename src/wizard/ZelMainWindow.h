#pragma once

#include <QWizard>

class QLabel;

// The program's one window: five pages in a fixed order. Every decision is the pages' own.
class ZelMainWindow : public QWizard {
    Q_OBJECT

public:
    ZelMainWindow();

private:
    void coverBanner();

    QLabel* denseBanner = nullptr; // lies above the wizard's own banner on a dense screen
};
