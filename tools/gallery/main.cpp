// Leaves a picture of every state of every page and box in a folder:
//
//   zelgallery FOLDER SUFFIX [--dark] [--pseudo] [--size WIDTHxHEIGHT]
//
// The pictures are called NN-STATE.SUFFIX.png. With --pseudo every text that goes through the
// translation functions is longer and marked, and the program complains about any that does not go
// through them. It also complains about texts that are cut off and about what assistive technology
// could not make out. With --size the windows are asked to have that size, as by a person who drags
// their edges.

#include "AccessibilityCheck.h"
#include "StateWalker.h"

#include "app/ZelApp.h"
#include "app/ZelLogging.h"

#include <QAbstractButton>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QTranslator>
#include <cstdio>

namespace {

constexpr QChar mark = u'\u2039';

// A language that is about half as long again as English, as others are.
class PseudoLanguage : public QTranslator {
public:
    bool isEmpty() const override { return false; }

    QString translate(const char*, const char* source, const char*, int) const override {
        const QString text = QString::fromUtf8(source);
        if (text.trimmed().isEmpty())
            return text;
        return mark + text + QString(text.size() / 2, u'~').replace("~~~~~~~~", "~~~~~~~ ") +
               u'\u203a';
    }
};

class Gallery {
public:
    Gallery(const QString& target, const QString& suffix, bool pseudo)
        : folder(target), ending(suffix), pseudoLanguage(pseudo) {}

    void add(const QString& state, QWidget& window) {
        const QString name = QString(state).remove(',').replace(' ', '-');
        const QString file =
            QString("%1-%2.%3.png").arg(++count, 2, 10, QChar('0')).arg(name, ending);
        if (!window.grab().save(folder.filePath(file)))
            problems << "cannot write " + file;
        const QList<QWidget*> widgets = window.findChildren<QWidget*>();
        for (const QWidget* widget : widgets) {
            if (widget->isVisible())
                look(state, *widget);
        }
        problems += accessibilityProblems(state, window);
    }

    QStringList problems;

private:
    void look(const QString& state, const QWidget& widget) {
        QString text;
        if (const auto* label = qobject_cast<const QLabel*>(&widget))
            text = label->pixmap().isNull() ? label->text() : "a picture";
        else if (const auto* button = qobject_cast<const QAbstractButton*>(&widget))
            text = button->text();
        else if (const auto* field = qobject_cast<const QLineEdit*>(&widget))
            text = field->placeholderText();
        // Rows can be scrolled to, and neither they nor the server's words are ours to translate.
        const bool row = widget.parent()->objectName() == "qt_scrollarea_viewport";
        if (text.trimmed().isEmpty() || row || text == StateWalker::serverReason)
            return;

        const bool wraps = widget.hasHeightForWidth();
        const QSize needed(wraps ? 0 : widget.sizeHint().width(),
                           wraps ? widget.heightForWidth(widget.width())
                                 : widget.sizeHint().height());
        if (widget.width() < needed.width() || widget.height() < needed.height())
            problems << QString("%1: cut off: \"%2\"").arg(state, text);
        if (pseudoLanguage && text != "a picture" && !text.contains(mark))
            problems << QString("%1: not translated: \"%2\"").arg(state, text);
    }

    QDir folder;
    QString ending;
    bool pseudoLanguage;
    int count = 0;
};

} // namespace

int main(int argc, char** argv) {
    ZelApp app(argc, argv);
    ZelInitializeLogging();
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        std::fputs("usage: zelgallery FOLDER SUFFIX [--dark] [--pseudo] [--size WIDTHxHEIGHT]\n",
                   stderr);
        return 2;
    }
    if (arguments.contains("--dark"))
        QApplication::setPalette(darkPalette());
    const bool pseudo = arguments.contains("--pseudo");
    PseudoLanguage language;
    if (pseudo)
        QCoreApplication::installTranslator(&language);

    QDir().mkpath(arguments[1]);
    Gallery gallery(arguments[1], arguments[2], pseudo);
    StateWalker walker;
    const QStringList size = arguments.value(arguments.indexOf("--size") + 1).split('x');
    if (arguments.contains("--size") && size.size() == 2)
        walker.wantedSize = {size[0].toInt(), size[1].toInt()};
    walker.onState = [&](const QString& state, QWidget& window) { gallery.add(state, window); };
    walker.walk();
    const QStringList problems = walker.problems + gallery.problems;
    for (const QString& problem : problems)
        std::printf("%s: %s\n", qPrintable(arguments[2]), qPrintable(problem));
    return problems.isEmpty() ? 0 : 1;
}
