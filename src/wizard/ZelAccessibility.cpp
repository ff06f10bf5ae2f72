#include "wizard/ZelAccessibility.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLabel>

namespace {

// A label without words, be it a picture or a spacer, is decoration. Left to the toolkit it would
// be announced as an image, or a text, of which nothing is known; a plain client is passed over.
class LabelInterface : public QAccessibleWidget {
public:
    explicit LabelInterface(QLabel* object) : QAccessibleWidget(object), label(object) {}

    QAccessible::Role role() const override {
        return text(QAccessible::Name).isEmpty() ? QAccessible::Client : QAccessible::StaticText;
    }

    QString text(QAccessible::Text kind) const override {
        const QString text = QAccessibleWidget::text(kind);
        return kind == QAccessible::Name && text.isEmpty() ? label->text().trimmed() : text;
    }

private:
    QLabel* label;
};

QAccessibleInterface* makeInterface(const QString& className, QObject* object) {
    if (className == "QLabel")
        return new LabelInterface(static_cast<QLabel*>(object));
    // The interface of a table knows texts in cells, but no checkboxes: who looks around in it with
    // a screen reader would find it empty. In a group they are found.
    if (className == "QTableWidget")
        return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Grouping);
    return nullptr;
}

} // namespace

void ZelInstallAccessibility() {
    QAccessible::installFactory(makeInterface);
}
