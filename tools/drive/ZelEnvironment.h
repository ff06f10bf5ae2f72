#pragma once

#include <QByteArray>

// Sets an environment variable while it lives.
class ZelEnvironment {
public:
    ZelEnvironment(const char* variable, const QByteArray& value)
        : name(variable), previous(qgetenv(variable)), wasSet(qEnvironmentVariableIsSet(variable)) {
        qputenv(name, value);
    }
    ~ZelEnvironment() {
        if (wasSet)
            qputenv(name, previous);
        else
            qunsetenv(name);
    }
    ZelEnvironment(const ZelEnvironment&) = delete;
    ZelEnvironment& operator=(const ZelEnvironment&) = delete;

private:
    const char* name;
    QByteArray previous;
    bool wasSet;
};
