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
    return QString(result + (handler.successUrl ? "; done: " + handler.successUrl->path() : ""))
        .replace('\n', "\\n");
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
            <P/><U>x</U><U>y</U> => failed; ||||0; done: y)",
                      run);
    }

    void oneListForSeveral() {
        QList<ZelManifestElement> list;
        QTest::ignoreMessage(QtDebugMsg, "Unexpected empty manifest cdata found");
        readInto(list, "<M><Name>a</Name></M>");
        QTest::ignoreMessage(QtWarningMsg, "Fatal error on line 2 , column 13 : \"tag mismatch\" ");
        readInto(list, "<M><ProductInfo/>\n  <Name>a</M>");
        // The time that a prefix takes must not grow with their number.
        QString prefixes;
        for (int i = 0; i < 5000; ++i)
            prefixes += QString(" xmlns:p%1='u'").arg(i);
        const QString uses = QString("<a xmlns='v'/>").repeated(5000) +
                             QString("<a>").repeated(99) + QString("</a>").repeated(99);
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
            return read ? QString("read") : handler.problem;
        };
        zelCheckTable(R"( => read
            [ ] => read
            PUBLIC 'a' '[<' [] => read
            [<!ELEMENT M (( => line 1, column 14: a manifest declares nothing in its document type
            SYSTEM 'x' [%a;] => line 1, column 25: a manifest declares nothing in its document type
            [<!ENTITY % p "<!ELEMENT a ">%p;(( => line 1, column 14: a manifest declares nothing in its document type
            ><!DOCTYPE M [<!ENTITY a "">] => line 1, column 27: a manifest declares nothing in its document type
            []<!ELEMENT M (( => line 1, column 15: error occurred while parsing document type definition
            [><!ELEMENT M (( => line 1, column 14: error occurred while parsing document type definition)",
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
};

ZEL_TEST_MAIN(tst_manifest)
#include "tst_manifest.moc"
