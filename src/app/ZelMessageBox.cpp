#include "app/ZelMessageBox.h"

#include <QCoreApplication>
#include <QDebug>
#include <QGridLayout>
#include <QLabel>
#include <QTextEdit>

namespace {

constexpr int minimumWidth = 400; // pixels, of what is in the box

} // namespace

QMessageBox::StandardButton ZelShowMessageBox(const ZelMessageBox& content, QWidget* parent) {
    QMessageBox box(parent);
    box.setObjectName(content.name);
    box.setWindowTitle(QCoreApplication::translate("ZelMessageBox", "Lumivex Community Installer"));
    box.setAccessibleName(content.text);
    box.setIcon(QMessageBox::Critical);
    box.setText(content.text);
    box.setInformativeText(content.informativeText);
    box.setDetailedText(content.detailedText);
    box.setStandardButtons(content.buttons);
    box.setDefaultButton(content.defaultButton);
    const QList<QLabel*> labels = box.findChildren<QLabel*>();
    for (QLabel* label : labels)
        label->setTextFormat(Qt::PlainText);

    // As wide as the text alone, a box with a short one would break the longer texts into slivers.
    if (auto* grid = qobject_cast<QGridLayout*>(box.layout()))
        grid->addItem(new QSpacerItem(minimumWidth, 0), grid->rowCount(), 0, 1,
                      grid->columnCount());
    if (auto* details = box.findChild<QTextEdit*>())
        details->setAccessibleName(QCoreApplication::translate("ZelMessageBox", "Details"));

    const auto answer = QMessageBox::StandardButton(box.exec());
    qDebug() << "message box" << content.name << "answered" << answer << content.text
             << content.informativeText << content.detailedText;
    return answer;
}
