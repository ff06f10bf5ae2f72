#pragma once

#include <QHash>
#include <QList>
#include <QMessageBox>
#include <functional>

// What a message box said, kept after it closed.
struct ZelSeenBox {
    QString name;
    QString text;
    QString informativeText;
    QString detailedText;
    QMessageBox::StandardButtons buttons;
    QString defaultButton; // text of the button that Return presses
};

// Answers the program's message boxes while it lives, in place of a user. Every box is closed, also
// when the code that looks at it gives up half-way.
class ZelBoxDriver : public QObject {
public:
    ZelBoxDriver();
    ~ZelBoxDriver() override;

    // Buttons to press, by the box's name, one box after another; the last one holds on. A box
    // without an entry gets its default button.
    QHash<QString, QList<QMessageBox::StandardButton>> answers;

    // Called with each box when it is on screen, before it is answered.
    std::function<void(QMessageBox& box)> onShow;

    // The boxes so far, in order.
    QList<ZelSeenBox> boxes;

    // The names of the boxes so far, in order.
    QStringList names() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void answer(QMessageBox& box);
};
