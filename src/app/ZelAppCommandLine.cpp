#include "app/ZelApp.h"

void ZelApp::parseCommandLineArguments() {
    const QStringList args = arguments();

    // Consumes only the option itself: its value is examined as an option in its own right.
    const auto takeValue = [&args](qsizetype i, QString& target) {
        if (i + 1 < args.size())
            target = args[i + 1];
    };

    for (qsizetype i = 1; i < args.size(); ++i) {
        const QString& option = args[i];
        if (option == "-user") {
            takeValue(i, user);
        } else if (option == "-debugserver") {
            scheme = "http";
            host = "localhost";
            if (i + 1 < args.size() && !args[i + 1].startsWith('-'))
                host = args[++i];
        } else if (option == "-pass") {
            takeValue(i, password);
        } else if (option == "-appendmanifest") {
            takeValue(i, appendManifestFile);
        } else if (option == "-manifest") {
            takeValue(i, manifestFile);
        } else if (option == "-debug") {
            logThreshold = 0;
        }
    }
}
