#pragma once

#include <QLabel>

class QWizard;

// Lies above the wizard's own banner on a dense screen and shows the page's banner there in full.
// QWizard takes the pixels of a banner for its size in the window, so that the banner itself cannot
// be a dense picture.
class ZelDenseBanner : public QLabel {
    Q_OBJECT

public:
    // The page's property that names its dense banner.
    static constexpr char pageProperty[] = "denseBanner";

    // Becomes a child of the wizard.
    explicit ZelDenseBanner(QWizard* wizard);

private:
    void showBanner(const QWizard* wizard);
};
