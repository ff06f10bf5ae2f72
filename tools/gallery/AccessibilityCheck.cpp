#include "AccessibilityCheck.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QProgressBar>
#include <QTableWidget>
#include <algorithm>
#include <cmath>

namespace {

// As the Web Content Accessibility Guidelines measure it.
double luminance(QRgb pixel) {
    const auto linear = [](int value) {
        const double part = value / 255.0;
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(pixel)) + 0.7152 * linear(qGreen(pixel)) +
           0.0722 * linear(qBlue(pixel));
}

double contrast(QRgb a, QRgb b) {
    const auto [dark, light] = std::minmax({luminance(a), luminance(b)});
    return (light + 0.05) / (dark + 0.05);
}

// One look at a window: every object that assistive technology is shown must be sensible.
class Look {
public:
    Look(const QString& inState, const QWidget& window) : state(inState) {
        visit(QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&window)));
        checkFocusOrder(window);
        checkOutlines(window);
    }

    QStringList problems;

private:
    void visit(QAccessibleInterface* object) {
        if (!object || object->state().invisible)
            return;
        const QString name = object->text(QAccessible::Name);
        const QString id = object->object() ? object->object()->objectName() : "a part";
        const QString what = QString("%1 \"%2\"").arg(id, name);
        expect(!object->text(QAccessible::Description).contains('<'), what + " tells its markup");
        reached << object->object();
        switch (object->role()) {
        case QAccessible::Client: // passed over: must not have anything to say
        case QAccessible::Border:
        case QAccessible::ScrollBar:
        case QAccessible::Grouping: {
            const auto* label = qobject_cast<QLabel*>(object->object());
            expect(!label || label->text().trimmed().isEmpty(),
                   what + " has words and is not read");
            expect(name.isEmpty() || id == "products", what + " is passed over and has a name");
            break;
        }
        case QAccessible::ProgressBar: {
            const auto* bar = qobject_cast<QProgressBar*>(object->object());
            QAccessibleValueInterface* value = object->valueInterface();
            expect(value && value->currentValue().toInt() == bar->value() &&
                       value->maximumValue().toInt() == bar->maximum(),
                   what + " does not tell its value");
            [[fallthrough]];
        }
        case QAccessible::AlertMessage:
        case QAccessible::CheckBox:
        case QAccessible::Dialog:
        case QAccessible::EditableText:
        case QAccessible::PushButton:
        case QAccessible::StaticText:
            expect(!name.trimmed().isEmpty() && !name.contains(".png"), what + " has no name");
            break;
        default:
            expect(false, QString("%1 has the role %2").arg(what).arg(object->role()));
        }
        for (int i = 0; i < object->childCount(); ++i)
            visit(object->child(i));
    }

    // Tab goes through a window as it is read: line by line, each from left to right.
    void checkFocusOrder(const QWidget& window) {
        QList<const QWidget*> chain;
        const QWidget* widget = &window;
        while ((widget = widget->nextInFocusChain()) != &window) {
            if (widget->isVisible() && widget->isEnabled() && widget->focusPolicy() & Qt::TabFocus)
                chain << widget;
        }
        for (const QWidget* stop : std::as_const(chain))
            expect(reached.contains(stop), stop->objectName() + " takes the focus unseen");
        // What can be scrolled counts as being where it can be seen.
        const auto place = [&](const QWidget* stop) {
            const QWidget* parent = stop->parentWidget();
            const bool scrolls = parent->objectName() == "qt_scrollarea_viewport";
            const QPoint outer = (scrolls ? parent : stop)->mapTo(&window, QPoint());
            return std::tuple(outer.y(), scrolls ? stop->y() : 0, outer.x());
        };
        const auto isRead = [&](const QWidget* first, const QWidget* second) {
            return place(first) < place(second);
        };
        const auto start = std::min_element(chain.begin(), chain.end(), isRead);
        std::rotate(chain.begin(), start, chain.end());
        expect(std::is_sorted(chain.begin(), chain.end(), isRead), "the focus jumps about");
    }

    // What can be used shows where it is: coming from the left, the first line that stands out from
    // the ground is that of the control, and has three times the light or a third.
    void checkOutlines(const QWidget& window) {
        const QImage image = const_cast<QWidget&>(window).grab().toImage();
        const double scale = image.devicePixelRatio();
        const QList<QWidget*> widgets = window.findChildren<QWidget*>();
        for (const QWidget* widget : widgets) {
            const bool control = qobject_cast<const QAbstractButton*>(widget) ||
                                 qobject_cast<const QLineEdit*>(widget) ||
                                 qobject_cast<const QProgressBar*>(widget) ||
                                 qobject_cast<const QTableWidget*>(widget);
            const QPoint middle(0, widget->height() / 2);
            if (!control || !widget->isEnabled() || !widget->isVisible() ||
                !widget->visibleRegion().contains(middle))
                continue;
            const QPoint start = (widget->mapTo(&window, middle) - QPoint(1, 0)) * scale;
            const QRgb ground = image.pixel(start);
            int x = start.x();
            while (x < image.width() - 1 && contrast(image.pixel(x, start.y()), ground) < 1.1)
                ++x;
            const double found = contrast(image.pixel(x, start.y()), ground);
            expect(found >= 3, QString("the outline of %1 has a contrast of %2:1")
                                   .arg(widget->objectName())
                                   .arg(found, 0, 'f', 2));
        }
    }

    void expect(bool holds, const QString& problem) {
        if (!holds)
            problems << state + ": " + problem;
    }

    QString state;
    QList<const QObject*> reached;
};

} // namespace

QPalette darkPalette() {
    QPalette palette(QColor(45, 48, 51), QColor(38, 40, 43));
    palette.setColor(QPalette::Base, QColor(28, 30, 32));
    palette.setColor(QPalette::AlternateBase, QColor(38, 40, 43));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(role, QColor(232, 234, 236));
    palette.setColor(QPalette::PlaceholderText, QColor(232, 234, 236, 140));
    return palette;
}

QStringList accessibilityProblems(const QString& state, const QWidget& window) {
    return Look(state, window).problems;
}
