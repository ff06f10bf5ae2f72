#include "AccessibilityCheck.h"
#include "StateWalker.h"
#include "support/ZelTestSupport.h"

#include <QAccessible>
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
    void everyStateCanBeReadAndReached_data();
    void everyStateCanBeReadAndReached();
    void tabGoesThroughTheProducts();
};

namespace {

// A scene's states, then what the program ends with. Of a window all that it says, from top to
// bottom; of a button whether it is off (-), unchecked (o), or pressed by Return (!).
const char expectedStates[] = R"(
welcome: -Back / Next!
sign-in, empty: _Lumivex Forum User ID / _Lumivex Forum Password / Need a Forum User ID?! /
    Advanced / Back / -Next
sign-in, filled: _user / _●●●● / Need a Forum User ID? / Advanced / Back / Next!
sign-in, advanced: _user / _●●●● / Need a Forum User ID? / Advanced! /
    _Optional HTTP proxy (host:port) / Back / Next
sign-in, proxy entered: _user / _●●●● / Need a Forum User ID? / Advanced /
    _proxy.studio.example:3128 / Back / Next!
selectionIssues, one issue: There was an issue selecting products /
    Click on Show Details to see why / OK! / Show Details...
selection, one product: Lumivex FarmServer 21.0 / oShow All / Back / Next!
selection, hidden products shown: Lumivex FarmServer 21.0 / Lumivex Atelier 21.0 for Maya 2016.5 /
    Lumivex User Guide / oLumivex FarmServer 20.4 / oLumivex Atelier 21.0 for Maya 2014 /
    oLumivex Atelier 21.0 for Maya 2015 / Show All / Back / Next!
selectionIssues, several issues: There were issues selecting products /
    Click on Show Details to see why / OK! / Show Details...
selectionIssues, no products: There were no products to download /
    Click on Show Details to see why / OK! / Show Details...
no products: ends with 0
selection, waiting: Asking Corvane for the product list... / -oShow All / Back / -Next!
invalidManifest, no product list: Could not get a product list from Corvane /
    The user id or the password is not right. / OK!
no product list: ends with 1
installProblem, install problem: Cannot complete the installation on this machine /
    The user id or the password is not right. Press OK to conitue download only or Cancel to exit
    this application / OK / Cancel!
install problem: ends with -1
nothingSelected, nothing selected: There were no products to install / OK!
nothing selected: ends with 0
diskFull, disk full: You do not have enough free disk space to download the selected products /
    Needed 2097152.000GB for selected downloads. There is NGB of
    available spaceN / OK!
sslErrors, TLS error: There was issue with the SSL connection. Continue anyway? /
    The certificate is self-signed, and untrusted / OK! / Cancel
sslErrors, TLS errors: There was issue with the SSL connection. Continue anyway? /
    There were multiple issues with the SSL connection / OK! / Show Details... / Cancel
download, starting: Overall Progress: / 0..1000: N% / Downloading Lumivex FarmServer 21.0... /
    0..100: / Back / -Next!
download, half: Overall Progress: / 0..1000: N% / Downloading Lumivex FarmServer 21.0... /
    0..11863401: N% / NMB/11.31MB / Back / -Next!
installation: Overall Progress: / 0..1000: N% / Installing Lumivex FarmServer 21.0... / 0..0: /
    Back / -Next!
finished: Finish!
backDuringDownload, back while downloading: Download In Progress. Really go back? /
    Pressing Ok will stop this download of Lumivex FarmServer 21.0. Press Cancel to resume download
    and installation / OK / Cancel!
backDuringInstall, back while installing: A Product Install Is In Progress /
    Once Lumivex FarmServer 21.0 is installed the Lumivex Community Installer will go back /
    OK / Cancel!
downloadRefused, download refused: There Was An Error Downloading /
    While processingLumivex FarmServer 21.0. If this error persists contact customer support. Press
    Ok to exit the application / OK!
download refused: ends with 0
downloadFailed, download failed: Product download failed /
    the remote server closed the connection prematurely, before the entire reply was received and
    processed. Press Abort to exit, Retry or Ignore to try the next product /
    Retry! / Ignore / Abort
download failed: ends with -1
installerFailed, installer failed: Installer exited with err. Exit code: 9 / OK!
installerNotStarted, installer not started: Could not start installer process for
    Lumivex FarmServer 21.0, skipping to next product / OK!
)";

QString inWords(const QWidget* widget) {
    if (const auto* label = qobject_cast<const QLabel*>(widget))
        return label->text();
    if (const auto* field = qobject_cast<const QLineEdit*>(widget))
        return '_' + (field->text().isEmpty() ? field->placeholderText() : field->displayText());
    if (const auto* bar = qobject_cast<const QProgressBar*>(widget))
        return QString("%1..%2: %3")
            .arg(bar->minimum())
            .arg(bar->maximum())
            .arg(bar->isTextVisible() ? bar->text() : "");
    const auto* button = qobject_cast<const QAbstractButton*>(widget);
    const auto* push = qobject_cast<const QPushButton*>(widget);
    if (!button)
        return QString();
    return (button->isEnabled() ? "" : "-") +
           QString(button->isCheckable() && !button->isChecked() ? "o" : "") +
           button->text().remove(QRegularExpression("[&<>]")).trimmed() +
           (push && push->isDefault() ? "!" : "");
}

QString look(const QWidget& window) {
    QMap<std::tuple<int, int>, QString> words;
    const QList<QWidget*> widgets = window.findChildren<QWidget*>();
    for (const QWidget* widget : widgets) {
        const QPoint place = widget->mapTo(&window, QPoint());
        if (widget->isVisible() && !inWords(widget).trimmed().isEmpty())
            words[{place.y(), place.x()}] = inWords(widget);
    }
    // How much came, and what room there is, varies.
    static const QRegularExpression varying("[0-9.]+(?=(MB/|% /|GB of avail))| on \\S+(?= / OK)");
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

void tst_accessibility::everyStateCanBeReadAndReached_data() {
    QTest::addColumn<QPalette>("palette");
    QTest::newRow("light") << QApplication::palette();
    QTest::newRow("dark") << darkPalette();
}

void tst_accessibility::everyStateCanBeReadAndReached() {
    QFETCH(QPalette, palette);
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
            problems << QString("%1 has %2 x %3 pixels")
                            .arg(state)
                            .arg(window.width())
                            .arg(window.height());
        if (!state.contains("details") && !state.contains("long") && !state.contains("many") &&
            !state.contains("keyboard"))
            states << QString(state).replace("box", window.objectName()) + ": " + look(window);
    };
    walker.onExit = [&](const QString& scene, int status) {
        states << QString("%1: ends with %2").arg(scene).arg(status);
    };
    walker.walk();
    problems += walker.problems;
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    const QString expected = QString::fromUtf8(expectedStates).trimmed().replace("\n    ", " ");
    QCOMPARE(states, expected.split('\n'));
}

// And out of the table again, each row in full view when its turn comes.
void tst_accessibility::tabGoesThroughTheProducts() {
    ZelTestWizard wizard;
    QStringList names{"Show All", "< Back", "Next >"};
    QByteArrayList products;
    for (int i = 0; i < 30; ++i) {
        names.insert(i, QString("Sample Scenes and Materials, Volume %1").arg(i));
        products << zelProductXml("materials.pkg", names[i], 1, 4, "http://127.0.0.1:1/none");
    }
    wizard.offer(products);
    QVERIFY(wizard.walkTo(ZelMainWindow::Selection));
    wizard.window->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(wizard.window.get()));
    wizard.window->button(QWizard::NextButton)->setFocus();
    for (const QString& name : names) {
        wizard.key(Qt::Key_Tab);
        const QWidget* focus = QApplication::focusWidget();
        QCOMPARE(QAccessible::queryAccessibleInterface(const_cast<QWidget*>(focus))
                     ->text(QAccessible::Name),
                 name);
        QCOMPARE(focus->visibleRegion().boundingRect().height(), focus->height());
        QVERIFY(focus->width() >= focus->sizeHint().width());
    }
}

ZEL_TEST_MAIN(tst_accessibility)
#include "tst_accessibility.moc"
