#include "core/ZelManifestHandler.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"

#include <QElapsedTimer>

// Reads a document into the list; tells how that went and what the list holds then.
static QString readInto(QList<ZelManifestElement>& list, const QString& xml) {
    ZelManifestHandler handler(list);
    const QByteArray document = QString(xml).replace("\\n", "\n").toUtf8();
    QString result = handler.read(document) ? "ok" : "failed";
    for (const ZelManifestElement& e : std::as_const(list)) {
        const QStringList texts{e.Name, e.SimpleName, e.BuildID, e.DownloadURL.toString()};
        result += "; " + texts.join('|') + '|' + QString::number(e.FileSize) +
                  (e.EligibleCommunityDownload ? "|yes" : "");
    }
    return QString(result + (handler.successUrl ? "; done" : "")).replace('\n', "\\n");
}

class tst_manifest : public QObject {
    Q_OBJECT

private slots:
    void documents() {
        // <P/> stands for a product, <E> for its eligibility, <U> for the success address.
        const auto run = [](QStringList in) {
            QList<ZelManifestElement> list;
            in[0].replace("P/>", "ProductInfo/>").replace("U>", "ZELSuccessURL>");
            return readInto(list, "<M>" + in[0].replace("E>", "EligibleCommunityDownload>"));
        };
        zelCheckTable(R"(<Other>text</Other></M> => ok
            <FileSize>\n</FileSize><P/></M> => failed
            <P/><Name>a</Name><ProductInfo><Name>b</Nam => failed; a||||0; b||||0
            <a><ProductInfo x="y"/><Name lang="en">a</Name></a></M> => ok; a||||0
            <P/><FileSize>-5</FileSize></M> => ok; ||||-5
            <P/><v:BuildID xmlns:v="urn:v">7</v:BuildID></M> => ok; ||7||0
            <P/><SimpleName>A</SimpleName><P/><SimpleName>B</SimpleName></M> => ok; |A|||0; |B|||0
            <P/><DownloadURL>http://h/p</DownloadURL></M> => ok; |||http://h/p|0
            <P/><FileSize>9000000000000</FileSize></M> => ok; ||||9000000000000
            <P/><FileSize>12abc</FileSize></M> => ok; ||||0
            <P/><E>true</E><P/><E>True</E><P/><E> true</E></M> => ok; ||||0|yes; ||||0; ||||0
            <P/><Name></Name>\n  <BuildID>7</BuildID></M> => ok; \n  ||7||0
            <P/><Name>a</Name><name>b</name>c<Name><B>d</B></Name></M> => ok; a||||0
            <P/><Name>a</Name><Name>a&amp;b<![CDATA[c]]></Name></M> => ok; a&b||||0
            <U>x</U><P/></M> => ok; ||||0
            <P/><U>x</U> => failed; ||||0; done)",
                      run);
    }

    void oneListForSeveral() {
        const ZelLogCapture log;
        QList<ZelManifestElement> list;
        readInto(list, "<M><Name>a</Name></M>");
        QCOMPARE(log.lines()[0], QString("Unexpected empty manifest cdata found"));
        readInto(list, "<M><ProductInfo/>\n  <Name>a</M>");
        QCOMPARE(log.lines().last(),
                 QString("Fatal error on line 2 , column 13 : \"tag mismatch\" "));
        // The time that a prefix takes must not grow with their number.
        QString prefixes;
        for (int i = 0; i < 5000; ++i)
            prefixes += QString(" xmlns:p%1='u'").arg(i);
        const QString uses = QString("<a xmlns='v'/>").repeated(5000);
        QElapsedTimer time;
        time.start();
        QCOMPARE(readInto(list, "<M" + prefixes + "><p1:ProductInfo/>" + uses + "</M>"),
                 "ok; a||||0; ||||0");
        QVERIFY(time.elapsed() < 10000);
    }

    // Only a document type that declares something is refused, before anything of it is read.
    void documentTypes() {
        const auto run = [](QStringList in) {
            const QString type = in[0].replace("((", QString(200000, '('));
            QList<ZelManifestElement> list;
            ZelManifestHandler handler(list);
            const bool read = handler.read(("<!DOCTYPE M " + type + "><a:M/>").toUtf8());
            return read ? QString("read") : handler.problem.section(' ', 5, 7);
        };
        zelCheckTable(R"( => read
            [ ] => read
            PUBLIC 'a' '[<' [] => read
            [<!ELEMENT M (( => manifest declares nothing
            SYSTEM 'x' [%a;] => manifest declares nothing
            [<!ENTITY % p "<!ELEMENT a ">%p;(( => manifest declares nothing
            ><!DOCTYPE M [<!ENTITY a "">] => manifest declares nothing
            []<!ELEMENT M (( => occurred while parsing
            [><!ELEMENT M (( => occurred while parsing)",
                      run);
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
            const bool failed = element.GetVersion(text) && element.GetVersion(number);
            return QString("%1 %2").arg(text).arg(build) + (failed ? " failed" : "") +
                   (element.GetIsFarmServer() ? " server" : "") +
                   (element.GetIsLATForMaya() ? " maya" : "");
        };
        const ZelLogCapture log;
        zelCheckTable(R"(Lumivex Atelier 18.0 for Maya 2014 | FarmServer-21.0 => 18.0 0 maya
             | Lumivex FarmServer 19.0.1.pkg => 19.0 0 server
            Lumivex Atelier 4.0 for Maya 2014.5 | 1296001 => 14.5 1296001 maya
            Atelier 21.0 for Maya | Lumivex => 21.0 0
            Lumivex 21.0 for Maya | Atelier => 21.0 0
            LUMIVEX ATELIER 21.0 FOR MAYA | Maya => 21.0 0
            Lumivex farmserver 09.5 | FarmServer 21.0 => none 0 failed)",
                      run);
        QCOMPARE(log.lines().last(),
                 QString("Product with no version \"Lumivex farmserver 09.5\""));
    }

    void findsTheLastVersion() {
        const auto run = [](const QStringList& in) {
            QList<ZelManifestElement> list;
            for (const QString& label : in)
                list.emplace_back().Name = label;
            QRegExp pattern("FarmServer");
            return QString::number(ZelManifestElement::FindHighestVersionOfProduct(list, pattern));
        };
        zelCheckTable(R"(Lumivex Atelier 21.0 | FarmServer 9.0 => -1
            FarmServer 19.0 | FarmServer 18.5 | FarmServer | Other 20.0 => 1)",
                      run);
    }
};

ZEL_TEST_MAIN(tst_manifest)
#include "tst_manifest.moc"
