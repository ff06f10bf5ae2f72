// zelplan as a process: the forecast is compared with the selection page itself.

#include "core/ZelMachineAssay.h"
#include "support/ZelTable.h"
#include "support/ZelTestSupport.h"
#include "wizard/ZelSelection.h"

#include <QCheckBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTableWidget>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

struct Result {
    int status = -1;
    QByteArray output;
    QByteArray errors;
    QJsonObject json() const { return QJsonDocument::fromJson(output).object(); }
};

Result zelplan(const QStringList& arguments,
               const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(ZEL_PLAN_PROGRAM, arguments);
    const bool ended =
        QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60000);
    const bool exited = ended && process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput(),
            process.readAllStandardError()};
}

// FS21.0 and LAT2014 are short for the labels of a render server and of tools.
QString expanded(QString text) {
    return text.replace("FS", "Lumivex FarmServer ")
        .replace("LAT", "Lumivex Atelier 21.0 for Maya ");
}

// Records from "label:build", set off by commas, with what is odd about one behind its build.
QByteArray records(const QString& list) {
    QByteArray xml;
    for (const QString& record : expanded(list).split(", ")) {
        const QStringList parts = (record + ':').split(':');
        xml += zelProductXml(parts[0] + ".pkg", parts[0], parts[1].toInt(),
                             parts[2] == "huge" ? qint64(1) << 62 : 1000,
                             parts[2] == "nowhere" ? "http://[" : "https://h.example/p",
                             parts[2] != "barred");
    }
    return xml;
}

// Installed products from "name:version:build", set off by commas.
QList<ZelProductHash> machine(const QString& list) {
    QList<ZelProductHash> result;
    for (const QString& product : expanded(list).split(", ", Qt::SkipEmptyParts)) {
        const QStringList parts = product.split(':');
        result << ZelProductHash{{"ProductName", parts[0]}, {"Version", parts[1]}};
        if (parts.size() > 2)
            result.last()["BuildId"] = parts[2];
    }
    return result;
}

QByteArray snapshotJson(const QList<ZelProductHash>& products, qint64 freeBytes) {
    QJsonArray list;
    for (const ZelProductHash& hash : products) {
        QJsonObject fields;
        for (auto field = hash.begin(); field != hash.end(); ++field)
            fields[field.key()] = field.value();
        list << fields;
    }
    return QJsonDocument(QJsonObject{{"format", "zelplan-snapshot"},
                                     {"formatVersion", 1},
                                     {"attributes", QJsonObject{{"platform", "osx"}}},
                                     {"products", list},
                                     {"downloadFolder", "~/Downloads"},
                                     {"freeBytes", freeBytes}})
        .toJson();
}

// A manifest without a fault, one field a line; the tests spoil it.
const QByteArray goodManifest = "<M>\n"
                                "<ProductInfo>\n"
                                "<Name>FarmServer.pkg</Name>\n"
                                "<SimpleName>Lumivex FarmServer 21.0</SimpleName>\n"
                                "<BuildID>1386042</BuildID>\n"
                                "<DownloadURL>https://h.example/f.pkg</DownloadURL>\n"
                                "<FileSize>9</FileSize>\n"
                                "<EligibleCommunityDownload>true</EligibleCommunityDownload>\n"
                                "</ProductInfo>\n"
                                "</M>\n";

QString kinds(const QJsonObject& check) {
    QStringList result;
    for (const QJsonValue& finding : check["findings"].toArray())
        result << QString("%1:%2").arg(finding["line"].toInt()).arg(finding["kind"].toString());
    return result.join(' ');
}

QString labels(const QTableWidget* table) {
    QStringList result;
    for (int row = 0; row < table->rowCount(); ++row)
        result << qobject_cast<QCheckBox*>(table->cellWidget(row, 0))->text().replace("&&", "&");
    return result.join(", ");
}

} // namespace

class tst_zelplan : public QObject {
    Q_OBJECT

    QTemporaryDir directory;

    QString write(const QString& name, const QByteArray& contents) {
        return zelWriteFile(directory.filePath(name), contents);
    }

    // What is proposed, then all that can be seen, the texts in the box, and whether there is room.
    QString page(const QString& manifestFile, const QList<ZelProductHash>& products) {
        ZelApp* app = ZelApp::instance();
        app->assay = ZelMachineAssay::Singleton();
        app->assay->products = products;
        app->manifestFile = manifestFile;
        ZelBoxDriver boxes;
        ZelMainWindow window;
        app->RequestManifest(QUrl(), QString(), QString(), QString());
        const auto* table = window.findChild<QTableWidget*>("products");
        const QString proposed = labels(table);
        window.findChild<QCheckBox*>("showAll")->click();
        const QString all = labels(table);
        const QString why = boxes.boxes.isEmpty() ? "" : boxes.boxes.first().detailedText;
        const bool fits = window.findChild<ZelSelection*>()->validatePage();
        return QStringList{proposed, all, why, fits ? "fits" : "is full"}.join('/');
    }

    QString forecast(const QString& manifestFile, const QList<ZelProductHash>& products) {
        ZelApp* app = ZelApp::instance();
        const qint64 room = app->assay->GetAvailableDisk(*app->GetDownloadDir());
        const QString snapshot = write("snapshot.json", snapshotJson(products, room));
        const Result result = zelplan({"offer", "--json", manifestFile, snapshot});
        const QJsonObject json = result.json();
        const QJsonObject offer = json["machines"][0].toObject();
        const auto label = [&](int index) { return json["products"][index]["label"].toString(); };
        QStringList proposed;
        for (const QJsonValue& index : offer["proposedInOrder"].toArray())
            proposed << label(index.toInt());
        QStringList all = proposed;
        for (const QJsonValue& decision : offer["decisions"].toArray()) {
            if (decision["reason"].toString().isEmpty())
                return "a decision without a reason";
            if (decision["decision"] == "hidden")
                all << label(decision["product"].toInt());
        }
        const bool fits = offer["fits"].toBool();
        return QStringList{proposed.join(", "), all.join(", "),
                           offer["explanations"].toVariant().toStringList().join('\n'),
                           fits ? "fits" : "is full"}
                   .join('/') +
               result.errors + (result.status == !fits ? "" : " with a wrong status");
    }

private slots:
    // From a manifest and a machine to what is proposed.
    void offersWhatThePageShows() {
        const auto run = [this](QStringList in) {
            in[1].replace("USUAL", "FS20.4:10, FS21.0:20, LAT2014:20, LAT2016.5:20, A & B:7");
            const QString file = write("manifest.xml", zelManifestXml({records(in[1])}));
            const QString shown = page(file, machine(in[2]));
            const QString foretold = forecast(file, machine(in[2]));
            if (foretold != shown)
                return "the page: " + shown + "; the forecast: " + foretold;
            return shown.section('/', 0, 0)
                .replace(expanded("FS"), "FS")
                .replace(expanded("LAT"), "LAT");
        };
        zelCheckTable(R"(nothing but Maya | USUAL | Maya:2014 => FS21.0, LAT2014, A & B
            no Maya | USUAL | => FS21.0, A & B
            newest Maya counts | USUAL | Maya:2014, Maya:2016.5 => FS21.0, LAT2016.5, A & B
            unsupported Mayas | USUAL | Maya:2010, Maya:2011 => FS21.0, A & B
            up to date | USUAL | Maya:2014, FS21.0:21.0:20, LAT2014:21.0:20 => A & B
            older | USUAL | Maya:2014, FS21.0:21.0:19, LAT2014:21.0:19 => FS21.0, LAT2014, A & B
            last record wins | FS21.0:20, FS18.5:5 | => FS18.5
            no server, any version counts | LAT2014:20, B:7 | Maya:2014, LAT2014:19.0:20 => B
            odd | FS21.0:20:nowhere, LAT2014:20:barred, B:7:barred | Maya:2014 => FS21.0, LAT2014
            more than a disk holds | FS21.0:20, B:7:huge | => FS21.0, B)",
                      run);
    }

    // From a part of the good manifest and what stands there instead to the status and findings.
    void checkFinds() {
        const auto run = [this](const QStringList& in) {
            QByteArray xml = goodManifest;
            for (int i = 1; i + 1 < in.size(); i += 2) {
                const QByteArray text = in[i].toUtf8();
                if (!xml.contains(text))
                    return "there is no " + in[i];
                const bool adds = in[i + 1].startsWith('+');
                xml.replace(text, adds ? records(in[i + 1].mid(1)) + text : in[i + 1].toUtf8());
            }
            const QString file = write("manifest.xml", xml);
            const Result result = zelplan({"check", "--json", file});
            const Result readable = zelplan({"check", file});
            const QJsonObject json = result.json();
            if (readable.output.count("to mend it: ") != json["findings"].toArray().size() ||
                readable.status != result.status)
                return "for people: " + QString(readable.output);
            return QString("%1 %2 %3")
                .arg(result.status)
                .arg(json["accepted"].toBool() ? "" : "refused", kinds(json))
                .simplified();
        };
        zelCheckTable(R"(good | </M> | </M> => 0
            too early | <M> | <M><FileSize>1</FileSize> => 1 refused 1:field-before-product
            early end | <M> | <M><ZELSuccessURL>h</ZELSuccessURL> => 1 1:early-success-address
            empty field | FarmServer.pkg | => 1 3:swallowed-space 3:bad-name
            text in pieces | FarmServer 21.0 | FarmServer 21.0<!-- --> final => 1 4:cut-text
            element inside | <Name> | <Name><b/> => 1 2:bad-name 3:unknown-element 3:cut-text
            repeated | <FileSize> | <FileSize>1</FileSize><FileSize> => 1 7:repeated-field
            behind | </M> | <BuildID>7</BuildID></M> => 1 10:field-outside-product 10:repeated-field
            unknown element | <FileSize> | <Note>x</Note><FileSize> => 1 7:unknown-element
            no version | FarmServer 21.0 | FarmServer 4.0 => 1 4:no-version
            none needed | Lumivex FarmServer 21.0 | Scenes => 0 4:no-version
            piece of a number | FarmServer 21.0 | FarmServer 4.0 for 2014.5 => 1 4:other-version
            other number first | Lumivex | Lumivex 10.9 => 1 4:other-version
            a build that is none | 1386042 | r1386042 => 1 5:bad-build
            no size | >9< | >-9< => 1 7:bad-size
            address not valid | h.example | h.example:x => 1 6:bad-address
            address of no server | https://h.example/ | => 1 6:bad-address
            address not https | https | http => 1 6:not-https
            name with directories | >FarmServer.pkg | >../FarmServer.pkg => 1 3:bad-name
            name without .pkg | FarmServer.pkg | FarmServer.PKG => 1 3:bad-name
            true misspelt | true | True => 1 8:not-eligible
            not eligible on purpose | true | false => 0
            name twice | FarmServer.pkg | a 10.0.pkg | </M> | +A 10.0:7 => 1 10:duplicate-name
            last server wins | </M> | +FS20.0:9 => 1 2:replaced
            last tool | </M> | +Lumivex Atelier 20.0 for Maya 2014:1, LAT2014:2 => 1 10:replaced
            tools that no Maya leads to | </M> | +Maya Lumivex Atelier 21.0:7 => 1 10:no-maya)",
                      run);
    }

    void checkComparesBuilds() {
        const QString older = write("older.xml", goodManifest);
        const QString newer =
            write("newer.xml", QByteArray(goodManifest).replace("1386042", "1386041"));
        QCOMPARE(kinds(zelplan({"check", "--json", "--against", older, newer}).json()),
                 "5:build-backwards");
        QCOMPARE(zelplan({"check", "--against", newer, older}).status, 0);
    }

    // From the answers to HEAD and GET to the findings.
    void probeAsksTheServer() {
        QStringList answers;
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        connect(&server, &QTcpServer::newConnection, this, [&] {
            QTcpSocket* socket = server.nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [&answers, socket] {
                const QByteArray request = socket->readAll();
                const QString answer = answers[request.startsWith("HEAD") ? 0 : 1];
                if (request.contains("\r\n\r\n") && answer != "nothing")
                    socket->write("HTTP/1.1 " + answer.toUtf8());
            });
        });
        const QByteArray address = "http://127.0.0.1:" + QByteArray::number(server.serverPort());
        const QString file =
            write("manifest.xml", QByteArray(goodManifest).replace("https://h.example", address));
        const auto run = [&](const QStringList& in) {
            const QString part = "206 Partial\r\nContent-Range: bytes 0-3/%1\r\nContent-Length: 4";
            const QString end = "\r\n\r\n";
            answers = in.mid(1);
            answers.replaceInStrings("WHOLE ", "200 OK\r\nContent-Length: 9" + end)
                .replaceInStrings("PART ", part.arg(9) + end)
                .replaceInStrings("OTHER ", part.arg(8) + end)
                .replaceInStrings("HTML ", "200 OK\r\nContent-Type: text/html\r\n"
                                           "Content-Length: 9" +
                                               end)
                .replaceInStrings(QRegularExpression("^(40.*)"), "\\1\r\nContent-Length: 0" + end);
            return kinds(zelplan({"check", "--json", "--probe", "--timeout", "1", file}).json());
        };
        zelCheckTable(R"(good | WHOLE * | PART xar! => 6:not-https
            HEAD refused | 405 No | PART xar! => 6:not-https
            ranges ignored | 405 No | WHOLE xar!12345 => 6:not-https
            gone | 405 No | 404 No => 6:not-https 6:probe-status
            other length | 405 No | OTHER xar! => 6:not-https 6:probe-length
            web page | HTML * | HTML <html>... => 6:not-https 6:probe-type
            no package | WHOLE * | PART PK34 => 6:not-https 6:probe-contents
            no answer | nothing | nothing => 6:not-https 6:probe-unreachable)",
                      run);
    }

    void diffTellsWhatChanges() {
        const QString before = write("old.xml", zelManifestXml({records("FS21.0:20, Scenes:7")}));
        const QString after = write("new.xml", zelManifestXml({records("FS21.0:30, Models:7")}));
        const QString bare = write("bare.json", snapshotJson({}, 1000000));
        const QString full = write("full.json", snapshotJson(machine("FS21.0:21.0:20"), 1000000));

        const Result result = zelplan({"diff", "--json", before, after, bare, full});
        QCOMPARE(result.status, 1);
        QStringList changes;
        for (const QJsonValue& machine : result.json()["changedMachines"].toArray()) {
            for (const QJsonValue& change : machine["changes"].toArray())
                changes << QString("%1: %2 %3 -> %4 %5")
                               .arg(change["label"].toString(),
                                    change["before"]["decision"].toString())
                               .arg(change["before"]["build"].toInt())
                               .arg(change["after"]["decision"].toString())
                               .arg(change["after"]["build"].toInt());
        }
        const QStringList scenes{"Scenes: proposed 7 ->  0", "Models:  0 -> proposed 7"};
        QCOMPARE(changes,
                 QStringList("Lumivex FarmServer 21.0: proposed 20 -> proposed 30") + scenes +
                     QStringList("Lumivex FarmServer 21.0: hidden 20 -> proposed 30") + scenes);
        QCOMPARE(zelplan({"diff", before, before, bare, full}).status, 0);
    }

    void snapshotNamesNoUser() {
        const QString home = directory.filePath("home/Marker-User");
        const QString install = "Lumivex FarmServer-21.0";
        QVERIFY(QDir().mkpath(home + "/Downloads"));
        for (const QString& base : {home + "/apps/", directory.filePath("disk/marker-user/")})
            zelWriteFile(base + install + "/bin/lxrender",
                         "#!/bin/sh\necho Corvane Radiant Lumivex 21.0 @1379633 >&2\n", true);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("HOME", home);
        environment.insert("USER", "Marker-User");
        environment.insert("LUMITREE", home + "/apps/" + install);
        environment.insert("LATTREE", directory.filePath("disk/marker-user/x"));
        const QString file = directory.filePath("machine.json");
        const QString profiler = ZEL_SOURCE_DIR "/tools/standins/bin/system_profiler";

        const Result result =
            zelplan({"snapshot", "--profiler", profiler, "-o", file}, environment);
        QCOMPARE(result.status, 0);
        QFile written(file);
        QVERIFY(written.open(QIODevice::ReadOnly));
        const QByteArray json = written.readAll();
        QVERIFY2(!json.toLower().contains("marker"), json.constData());
        QCOMPARE(json.count("\"ProductName\": \"Lumivex FarmServer 21.0\""), 2);
        QVERIFY2(json.contains("\"~/apps/Lumivex FarmServer-21.0\""), json.constData());
        QVERIFY2(json.contains("\"downloadFolder\": \"~/Downloads\""), json.constData());
        QVERIFY2(json.contains("\"physicalMemory\": \"16\""), json.constData());
        QCOMPARE(zelplan({"offer", write("manifest.xml", goodManifest), file}).status, 0);
        QCOMPARE(zelplan({"snapshot", "-o", directory.path()}, environment).status, 2);
    }

    void refusesBadInput_data() {
        QTest::addColumn<QStringList>("arguments"); // %1 is the file
        QTest::addColumn<QByteArray>("contents");
        const QStringList check{"check", "%1"};
        const QStringList offer{"offer", write("good.xml", goodManifest), "%1"};
        const QByteArray snapshot = snapshotJson(machine("Maya:2014"), 1);
        const auto row = [](const char* name, const QStringList& arguments,
                            const QByteArray& contents) {
            QTest::newRow(name) << arguments << contents;
        };
        const auto spoilt = [](QByteArray text, const char* before, const char* after) {
            return text.replace(before, after);
        };
        row("empty", check, "");
        row("truncated", check, goodManifest.left(200));
        row("web page", check, "<html><title>Error 404</title></html>");
        row("nested elements", check, QByteArray("<a>").repeated(100000));
        row("directory", {"check", directory.path()}, "");
        row("no such file", {"check", "%1.missing"}, "");
        row("older manifest", {"check", "--against", "%1", offer[1]}, "<M/>");
        row("refused manifest", {"offer", "%1", "%1"},
            spoilt(goodManifest, "<M>", "<M><Name>x</Name>"));
        row("snapshot that is a manifest", offer, goodManifest);
        row("other format", offer, spoilt(snapshot, "zelplan-", "other-"));
        row("other version", offer, spoilt(snapshot, "\": 1", "\": 2"));
        row("product without name", offer, spoilt(snapshot, "ProductName", "ProductNam"));
        row("negative room", offer, spoilt(snapshot, ": 1", ": -1"));
        row("nested arrays", offer, QByteArray(100000, '['));
        row("unknown option", {"check", "--guess", "%1"}, goodManifest);
        row("no snapshot", {"offer", "%1"}, goodManifest);
        row("no verb", {}, "");
    }

    void refusesBadInput() {
        QFETCH(QStringList, arguments);
        QFETCH(const QByteArray, contents);
        const QString file = write("input", contents);
        const Result result = zelplan(arguments.replaceInStrings("%1", file));
        QCOMPARE(result.status, 2);
        QCOMPARE(result.output, QByteArray());
        QVERIFY2(result.errors.startsWith("zelplan: ") && result.errors.count('\n') == 1,
                 result.errors.constData());
    }
};

ZEL_TEST_MAIN(tst_zelplan)
#include "tst_zelplan.moc"
