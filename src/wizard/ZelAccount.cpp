#include "wizard/ZelAccount.h"

#include "app/ZelApp.h"
#include "app/ZelBuildConfig.h"
#include "core/ZelChildEnvironment.h"
#include "core/ZelProxyText.h"
#include "wizard/ZelPageSetup.h"

#include <QDesktopServices>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPushButton>
#include <QTimer>
#include <QWizard>

ZelAccount::ZelAccount(QWidget* parent) : QWizardPage(parent) {
    createUI();
    ZelSetUpPage(this, "accountWatermark.png", "accountBanner.png");
}

QLineEdit* ZelAccount::createField(const char* name, const QString& placeholder) {
    auto* field = new QLineEdit(this);
    field->setObjectName(name);
    field->setPlaceholderText(placeholder);
    field->setAccessibleName(placeholder);
    field->setAttribute(Qt::WA_MacShowFocusRect, false);
    connect(field, &QLineEdit::textEdited, this, &ZelAccount::entriesChanged);
    return field;
}

// A placeholder is its field's only label: clearer than placeholders are by default.
void ZelAccount::colorPlaceholders() {
    QColor color = palette().color(QPalette::Text);
    color.setAlphaF(0.65f);
    for (QLineEdit* field : {userField, passwordField, proxyField}) {
        QPalette palette = field->palette();
        palette.setColor(QPalette::PlaceholderText, color);
        field->setPalette(palette);
    }
}

void ZelAccount::changeEvent(QEvent* event) {
    QWizardPage::changeEvent(event);
    if (event->type() == QEvent::StyleChange) // the fields get back their old colours after this
        QTimer::singleShot(0, this, &ZelAccount::colorPlaceholders);
}

void ZelAccount::createUI() {
    userField = createField("userName", tr("Lumivex Forum User ID"));
    userField->installEventFilter(this);

    passwordField = createField("password", tr("Lumivex Forum Password"));
    passwordField->setEchoMode(QLineEdit::Password);
    passwordField->setInputMethodHints(passwordField->inputMethodHints() | Qt::ImhNoAutoUppercase |
                                       Qt::ImhNoPredictiveText);
    passwordField->installEventFilter(this);

    signUpButton = new QPushButton(tr("Need a Forum User ID?"), this);
    signUpButton->setObjectName("needToRegister");
    signUpButton->installEventFilter(this);
    connect(signUpButton, &QPushButton::released, this, &ZelAccount::registerOnForum);

    advancedButton = new QPushButton(ZelApp::instance()->LoadIconResource("closedSection.png"),
                                     tr("Advanced"), this);
    advancedButton->setObjectName("accountAdvancedButton");
    advancedButton->hide();
    connect(advancedButton, &QPushButton::released, this, &ZelAccount::toggleProxy);

    proxyField = createField("proxy", tr("Optional HTTP proxy (host:port)"));
    proxyField->hide();
    colorPlaceholders();

    auto* spacer = new QLabel(this);
    spacer->setObjectName("spacer");

    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(userField, 0, 0, 1, 4);
    layout->addWidget(passwordField, 1, 0, 1, 4);
    layout->addWidget(signUpButton, 2, 0);
    layout->addWidget(advancedButton, 3, 0, Qt::AlignLeft);
    layout->addWidget(proxyField, 4, 0, 1, 4);
    layout->addWidget(spacer, 5, 0, 1, 4);
    layout->setRowStretch(5, 1);
}

bool ZelAccount::haveEnteredCredentials() const {
    return !userField->text().isEmpty() && !passwordField->text().isEmpty();
}

bool ZelAccount::isComplete() const {
    return haveEnteredCredentials();
}

bool ZelAccount::validatePage() {
    ZelApp* app = ZelApp::instance();
    app->user = userField->text();
    app->password = passwordField->text();
    app->proxy = proxyField->text();
    // An empty or malformed text leaves an earlier proxy in force.
    if (const auto proxy = ZelProxyFromText(app->proxy))
        app->getNetworkManager()->setProxy(*proxy);
    return true;
}

void ZelAccount::entriesChanged(const QString&) {
    emit completeChanged();
}

void ZelAccount::registerOnForum() {
    QUrl url;
    url.setScheme("https");
    url.setHost(ZelBuildConfig::vendorHost);
    url.setPath("/forum/register.php");
    url.setQuery("action=signup");
    const ZelChildEnvironment ofTheUser;
    QDesktopServices::openUrl(url);
}

void ZelAccount::toggleProxy() {
    const bool show = proxyField->isHidden();
    proxyField->setVisible(show);
    advancedButton->setIcon(
        ZelApp::instance()->LoadIconResource(show ? "openSection.png" : "closedSection.png"));
}

bool ZelAccount::eventFilter(QObject* watched, QEvent* event) {
    const bool guarded =
        watched == userField || watched == passwordField || watched == signUpButton;
    if (guarded && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (haveEnteredCredentials())
                wizard()->next();
            return true;
        }
    }
    return QWizardPage::eventFilter(watched, event);
}

void ZelAccount::showEvent(QShowEvent* event) {
    QWizardPage::showEvent(event);
    if (!firstShow)
        return;
    firstShow = false;
    // From here on a user behind a proxy can enter it: a failed request would end the program.
    advancedButton->show();
    signUpButton->setFocus(Qt::OtherFocusReason);
}
