#include "core/ZelSelectionRules.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

// Puts short names in place of the texts that users read.
static QString shortened(QString issues) {
    const QString advice =
        "ithout %1using Lumivex is possible but only for the very technically inclined. If there "
        "has been an error and Maya is installed click 'Show All' and manually select the "
        "appropriate Lumivex Atelier";
    const QString newest =
        "The current installed verion of Lumivex %1 is the most up to date version. Build ";
    return issues
        .replace("The Corvane server is not offering any version of Lumivex FarmServer at this "
                 "time.",
                 "NoServer")
        .replace("No installations of Maya were detected. W" + advice.arg("Maya "), "NoMaya")
        .replace("No supported installations of Maya were detected. Found ", "Unsupported ")
        .replace(". W" + advice.arg("Lumivex for Maya "), " End")
        .replace(newest.arg("FarmServer"), "NewestServer ")
        .replace(newest.arg("Atelier for Maya"), "NewestTools ");
}

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
    // what is hidden, and the issues.
    void rules() {
        const auto run = [](QStringList in) {
            in.replaceInStrings("S:", "Lumivex FarmServer 21.0:");
            in.replaceInStrings("T", "Lumivex Atelier 21.0 for Maya ");
            QList<ZelManifestElement> manifest;
            for (const QString& record : in[0].split(", ")) {
                ZelManifestElement& element = manifest.emplace_back();
                element.Name = record.section(':', 0, 0);
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
            return numbers(offer.chosen) + numbers(offer.hidden) + shortened(issues.join(", "));
        };
        const ZelLogCapture log;
        zelCheckTable(R"(Notes:1 | => 0 //NoServer, NoMaya
            S:100 | => 0 //NoMaya
            S:100 | S:21.0:100 => /0 /NewestServer 100, NoMaya
            S:100 | S:21.0:101 => /0 /NewestServer 100, NoMaya
            S:100 | S:21.0:99 => 0 //NoMaya
            S:100, Lumivex FarmServer 19.5:90 | S:21.0:999 => 1 /0 /NoMaya
            V:1, S:100, Lumivex Atelier 21.0:1, N:1, T2014:9 | Maya:2014 => 1 4 0 2 3 //
            S:100:nowhere, T2014:1:barred, A:1:nowhere, B:1:barred, C:1 | Maya:2014 => 0 1 4 //
            S:100, T2012:100 | Maya:2012, Maya:2014, Maya:2016.5 => 0 1 //
            S:100, T2014:100, T2015:100 | Maya:2014, Maya:2015 => 0 2 /1 /
            S:100, T2014:100 | Maya:2010, Maya:2014.5 => 0 /1 /Unsupported 2014.5 2010 End
            S:100, T2014.5:100 | Maya:2014 => 0 /1 /Unsupported 2014 End
            S:100, T2014-5:100 | Maya:2014.5 => 0 1 //
            S:100, T2014:100 | Maya:2014, T2014:21.0:99 => 0 1 //
            S:100, T2014:100 | Maya:2014, T2014:21.0:100 => 0 /1 /NewestTools 100
            S:100, T2014:100 | Maya:2014, T2014:20.5:999 => 0 1 //
            S:100, Lumivex Atelier 20.5 for Maya 2014:9 | Maya:2014, T2014:20.5:99 => 0 1 //
            T2014:100 | Maya:2014, T2014:20.5:101 => /0 /NoServer, NewestTools 100)",
                      run);
        for (const char* line :
             {"Selecting LFS \"21.0\" , found down-rev buildid. manifest had  100 installed 99",
              "No LAT to select for installed Maya \"Atelier.*Maya.*2016.5([^.]|$)\"",
              "No LAT for Maya \"2014\" installed Seleted LAT  \"21.0\"",
              "no url for product  \"A\"", "Skipping product  \"B\"",
              "\"Lumivex FarmServer 21.0\" is hidden"})
            QVERIFY2(log.lines().contains(line), line);
    }
};

ZEL_TEST_MAIN(tst_selectionrules)
#include "tst_selectionrules.moc"
