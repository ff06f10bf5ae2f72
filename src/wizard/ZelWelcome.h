#pragma once

#include <QWizardPage>

class QLabel;

// A picture; releasing a mouse button on it sets the build stamp as its tooltip.
class ZelWelcome : public QWizardPage {
    Q_OBJECT

public:
    explicit ZelWelcome(QWidget* parent);

    void initializePage() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QLabel* picture;
};
