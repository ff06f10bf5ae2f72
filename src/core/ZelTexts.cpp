#include "core/ZelTexts.h"

#include <QCoreApplication>

namespace {

constexpr qint64 kilobyte = 1024;
constexpr qint64 megabyte = 1024 * kilobyte;
constexpr qint64 gigabyte = 1024 * megabyte;

struct ErrorText {
    int code;
    const char* text;
};

// "occured" is how this text has always read; it is part of what users quote to support.
constexpr ErrorText fileErrors[] = {
    {0, QT_TRANSLATE_NOOP("ZelFileError", "no error")},
    {1, QT_TRANSLATE_NOOP("ZelFileError", "An error occurred when reading from the file.")},
    {2, QT_TRANSLATE_NOOP("ZelFileError", "An error occurred when writing to the file.")},
    {3, QT_TRANSLATE_NOOP("ZelFileError", "A fatal error occurred.")},
    {4, QT_TRANSLATE_NOOP("ZelFileError", "A resource error occured.")},
    {5, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be opened.")},
    {6, QT_TRANSLATE_NOOP("ZelFileError", "The operation was aborted.")},
    {7, QT_TRANSLATE_NOOP("ZelFileError", "A timeout occurred.")},
    {8, QT_TRANSLATE_NOOP("ZelFileError", "An unspecified error occurred.")},
    {9, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be removed.")},
    {10, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be renamed.")},
    {11, QT_TRANSLATE_NOOP("ZelFileError", "The position in the file could not be changed.")},
    {12, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be resized.")},
    {13, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be accessed.")},
    {14, QT_TRANSLATE_NOOP("ZelFileError", "The file could not be copied.")},
};

constexpr ErrorText networkErrors[] = {
    {0, QT_TRANSLATE_NOOP("ZelNetworkError", "no error condition.")},
    {1, QT_TRANSLATE_NOOP("ZelNetworkError",
                          "the remote server refused the connection (the server is not "
                          "accepting requests)")},
    {2, QT_TRANSLATE_NOOP("ZelNetworkError",
                          "the remote server closed the connection prematurely, before the "
                          "entire reply was received and processed")},
    {3, QT_TRANSLATE_NOOP("ZelNetworkError",
                          "the remote host name was not found (DNS did not know the server)")},
    {4, QT_TRANSLATE_NOOP("ZelNetworkError", "the connection to the remote server timed out")},
    {5, QT_TRANSLATE_NOOP("ZelNetworkError",
                          "the operation was canceled via calls to abort() or close() "
                          "before it was finished.")},
    {6, QT_TRANSLATE_NOOP(
            "ZelNetworkError",
            "the SSL/TLS handshake failed and the encrypted channel could not be established. "
            "The sslErrors() signal should have been emitted.")},
    {7, QT_TRANSLATE_NOOP(
            "ZelNetworkError",
            "the connection was broken due to disconnection from the network, however the "
            "system has initiated roaming to another access point. The request should be "
            "resubmitted and will be processed as soon as the connection is re-established.")},
    {99, QT_TRANSLATE_NOOP("ZelNetworkError", "an unknown network-related error was detected")},
    {101, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the connection to the proxy server was refused (the proxy "
                            "server is not accepting requests)")},
    {102, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the proxy server closed the connection prematurely, before "
                            "the entire reply was received and processed")},
    {103, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the proxy host name was not found (invalid proxy hostname)")},
    {104, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the connection to the proxy timed out or the proxy did not "
                            "reply in time to the request sent")},
    {105, QT_TRANSLATE_NOOP(
              "ZelNetworkError",
              "the proxy requires authentication in order to honour the request but did not "
              "accept any credentials offered (if any)")},
    {199, QT_TRANSLATE_NOOP("ZelNetworkError", "an unknown proxy-related error was detected")},
    {201,
     QT_TRANSLATE_NOOP("ZelNetworkError",
                       "the access to the remote content was denied (similar to HTTP error 401)")},
    {202, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the operation requested on the remote content is not permitted")},
    {203, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the remote content was not found at the server (similar to "
                            "HTTP error 404)")},
    {204, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the remote server requires authentication to serve the content "
                            "but the credentials provided were not accepted (if any)")},
    {205, QT_TRANSLATE_NOOP(
              "ZelNetworkError",
              "the request needed to be sent again, but this failed for example because the "
              "upload data could not be read a second time")},
    {299, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "an unknown error related to the remote content was detected")},
    {301, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "the Network Access API cannot honor the request because the "
                            "protocol is not known")},
    {302,
     QT_TRANSLATE_NOOP("ZelNetworkError", "the requested operation is invalid for this protocol")},
    {399, QT_TRANSLATE_NOOP("ZelNetworkError",
                            "a breakdown in protocol was detected (parsing error, invalid "
                            "or unexpected responses, etc.)")},
};

template<size_t N>
QString textOf(const ErrorText (&table)[N], const char* context, int code,
               const QString& fallback) {
    for (const ErrorText& entry : table) {
        if (entry.code == code)
            return QCoreApplication::translate(context, entry.text);
    }
    return fallback.arg(code);
}

QString inUnits(qint64 bytes, qint64 unit, int decimals) {
    return QString::number(double(bytes) * (1.0 / double(unit)), 'f', decimals);
}

} // namespace

QString ZelHumanBytes(qint64 bytes) {
    if (bytes < kilobyte)
        return QCoreApplication::translate("ZelHumanBytes", "%1b").arg(bytes);
    if (bytes < megabyte)
        return QCoreApplication::translate("ZelHumanBytes", "%1KB")
            .arg(inUnits(bytes, kilobyte, 3));
    if (bytes < gigabyte)
        return QCoreApplication::translate("ZelHumanBytes", "%1MB")
            .arg(inUnits(bytes, megabyte, 2));
    return QCoreApplication::translate("ZelHumanBytes", "%1GB").arg(inUnits(bytes, gigabyte, 3));
}

QString ZelFileError(QFile::FileError error) {
    return textOf(fileErrors, "ZelFileError", error,
                  QCoreApplication::translate("ZelFileError", "Unknown file error: %1"));
}

QString ZelNetworkError(QNetworkReply::NetworkError error) {
    return textOf(networkErrors, "ZelNetworkError", error,
                  QCoreApplication::translate("ZelNetworkError", "Unknown network error %1"));
}
