#pragma once

#include <QWizardPage>

// The last page; Finish opens the vendor's success page and closes the wizard.
class ZelFinished : public QWizardPage {
    Q_OBJECT

public:
    explicit ZelFinished(QWidget* parent);

    void initializePage() override;
    bool validatePage() override;
};
