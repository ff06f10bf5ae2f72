#include "app/ZelMessageBox.h"

#include <QDebug>
#include <QLabel>

QMessageBox::StandardButton ZelShowMessageBox(const ZelMessageBox& content, QWidget* parent) {
    QMessageBox box(parent);
    box.setObjectName(content.name);
    box.setWindowTitle(QObject::tr("Lumivex Community Installer"));
    box.setIcon(QMessageBox::Critical);
    box.setText(content.text);
    box.setInformativeText(content.informativeText);
    box.setDetailedText(content.detailedText);
    box.setStandardButtons(content.buttons);
    box.setDefaultButton(content.defaultButton);
    const QList<QLabel*> labels = box.findChildren<QLabel*>();
    for (QLabel* label : labels)
        label->setTextFormat(Qt::PlainText);

    const auto answer = QMessageBox::StandardButton(box.exec());
    qDebug() << "message box" << content.name << "answered" << answer;
    return answer;
}
