#include "AccessibilityCheck.h"
#include "StateWalker.h"
#include "support/ZelTestSupport.h"

#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTextEdit>

// What a person finds on every page and in every box: with their eyes, with assistive technology
// and with the keyboard.
class tst_accessibility : public QObject {
    Q_OBJECT

private slots:
    void light() { everyState(QApplication::palette()); }
    void dark() { everyState(darkPalette()); }

private:
    void everyState(const QPalette& palette);
};

namespace {

// As docs/screens.md writes it.
QString inWords(const QWidget* widget) {
    if (const auto* label = qobject_cast<const QLabel*>(widget))
        return label->text();
    if (const auto* details = qobject_cast<const QTextEdit*>(widget))
        return details->toPlainText().replace('\n', " / ");
    if (const auto* field = qobject_cast<const QLineEdit*>(widget))
        return '{' + (field->text().isEmpty() ? field->placeholderText() : field->displayText()) +
               '}';
    if (const auto* bar = qobject_cast<const QProgressBar*>(widget))
        return QString("bar %1 to %2").arg(bar->minimum()).arg(bar->maximum()) +
               (bar->isTextVisible() && bar->value() >= 0 ? " at " + bar->text() : "");
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    if (!button)
        return QString();
    const auto* push = qobject_cast<const QPushButton*>(widget);
    QString text = button->text().remove(QRegularExpression("[&<>]")).trimmed();
    text = push ? '[' + text + ']' : (button->isChecked() ? "☑ " : "☐ ") + text;
    if (push && push->isDefault())
        text = "**" + text + "**";
    return button->isEnabled() ? text : '(' + text + ')';
}

// All of it, from top to bottom.
QString look(const QWidget& window) {
    QMap<std::tuple<int, int>, QString> words;
    const QList<QWidget*> widgets = window.findChildren<QWidget*>();
    for (const QWidget* widget : widgets) {
        const QPoint place = widget->mapTo(&window, QPoint());
        if (widget->isVisible() && !inWords(widget).trimmed().isEmpty())
            words[{place.y(), place.x()}] = inWords(widget);
    }
    // How much came, and what room there is, varies.
    static const QRegularExpression varying("[0-9.]+(?=(MB/|% /|GB of avail))|(?<= space on )\\S+");
    return QStringList(words.values()).join(" / ").replace(varying, "N").simplified();
}

// What holds for every box.
bool isOurs(const QMessageBox& box) {
    const QList<QLabel*> labels = box.findChildren<QLabel*>();
    const auto* details = box.findChild<QTextEdit*>();
    return box.icon() == QMessageBox::Critical &&
           box.windowTitle() == box.tr("Lumivex Community Installer") &&
           box.accessibleName() == box.text() && box.childrenRect().width() >= 400 &&
           !box.findChildren<QTextEdit*>().isEmpty() == !box.detailedText().isEmpty() &&
           (!details || details->toPlainText() == box.detailedText()) &&
           std::all_of(labels.begin(), labels.end(),
                       [](const QLabel* label) { return label->textFormat() == Qt::PlainText; });
}

} // namespace

void tst_accessibility::everyState(const QPalette& palette) {
    QApplication::setPalette(palette);
    const auto restore = qScopeGuard([] { QApplication::setPalette(QPalette()); });
    QStringList problems;
    QStringList states;
    StateWalker walker;
    walker.onState = [&](const QString& state, QWidget& window) {
        problems += accessibilityProblems(state, window);
        const auto* box = qobject_cast<QMessageBox*>(&window);
        if (box && !isOurs(*box))
            problems << state + " is not like the others";
        if (window.width() > 1000 || window.height() > 700)
            problems << state + " is too large";
        const QWidget* focus = QApplication::focusWidget();
        if (state.contains("keyboard")) {
            states << QString("| %1 | %2 |").arg(state, inWords(focus));
            if (focus->visibleRegion().boundingRect().height() < focus->height() ||
                focus->width() < focus->sizeHint().width())
                problems << state + " is not in full view";
        } else if (!state.contains(QRegularExpression("long|many")))
            states << QString("| %1 | %2 |").arg(state, look(window));
        if (box)
            states.last().replace("box", '`' + window.objectName() + '`');
    };
    walker.onExit = [&](const QString&, int status) {
        states.last() += QString(" %1 |").arg(status);
    };
    walker.walk();
    problems += walker.problems;
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));

    QFile page(ZEL_SOURCE_DIR "/docs/screens.md");
    QVERIFY(page.open(QIODevice::ReadOnly));
    QStringList rows =
        QString::fromUtf8(page.readAll()).split('\n').filter(QRegularExpression("^\\| "));
    rows.removeAll("| name | what it says |");
    for (const QString& state : std::as_const(states))
        QVERIFY2(rows.removeOne(state), qPrintable("not on the page: " + state));
    QVERIFY2(rows.isEmpty(), qPrintable("not met: " + rows.join('\n')));
}

ZEL_TEST_MAIN(tst_accessibility)
#include "tst_accessibility.moc"
