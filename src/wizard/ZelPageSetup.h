#pragma once

class QWizardPage;

// The page's property that holds its banner for dense screens.
inline constexpr char ZelDenseBanner[] = "denseBanner";

// Gives a page its subtitle and its two side pictures, by their names in the image directory.
void ZelSetUpPage(QWizardPage* page, const char* watermark, const char* banner);
