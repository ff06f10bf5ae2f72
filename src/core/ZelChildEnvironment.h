#pragma once

#include <QByteArray>

// While it lives, a program that is started gets the environment of the user's session: without
// what the application object adds to it for the toolkit's sake.
class ZelChildEnvironment {
public:
    ZelChildEnvironment() { qunsetenv("QT_NO_GLIB"); }
    ~ZelChildEnvironment() {
        if (!added.isNull())
            qputenv("QT_NO_GLIB", added);
    }
    ZelChildEnvironment(const ZelChildEnvironment&) = delete;
    ZelChildEnvironment& operator=(const ZelChildEnvironment&) = delete;

private:
    QByteArray added = qgetenv("QT_NO_GLIB");
};
