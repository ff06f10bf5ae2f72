#include "core/ZelTexts.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QCryptographicHash>

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
            1073741824 => 1.000GB
            1610612736 => 1.500GB)",
                      run);
    }

    // All sentences by one digest: they are what users quote and support searches for.
    void errors() {
        QStringList texts;
        for (int code = -1; code < 500; ++code)
            texts << ZelFileError(QFile::FileError(code))
                  << ZelNetworkError(QNetworkReply::NetworkError(code));
        QCOMPARE(texts.mid(0, 2),
                 QStringList({"Unknown file error: -1", "Unknown network error -1"}));
        const QByteArray all = texts.join('\n').toUtf8();
        QCOMPARE(QCryptographicHash::hash(all, QCryptographicHash::Sha1).toHex(),
                 QByteArray("ac80657fb4b9397290c7a3fa684ac81582c4c981"));
    }
};

ZEL_TEST_MAIN(tst_texts)
#include "tst_texts.moc"
