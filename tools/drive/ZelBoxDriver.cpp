#include "drive/ZelBoxDriver.h"

#include <QApplication>
#include <QEvent>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

ZelBoxDriver::ZelBoxDriver() {
    qApp->installEventFilter(this);
}

ZelBoxDriver::~ZelBoxDriver() {
    const QWidgetList windows = QApplication::topLevelWidgets();
    for (QWidget* window : windows) {
        if (auto* box = qobject_cast<QMessageBox*>(window))
            box->reject();
    }
}

QStringList ZelBoxDriver::names() const {
    QStringList result;
    for (const ZelSeenBox& box : boxes)
        result << box.name;
    return result;
}

bool ZelBoxDriver::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show) {
        if (auto* box = qobject_cast<QMessageBox*>(watched))
            // From the box's own event loop, when everything in it has its place.
            QTimer::singleShot(0, box, [this, box, alive = QPointer(this)] {
                if (alive)
                    answer(*box);
            });
    }
    return QObject::eventFilter(watched, event);
}

void ZelBoxDriver::answer(QMessageBox& box) {
    boxes.append({box.objectName(), box.text(), box.informativeText(), box.detailedText(),
                  box.standardButtons(),
                  box.defaultButton() ? box.defaultButton()->text() : QString()});
    if (onShow)
        onShow(box);
    if (box.isHidden())
        return;

    QPushButton* button = box.defaultButton();
    QList<QMessageBox::StandardButton>& wanted = answers[box.objectName()];
    if (!wanted.isEmpty())
        button = qobject_cast<QPushButton*>(
            box.button(wanted.size() > 1 ? wanted.takeFirst() : wanted.first()));
    if (button)
        button->click();
    else
        box.reject();
}
