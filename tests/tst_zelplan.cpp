// zelplan as a process: what a release engineer gets to know, and in which form.

#include "support/ZelTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

struct Result {
    int status = -1;
    QByteArray output;
    QByteArray errors;
    QJsonObject json;
};

Result zelplan(const QStringList& arguments, const QString& input = QProcess::nullDevice()) {
    QProcess process;
    process.setStandardInputFile(input);
    process.start(ZEL_PLAN_PROGRAM, arguments);
    const bool ended =
        process.waitForFinished(60000) && process.exitStatus() == QProcess::NormalExit;
    const QByteArray output = process.readAllStandardOutput();
    return {ended ? process.exitCode() : -1, output, process.readAllStandardError(),
            QJsonDocument::fromJson(output).object()};
}

QByteArray record(const QString& label, int build) {
    const QString name = label + ".pkg";
    return zelProductXml(name, label, build, 1000,
                         "https://h.example/" + QUrl::toPercentEncoding(name));
}

// A manifest without a fault, one field a line, and eight lines a product: a render server from
// line 2, tools from line 10, scenes from line 18. Edits are a line's number and a text in it, then
// what stands there instead, or, behind a plus, the label of a product that stands before it.
QByteArray manifest(const QStringList& edits = {}) {
    QByteArray xml = "<M>" + record("Lumivex FarmServer 21.0", 20) +
                     record("Lumivex Atelier 21.0 for Maya 2014", 20) + record("Scenes 21.0", 7) +
                     "<ZELSuccessURL>https://h.example/done</ZELSuccessURL></M>";
    QByteArrayList lines = xml.replace("><", ">\n<").split('\n');
    for (int i = 0; i + 1 < edits.size(); i += 2) {
        QByteArray& line = lines[edits[i].section(' ', 0, 0).toInt() - 1];
        const QByteArray text = edits[i].section(' ', 1).toUtf8();
        const QString now = QString(edits[i + 1]).replace('_', ' ');
        line.replace(text, now.startsWith('+') ? record(now.mid(1), 30) + text : now.toUtf8());
    }
    return lines.join('\n');
}

// A machine with installed products "name version build", set off by commas.
QByteArray snapshot(QString products) {
    const QRegularExpression product("([^,]+) ([^, ]+) ([0-9]+)");
    products.replace(product, R"({"ProductName": "\1", "Version": "\2", "BuildId": "\3"})");
    const QString json = R"({"format": "zelplan-snapshot", "formatVersion": 1, "attributes": {},
        "products": [%1], "downloadFolder": "~/Downloads", "freeBytes": 1000000})";
    return json.arg(products).toUtf8();
}

// The initial of the severity, the line and the kind of each finding.
QString findings(const Result& result) {
    static const QRegularExpression pattern(
        "kind.:.(?<kind>[a-z-]+).*?line.:(?<line>\\d+).*?severity.:.(?<level>\\w)");
    QStringList list;
    for (auto match = pattern.globalMatch(result.output); match.hasNext();) {
        const auto one = match.next();
        list << one.captured("level") + one.captured("line") + ':' + one.captured("kind");
    }
    return list.join(' ');
}

} // namespace

class tst_zelplan : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

    QString write(const QString& name, const QByteArray& contents) {
        return zelWriteFile(directory.filePath(name), contents);
    }

private slots:
    // From a machine and edits to the exit status, the initials of what is proposed and how much is
    // explained; and to what the edits change there, as people and programs are told.
    void tellsWhatIsOfferedAndChanges() {
        const QString before = write("old.xml", manifest());
        const auto run = [&](const QStringList& in) {
            const QString after = write("new.xml", manifest(in.mid(1)));
            const QString machine = write("machine.json", snapshot(in[0]));
            const Result offer = zelplan({"offer", "--json", after, machine});
            const QJsonValue page = offer.json["machines"][0]["offer"];
            const QJsonValue products = offer.json["products"];
            QString told = QString::number(offer.status) + ' ';
            for (const QJsonValue& row : page["proposedInOrder"].toArray())
                told += products[row.toInt()]["name"].toString().remove("Lumivex ")[0];
            told += QString::number(page["explanations"].toArray().size());
            const Result changes = zelplan({"diff", "--json", before, after, machine, machine});
            const QJsonValue second = changes.json["machines"][1]["changes"];
            told += QString("; %1 %2 ").arg(changes.status).arg(second.toArray().size());
            const QString text = zelplan({"diff", before, after, machine}).output;
            return told + text.split('\n').filter("   ").join(' ').remove("https://").simplified();
        };
        zelCheckTable(R"(=> 0 FS1; 0 0
            Maya 2014 1 => 0 FAS0; 0 0
            Maya 2014 1, FarmServer 21.0 20, Atelier for Maya 2014 21.0 20 => 0 S2; 0 0
            Maya 2014 1 | 6 https | [ | 16 true | false => 0 FAS0; 1 2 address h.example/Lumivex%20FarmServer%2021.0.pkg -> eligible true -> false
            Maya 2014 1 | 15 1000 | 1000000 => 1 FAS0; 1 1 size 1000 -> 1000000
            FarmServer 21.0 20 | 24 true | false => 1 2; 1 1 decision proposed -> not offered reason every eligible product of this kind is proposed -> it is not eligible for community download eligible true -> false
            FarmServer 21.0 20 | 5 20 | 30 | 22 h.example | i.example => 0 FS1; 1 2 decision hidden -> proposed reason build 20 is not newer than the installed 20 -> build 30 is newer than the installed 20 build 20 -> 30 address h.example/Scenes%2021.0.pkg -> i.example/Scenes%2021.0.pkg
            FarmServer 21.0 20 | 18 <ProductInfo> | <!-- | 25 </ProductInfo> | --> => 1 2; 1 1 decision proposed -> not in the manifest reason every eligible product of this kind is proposed)",
                      run);
    }

    // Mistakes, and what is found when the manifest without them is the older one.
    void findsMistakes() {
        const QString good = write("good.xml", manifest());
        const auto run = [&](const QStringList& in) {
            const QString file = write("manifest.xml", manifest(in.mid(1)));
            const Result result = zelplan({"check", "--json", "--against", good, file, "--all"});
            return QString("%1 %2").arg(result.status).arg(findings(result));
        };
        zelCheckTable(R"(none, or on purpose | 24 true | false => 0
            unescaped & | 6 .pkg | .pkg?a&b=1 | 26 done | ?a=1&b=2 => 1 e6:bare-ampersand e26:bare-ampersand
            declarations | 1 < | <!DOCTYPE M [<!ENTITY a "b">]>< => 1 e1:unreadable e1:no-product
            end tag forgotten | 7 </FileSize> | => 1 e9:unreadable
            web page in its place | 1 M | p><!-- | 27 </M> | --></p> => 1 e1:no-product
            too early | 1 > | ><FileSize>1</FileSize><ZELSuccessURL>h</ZELSuccessURL> => 1 e1:field-before-product e1:early-success-address
            empty, cut | 3 Lumivex FarmServer 21.0.pkg |  | 20 21.0 | 21.0<!--_-->_final => 1 e3:swallowed-space e3:bad-name e20:cut-text
            twice, outside | 7 <F | <FileSize>1</FileSize><F | 17 > | ><BuildID>9</BuildID> => 1 e7:repeated-field e17:field-outside-product e17:repeated-field e17:build-backwards
            misspelt or no field | 7 FileSize | FileSise | 22 DownloadURL | Note => 1 e2:bad-size w7:unknown-element w18:no-address w22:unknown-element
            versions | 4 21.0 | 4.0 | 12 21.0 | 4.0 for 2014.5 | 20 21.0 | 22.0 => 1 e4:no-version e12:other-version w20:version-mismatch
            order | 4 Lumivex | Lumivex 10.9 | 12 Lumivex Atelier 21.0 for Maya | Maya Lumivex Atelier 21.0 => 1 w4:other-version e10:no-maya
            words | 4 FarmServer | Farm Server | 12 Atelier | Ateleir => 1 e4:near-word e12:near-word
            words | 4 FarmServer | farmserver | 12 Atelier | Tools => 1 e4:near-word e12:rule-lost
            builds, sizes | 5 20 | r20 | 13 20 | 19 | 7 1000 | -9 | 15 1000 | 100 | 21 >7< | >0< | 23 1000 | 10000 => 1 e5:build-backwards e5:bad-build e7:bad-size e13:build-backwards w15:size-jump e21:build-backwards w21:bad-build w23:size-jump
            addresses | 6 h.example | h.example:x | 14 https://h.example |  | 22 .pkg | .pkg_ | 26 https:// | => 1 e6:bad-address e14:bad-address e22:bad-address e26:bad-address
            servers | 6 https | http | 14 h.example | i.example | 26 h.example | i.example => 1 w6:not-https w14:new-host w26:new-host
            files | 14 Atelier | Attelier | 22 Scenes | Lumivex%20FarmServer | 26 done | done_ => 1 w14:other-file-name w22:other-file-name e22:duplicate-address e26:bad-address
            names, eligibility | 3 >L | >../L | 8 true | True | 11 .pkg | .dmg | 24 EligibleCommunityDownload | Note | 26 https://h.example/ | javascript: => 1 e3:bad-name e8:not-eligible e11:bad-name e18:not-eligible w24:unknown-element e26:bad-address
            twice | 18 <P | +scenes 21.0 | 26 <Z | +Scenes 21.0 => 1 e20:duplicate-name w27:duplicate-label e27:duplicate-address e27:duplicate-name
            in wrong order | 10 <P | +Lumivex Atelier 21.0 for Maya 2014 | 26 <Z | +Lumivex FarmServer 20.0 => 1 e2:replaced e10:replaced e12:duplicate-name e15:duplicate-address
            gone | 18 <ProductInfo> | <!-- | 25 </ProductInfo> | --> | 26 ZELSuccessURL | Note => 1 w1:gone w1:gone w26:unknown-element)",
                      run);
    }

    // Options to the status and what it comes to; bad usage or input is told in each format.
    void isAGate() {
        QFile sample(ZEL_SOURCE_DIR "/tools/catalogue/manifest.xml");
        QVERIFY(sample.open(QIODevice::ReadOnly));
        write("SAMPLE", sample.readAll().replace("@SERVER@", "https://h.example"));
        write("GOOD", manifest());
        write("HTTP", manifest({"6 https", "http"}));
        write("OTHER", snapshot("").replace("zelplan-", "other-"));
        write("NAMELESS", snapshot("Maya 2014 1").replace("ProductName", "Name"));
        const auto run = [&](const QStringList& in) {
            QStringList arguments = in[0].split(' ');
            arguments.replaceInStrings("_", " ").replaceInStrings(
                QRegularExpression("^([A-Z]{4}.*)$"), directory.path() + "/\\1");
            const QString input = directory.filePath("HTTP");
            const Result plain = zelplan(arguments, input);
            const Result json = zelplan(arguments + QStringList("--json"), input);
            const Result sarif = zelplan(arguments + QStringList("--sarif"), input);
            const QString error = "zelplan: " + json.json["error"].toString() + '\n';
            const QJsonValue done = sarif.json["runs"][0]["invocations"][0]["executionSuccessful"];
            const qsizetype results = sarif.json["runs"][0]["results"].toArray().size();
            return QString("%1%2 %3%4")
                .arg(plain.status)
                .arg(results == json.output.count("\"kind\"") ? "" : "differ")
                .arg(plain.errors == error && done == false ? "told" : "")
                .arg(QRegularExpression("(passes|FAILS): .*").match(plain.output).captured());
        };
        zelCheckTable(R"(check - => 1 FAILS: 0 errors, 1 warning, 0 notes
            check GOOD - => 1 passes: 0 errors, 0 warnings, 0 notes
            check --fail-on error - => 0 passes: 0 errors, 1 warning, 0 notes
            check --allow not-https - => 0 passes: 0 errors, 0 warnings, 0 notes, 1 allowed
            check --allow not-https=Scenes_21.0 - => 1 FAILS: 0 errors, 1 warning, 0 notes
            check --against HTTP - => 0 passes: 0 errors, 0 warnings, 0 notes, 1 known from the older manifest (--all shows them)
            check --against HTTP --all - => 1 FAILS: 0 errors, 1 warning, 0 notes
            check --allow replaced=Lumivex_FarmServer_20.4 --allow no-address=Lumivex_Denoiser_22.0 SAMPLE => 0 passes: 0 errors, 0 warnings, 0 notes, 2 allowed
            check --allow slip GOOD => 2 told
            check --against OTHER GOOD => 2 told
            check MISSING => 2 told
            offer GOOD NAMELESS => 2 told
            guess => 2 told)",
                      run);
    }

    // From a package's address and size to the findings.
    void probeAsksTheServer() {
        ZelVendor server;
        server.addPackage("a.pkg", 9);
        zelWriteFile(server.folder() + "/packages/b.pkg", "PK34");
        QVERIFY(server.start(zelSelfSigned(directory.path()).serverOptions()));
        const auto run = [&](QStringList in) {
            in[0].replace("SERVER", "https://" + server.hostAndPort() + "/packages");
            const QByteArray product = zelProductXml("a.pkg", "A", 1, in[1].toInt(), in[0]);
            const QString file = write("manifest.xml", zelManifestXml({product}));
            return findings(zelplan({"check", "--json", "--probe", file}));
        };
        zelCheckTable(R"(SERVER/a.pkg | 9 => e2:probe-certificate
            SERVER/a.pkg | 8 => e2:probe-certificate e2:probe-length
            SERVER/b.pkg | 4 => w2:other-file-name e2:probe-certificate e2:probe-contents
            SERVER/none/a.pkg | 9 => e2:probe-certificate e2:probe-status
            http://127.0.0.1:1/a.pkg | 9 => w2:not-https e2:probe-unreachable)",
                      run);
    }

    void snapshotNamesNoUser() {
        const QString home = directory.filePath("home/Marker-User");
        const QString other = directory.filePath("disk/marker-user");
        const QString server = "/Lumivex FarmServer-21.0";
        for (const QString& base : {home, other})
            zelWriteFile(base + server + "/bin/lxrender",
                         "#!/bin/sh\necho Corvane Radiant Lumivex 21.0 @1379633 >&2\n", true);
        const ZelEnvironment variables[]{{"HOME", home.toUtf8()},
                                         {"USER", "Marker-User"},
                                         {"LUMITREE", (home + server).toUtf8()},
                                         {"LATTREE", (other + "/x").toUtf8()}};
        QVERIFY(QDir().mkpath(home + "/Downloads"));
        const QString profiler = ZEL_SOURCE_DIR "/tools/standins/bin/system_profiler";
        const Result result = zelplan({"snapshot", "--profiler", profiler});
        for (const char* text : {"\"~/Lumivex FarmServer-21.0\"", "\"~/Downloads\"",
                                 "ory\": \"16\"", "\"ProductName\": \"Lumivex FarmServer 21.0\""})
            QVERIFY2(result.output.contains(text), result.output.constData());
        QVERIFY2(!result.output.toLower().contains("marker"), result.output.constData());
        const QString file = write("snapshot", result.output);
        QCOMPARE(zelplan({"offer", write("manifest.xml", manifest()), file}).status, 0);
    }
};

ZEL_TEST_MAIN(tst_zelplan)
#include "tst_zelplan.moc"
