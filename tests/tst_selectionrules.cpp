#include "core/ZelSelectionRules.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QCryptographicHash>

static QString numbers(const QList<int>& list) {
    QString result;
    for (int number : list)
        result += QString::number(number) + ' ';
    return result + '/';
}

class tst_selectionrules : public QObject {
    Q_OBJECT

private slots:
    // From records "label:build" and installed products "name:version:build" to what is chosen,
    // what is hidden, and the second word of each issue. One digest holds all texts.
    void rules() {
        QStringList texts;
        const auto run = [&texts](QStringList in) {
            in.replaceInStrings("S:", "Lumivex FarmServer 21.0:");
            in.replaceInStrings("T", "Lumivex Atelier 21.0 for Maya ");
            QList<ZelManifestElement> manifest;
            for (const QString& record : in[0].split(", ")) {
                ZelManifestElement& element = manifest.emplace_back();
                element.Name = record.left(1);
                element.SimpleName = record.section(':', 0, 0);
                element.BuildID = record.section(':', 1, 1);
                element.EligibleCommunityDownload = !record.endsWith("barred");
                element.DownloadURL =
                    QUrl(record.endsWith("nowhere") ? "http://[" : "http://localhost/p");
            }
            ZelMachineAssay assay;
            for (const QString& product : in[1].split(", "))
                assay.products << ZelProductHash{{"ProductName", product.section(':', 0, 0)},
                                                 {"Version", product.section(':', 1, 1)},
                                                 {"BuildId", product.section(':', 2)}};
            ZelOffer offer;
            QStringList issues;
            ZelChooseDownloads(manifest, assay, offer, issues);
            QString result = numbers(offer.chosen) + numbers(offer.hidden);
            for (const QString& issue : std::as_const(issues)) {
                texts << issue;
                result += ' ' + issue.section(' ', 1, 1);
            }
            return result;
        };
        const ZelLogCapture log;
        zelCheckTable(R"(Notes:1 | => 0 // Corvane installations
            S:100 | => 0 // installations
            S:100 | S:21.0:100 => /0 / current installations
            S:100 | S:21.0:101 => /0 / current installations
            S:100 | S:21.0:99, Lumivex Atelier 21.0:21.0:101 => 0 // installations
            S:100, Lumivex FarmServer 19.5:90 | S:21.0:999 => 1 /0 / installations
            S:100, farmserver 22.0:1, FarmServer:1 | S:21.5:999 => 0 1 /2 / installations
            V:1, S:100, Lumivex Atelier 21.0:1, N:1, T2014:9 | Maya:2014 => 1 4 0 2 3 //
            S:100:nowhere, T2014:1:barred, A:1:nowhere, B:1:barred, C:1 | Maya:2014 => 0 1 4 //
            S:100, T2012:100 | Maya:2012, Maya:2014, Maya:2016.5 => 0 1 //
            S:100, T2014:100, T2015:100 | Maya:2014, Maya:2015 => 0 2 /1 /
            S:100, T2014:100 | Maya:2010, Maya:2014.5 => 0 /1 / supported
            S:100, T2014.5:100, T20145:1 | Maya:2014 => 0 2 /1 /
            S:100, T2014.5:100 | Maya:2014 => 0 /1 / supported
            S:100, Maya Atelier 21.0 2014:1 | Maya:2014 => 0 1 // supported
            S:100, lumivex atelier 21.0 maya 2014:1, Maya 2014 21.0:1 | Maya:2014 => 0 1 2 // supported
            S:100, T2014-5:100 | Maya:2014.5 => 0 1 //
            S:100, T2014:100 | Maya:2014, T2014:21.0:99 => 0 1 //
            S:100, T2014:100 | Maya:2014, T2014:21.0:100 => 0 /1 / current
            S:100, T2014:100 | Maya:2014, T2014:20.5:999 => 0 1 //
            S:100, Lumivex Atelier 20.5 for Maya 2014:9 | Maya:2014, T2014:20.5:99 => 0 1 //
            S:100, T2014:100, T2015:1 | Maya:2015, Maya:2014, T2015:21.0:5 => 0 /1 2 / current
            T2014:100 | Maya:2014, T2014:20.5:101 => /0 / Corvane current)",
                      run);
        const QByteArray lines = (texts + log.lines()).join('\n').toUtf8();
        const QByteArray digest = QCryptographicHash::hash(lines, QCryptographicHash::Sha1).toHex();
        QVERIFY2(digest == "855874b20a7058d6f586a7f8c25015eed4eca9f5",
                 (digest + '\n' + lines).constData());
    }
};

ZEL_TEST_MAIN(tst_selectionrules)
#include "tst_selectionrules.moc"
