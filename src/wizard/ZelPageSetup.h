#pragma once

#include <functional>

class QWizardPage;

// Gives a page its subtitle and its two side pictures, by their names in the image directory.
void ZelSetUpPage(QWizardPage* page, const char* watermark, const char* banner);

// Calls `load`, which gives the page its pictures, when the page is first shown, or some time after
// the program has started: the first page need not wait for the pictures of the others.
void ZelLoadPictures(QWizardPage* page, const std::function<void()>& load);
