#pragma once

class QWizardPage;

// Gives a page its subtitle and its two side pictures, by their names in the image directory.
void ZelSetUpPage(QWizardPage* page, const char* watermark, const char* banner);
