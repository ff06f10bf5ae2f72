#include "drive/ZelWizardDriver.h"

#include <QAccessible>
#include <QAccessibleInterface>
#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

bool ZelWizardDriver::walkTo(ZelMainWindow::Page target) {
    if (!window) {
        window = std::make_unique<ZelMainWindow>();
        window->show();
    }
    while (page() < target) {
        const ZelMainWindow::Page before = page();
        if (before == ZelMainWindow::Account && !window->currentPage()->isComplete())
            signIn();
        press(QWizard::NextButton);
        if (page() == before)
            return false;
    }
    return true;
}

bool ZelWizardDriver::startQueue() {
    const auto onShow = std::exchange(boxes.onShow, nullptr);
    if (!walkTo(ZelMainWindow::Selection))
        return false;
    boxes.boxes.clear();
    boxes.onShow = onShow;
    return walkTo(ZelMainWindow::Download);
}

void ZelWizardDriver::signIn(const QString& user, const QString& password) const {
    QTest::keyClicks(find<QLineEdit>("userName"), user);
    QTest::keyClicks(find<QLineEdit>("password"), password);
}

void ZelWizardDriver::press(QWizard::WizardButton button) const {
    QTest::mouseClick(window->button(button), Qt::LeftButton);
}

void ZelWizardDriver::press(const char* name) const {
    auto* button = find<QAbstractButton>(name);
    button->setFocus();
    QTest::keyClick(button, Qt::Key_Space);
}

void ZelWizardDriver::toggle(int row) const {
    QTest::keyClick(find<QTableWidget>("products")->cellWidget(row, 0), Qt::Key_Space);
}

void ZelWizardDriver::key(int key, int times) {
    for (int i = 0; i < times; ++i)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key(key));
}

QStringList ZelWizardDriver::rows() const {
    QStringList result;
    const auto* table = find<QTableWidget>("products");
    for (int row = 0; row < table->rowCount(); ++row) {
        auto* checkbox = qobject_cast<QCheckBox*>(table->cellWidget(row, 0));
        result << (checkbox->isChecked() ? "*" : "") +
                      QAccessible::queryAccessibleInterface(checkbox)->text(QAccessible::Name);
    }
    return result;
}

QStringList ZelWizardDriver::said() const {
    QStringList result;
    for (const ZelSeenBox& box : boxes.boxes)
        result << box.text + '/' + box.informativeText;
    return result;
}

int ZelWizardDriver::exitStatusOf(const std::function<void()>& action, int time) {
    QTimer deadline;
    deadline.setInterval(time);
    QObject::connect(&deadline, &QTimer::timeout, qApp, [] { QApplication::exit(noExit); });
    QTimer::singleShot(0, &deadline, [&] {
        action();
        deadline.start();
    });
    return QApplication::exec();
}
