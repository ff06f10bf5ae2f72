#pragma once

#include <QDesktopServices>
#include <QList>
#include <QUrl>

// Stands in for the web browser while it lives.
class ZelBrowser : public QObject {
    Q_OBJECT

public:
    ZelBrowser() {
        for (const char* scheme : {"http", "https"})
            QDesktopServices::setUrlHandler(scheme, this, "open");
    }
    ~ZelBrowser() override {
        for (const char* scheme : {"http", "https"})
            QDesktopServices::unsetUrlHandler(scheme);
    }

    QList<QUrl> opened; // in order

public slots:
    // A real one would start with the environment of this moment.
    void open(const QUrl& url) {
        if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
            opened << url;
    }
};
