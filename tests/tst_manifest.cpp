#include "core/ZelManifestHandler.h"
#include "core/ZelSelectionRules.h"
#include "support/ZelTestSupport.h"

#include <QCryptographicHash>
#include <QElapsedTimer>

static QString numbers(const QList<int>& list) {
    QString result;
    for (int number : list)
        result += QString::number(number) + ' ';
    return result + '/';
}

// How a manifest is read, and what is chosen from it.
class tst_manifest : public QObject {
    Q_OBJECT

private slots:
    // From a document to why it is refused, or what it holds. <P/> stands for a product, <E> for
    // its eligibility, <U> for the success address.
    void documents() {
        QString prefixes;
        for (int i = 0; i < 5000; ++i)
            prefixes += QString(" xmlns:p%1='u'").arg(i);
        const auto run = [&prefixes](const QStringList& in) {
            QString xml = in[0].startsWith("<!") ? in[0] : "<M>" + in[0];
            xml.replace("P/>", "ProductInfo/>").replace("U>", "ZELSuccessURL>");
            xml.replace("E>", "EligibleCommunityDownload>").replace("\\n", "\n");
            xml.replace("<499>", QString("<a>").repeated(499)).replace("((", QString(99999, '('));
            xml.replace("</499>", QString("</a>").repeated(499)).replace(" PREFIXES", prefixes);
            xml.replace("USES", QString("<a xmlns='v'/>").repeated(5000));
            const ZelLogCapture log;
            QList<ZelManifestElement> list;
            ZelManifestHandler handler(list);
            const bool read = handler.read(xml.toUtf8());
            QString result = read ? "ok" : handler.problem;
            for (const ZelManifestElement& e : std::as_const(list)) {
                const QStringList texts{e.Name, e.SimpleName, e.BuildID, e.DownloadURL.toString()};
                result += "; " + texts.join('|') + '|' + QString::number(e.FileSize) +
                          (e.EligibleCommunityDownload ? "|yes" : "");
            }
            if (handler.successUrl)
                result += "; done: " + handler.successUrl->path();
            return result.replace('\n', "\\n");
        };
        // The time that a prefix takes must not grow with their number.
        QElapsedTimer time;
        time.start();
        zelCheckTable(R"(<Other>text</Other></M> => ok
            <FileSize>\n</FileSize><P/></M> => line 2, column 1: there is a field before the first product
            <P/><Name>a</Name><ProductInfo><Name>b</Nam => line 1, column 57: unexpected end of file; a||||0; b||||0
            <P/><FileSize>-5</FileSize></M> => ok; ||||-5
            <P/><v:BuildID xmlns:v="urn:v">07 b</v:BuildID></M> => ok; ||07 b||0
            <P/><SimpleName>A</SimpleName><SimpleName>C</SimpleName><P/><SimpleName>B</SimpleName></M> => ok; |C|||0; |B|||0
            <P/><DownloadURL>http://h/p%</DownloadURL></M> => ok; |||http://h/p%25|0
            <P/><FileSize>9000000000000</FileSize></M> => ok; ||||9000000000000
            <P/><FileSize>12abc</FileSize><P/><FileSize>0x10</FileSize></M> => ok; ||||0; ||||0
            <P/><E>true</E><P/><E>True</E><P/><E> true</E><P/><E>true </E><P/><E>1</E></M> => ok; ||||0|yes; ||||0; ||||0; ||||0; ||||0
            <P/><Name></Name>\n  <BuildID>7</BuildID></M> => ok; \n  ||7||0
            <P/><Name>a</Name><name>b</name>c<Name><B>d</B></Name></M> => ok; a||||0
            <P/><Name>a</Name><Name>a&amp;b<![CDATA[c]]></Name></M> => ok; a&b||||0
            <U>x</U><P/></M> => ok; ||||0
            <P/><U>x</U><U>y</U> => line 1, column 82: unexpected end of file; ||||0; done: y
            <n PREFIXES><p1:P/>USES</n></M> => ok; ||||0
            <499></499></M> => ok
            <a><499></499></a></M> => line 1, column 1503: elements are nested too deeply
            <!DOCTYPE M><a:M/> => ok
            <!DOCTYPE M PUBLIC 'a' '[<' []><a:M/> => ok
            <!DOCTYPE M [<!ELEMENT M (( => line 1, column 14: a manifest declares nothing in its document type
            <!DOCTYPE M SYSTEM 'x' [%a;]><a:M/> => line 1, column 25: a manifest declares nothing in its document type
            <!DOCTYPE M ><!DOCTYPE M [<!ENTITY a "">]><a:M/> => line 1, column 27: a manifest declares nothing in its document type
            <!DOCTYPE M [><!ELEMENT M (( => line 1, column 14: error occurred while parsing document type definition)",
                      run);
        QVERIFY(time.elapsed() < 10000);
        QTest::ignoreMessage(QtDebugMsg, "Unexpected empty manifest cdata found");
        QTest::ignoreMessage(QtWarningMsg, "Fatal error on line 2 , column 8 : \"there is a field "
                                           "before the first product\" ");
        QList<ZelManifestElement> none;
        ZelManifestHandler(none).read("<M>\n<Name>a</Name></M>");
    }

    // From SimpleName and Name to version, build and kind.
    void queries() {
        const auto run = [](const QStringList& in) {
            ZelManifestElement element;
            element.SimpleName = in[0];
            element.Name = element.BuildID = in[1];
            QString text = "none";
            float number = -1;
            int build = -1;
            element.GetBuildId(build);
            const bool failed = element.GetVersion(text) || element.GetVersion(number);
            return QString("%1 %2 %3").arg(text).arg(number).arg(build) +
                   (failed ? " failed" : "") + (element.GetIsFarmServer() ? " server" : "") +
                   (element.GetIsLATForMaya() ? " maya" : "");
        };
        const ZelLogCapture log;
        zelCheckTable(R"(Lumivex Atelier 18.0 for Maya 2014 | FarmServer-21.0 => 18.0 18 0 maya
             | Lumivex FarmServer 19.0.1.pkg => 19.0 19 0 server
            Lumivex Atelier 4.0 for Maya 2014.5 | 1296001 => 14.5 14.5 1296001 maya
            Maya Atelier 21.125 Lumivex 22.0 | 0100 => 21.125 21.125 100 maya
            Atelier 21.0 for Maya, lumivex | Lumivex => 21.0 21 0
            Lumivex 21.0 for Maya, atelier | Atelier => 21.0 21 0
            Lumivex Atelier 21.0 for maya | Maya => 21.0 21 0
            Lumivex farmserver 09.5 | FarmServer 21.0 => none -1 0 failed)",
                      run);
        QCOMPARE(log.lines().last(),
                 QString("Product with no version \"Lumivex farmserver 09.5\""));
    }

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
            S:100, T2014:100 | Maya:2014, T2014:21.0:100 => 0 /1 / current
            S:100, Lumivex Atelier 20.5 for Maya 2014:9 | Maya:2014, T2014:20.5:99 => 0 1 //
            S:100, T2014:100, T2015:1 | Maya:2015, Maya:2014, T2015:21.0:5 => 0 /1 2 / current
            T2014:100 | Maya:2014, T2014:20.5:101 => /0 / Corvane current)",
                      run);
        const QByteArray lines = (texts + log.lines()).join('\n').toUtf8();
        const QByteArray digest = QCryptographicHash::hash(lines, QCryptographicHash::Sha1).toHex();
        QVERIFY2(digest == "5ec773d5d0174337e8df9aef8d33b1adba1f7512",
                 (digest + '\n' + lines).constData());
    }
};

ZEL_TEST_MAIN(tst_manifest)
#include "tst_manifest.moc"
