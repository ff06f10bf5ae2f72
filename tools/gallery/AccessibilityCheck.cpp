#include "AccessibilityCheck.h"

#include <QAccessible>
#include <QProgressBar>
#include <QWidget>
#include <algorithm>

namespace {

// One look at a window: every object that assistive technology is shown must be sensible.
class Look {
public:
    Look(const QString& inState, const QWidget& window) : state(inState) {
        visit(QAccessible::queryAccessibleInterface(const_cast<QWidget*>(&window)));
        checkFocusOrder(window);
    }

    QStringList problems;

private:
    void visit(QAccessibleInterface* object) {
        if (!object || object->state().invisible)
            return;
        const QString name = object->text(QAccessible::Name);
        const QString id = object->object() ? object->object()->objectName() : "a part";
        const QString what = QString("%1 \"%2\"").arg(id, name);
        reached << object->object();
        switch (object->role()) {
        case QAccessible::Client: // passed over: must not have anything to say
        case QAccessible::Border:
        case QAccessible::ScrollBar:
        case QAccessible::Grouping:
            expect(name.isEmpty() || id == "products", what + " is passed over and has a name");
            break;
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

    void expect(bool holds, const QString& problem) {
        if (!holds)
            problems << state + ": " + problem;
    }

    QString state;
    QList<const QObject*> reached;
};

} // namespace

QStringList accessibilityProblems(const QString& state, const QWidget& window) {
    return Look(state, window).problems;
}
