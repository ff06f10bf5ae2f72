#include "core/ZelTexts.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

class tst_texts : public QObject {
    Q_OBJECT

private slots:
    void humanBytes() {
        QLocale::setDefault(QLocale("de_DE")); // which would write "1,500"
        const auto run = [](const QStringList& in) { return ZelHumanBytes(in[0].toLongLong()); };
        zelCheckTable(R"(-1 => -1b
            1023 => 1023b
            1024 => 1.000KB
            1048575 => 1023.999KB
            1048576 => 1.00MB
            1073741823 => 1024.00MB
            1610612736 => 1.500GB)",
                      run);
    }

    void errors() {
        QString known;
        for (int code = -1; code < 405; ++code) {
            const QString number = QString::number(code);
            const bool file =
                ZelFileError(QFile::FileError(code)) != "Unknown file error: " + number;
            const bool network = ZelNetworkError(QNetworkReply::NetworkError(code)) !=
                                 "Unknown network error " + number;
            QCOMPARE(file, code >= 0 && code <= 14);
            known += network ? number + ' ' : "";
        }
        QCOMPARE(known, QString("0 1 2 3 4 5 6 7 99 101 102 103 104 105 199 201 202 203 204 205 "
                                "299 301 302 399 "));
        QCOMPARE(ZelFileError(QFile::ResourceError), QString("A resource error occured."));
        QCOMPARE(ZelNetworkError(QNetworkReply::TimeoutError),
                 QString("the connection to the remote server timed out"));
    }
};

ZEL_TEST_MAIN(tst_texts)
#include "tst_texts.moc"
