#pragma once

#include <QFile>
#include <QNetworkReply>
#include <QString>

// A byte count as short text in units of 1024: "1023b", "1.500KB", "1.00MB", "1.500GB".
// The decimal separator is always the point.
QString ZelHumanBytes(qint64 bytes);

// The error as a sentence for the user and the log; an unknown value gives its number.
QString ZelFileError(QFile::FileError error);
QString ZelNetworkError(QNetworkReply::NetworkError error);
