#pragma once

#include <QWizardPage>

class QLineEdit;
class QPushButton;

// Asks for the forum account and, on demand, for a proxy.
class ZelAccount : public QWizardPage {
    Q_OBJECT

public:
    explicit ZelAccount(QWidget* parent);

    bool validatePage() override;
    bool isComplete() const override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    bool haveEnteredCredentials() const;

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private slots:
    void entriesChanged(const QString& text);
    void registerOnForum();
    void toggleProxy();
    void colorPlaceholders();

private:
    void createUI();
    QLineEdit* createField(const char* name, const QString& placeholder);

    bool firstShow = true;
    QLineEdit* userField;
    QLineEdit* passwordField;
    QPushButton* signUpButton;
    QLineEdit* proxyField;
    QPushButton* advancedButton;
};
