#pragma once

#include <QMessageBox>
#include <QString>

// What a modal box asks. Every text is shown as plain text, since parts of it come from servers.
struct ZelMessageBox {
    QString name; // object name of the box, also its name in the log
    QString text;
    QString informativeText = {};
    QString detailedText = {};
    QMessageBox::StandardButtons buttons = QMessageBox::Ok;
    QMessageBox::StandardButton defaultButton = QMessageBox::Ok;
};

// Shows the box, which is a critical one, and waits for the answer. Closing it without a choice
// answers with its refusing button.
QMessageBox::StandardButton ZelShowMessageBox(const ZelMessageBox& content,
                                              QWidget* parent = nullptr);
